#pragma once

#include <cstdint>
#include <optional>

namespace brindlemar::platform {

// Running applications as the workspace knows them.
class Workspace {
  public:
    virtual ~Workspace() = default;
    // Launch time in seconds since 1970 of the running application with that pid; absent when
    // the pid is not a running application or it has no launch date.
    virtual std::optional<double> launchTime(std::int32_t pid) = 0;
    // Activates the running application with that pid with no options; false when there is no
    // such application.
    virtual bool activateApplication(std::int32_t pid) = 0;
    // The pid of the application in front (the one that receives keyboard input); absent when
    // there is none.
    virtual std::optional<std::int32_t> frontmostApplication() = 0;
};

}  // namespace brindlemar::platform
