#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace brindlemar::platform {

// The signing information dictionary of a code object, with each entry absent when it is missing
// or of the wrong kind.
struct SigningInformation {
    std::optional<std::string> identifier;
    std::optional<std::string> team;
    std::optional<std::vector<std::uint8_t>> uniqueHash;
};

// The code object of one running process.
class RunningCode {
  public:
    virtual ~RunningCode() = default;
    // Dynamic validity of the running code, checked without a requirement.
    virtual bool isValid() = 0;
    // Whether the code on disk (its static code) can be had.
    virtual bool hasStaticCode() = 0;
    // The signing information; absent when it cannot be read or is not a dictionary.
    virtual std::optional<SigningInformation> signingInformation() = 0;
    // Whether the running code satisfies the platform vendor's anchor requirement; false when
    // the requirement cannot be created.
    virtual bool satisfiesVendorAnchor() = 0;
};

class CodeSigning {
  public:
    virtual ~CodeSigning() = default;
    // The prefix of application identities on this platform ("macos", "linux").
    virtual std::string identityNamespace() = 0;
    // The code object of the running process; null when there is none.
    virtual std::unique_ptr<RunningCode> codeForProcess(std::int32_t pid) = 0;
};

}  // namespace brindlemar::platform
