#pragma once

namespace brindlemar::platform {

enum class Permission { ScreenRecording, Accessibility, InputMonitoring };

// The three privacy permissions as the system grants them to this process.
class PermissionService {
  public:
    virtual ~PermissionService() = default;
    // Answers without any user interface whether the permission is granted now.
    virtual bool check(Permission permission) = 0;
    // Answers the same, and when it is not granted makes the system ask the user; does not wait
    // for the user's decision.
    virtual bool request(Permission permission) = 0;
};

}  // namespace brindlemar::platform
