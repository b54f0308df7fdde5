#pragma once

#include <sys/types.h>

#include <ctime>
#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <tuple>

#include "platform/code_signing.h"

namespace brindlemar::platform::x11 {

// The identity of the program a Linux process runs, in the terms of the code-signing seam:
// team "flatpak" with the Flatpak application id, team "snap" with the snap name, else team "exe"
// with the SHA-256 of the executable file. The core composes "linux:<team>:<identifier>".
//
// Hashes are cached by the executable's device, inode and modification time, so a listing does
// not read a program again; the cache is guarded by `cacheLock_`.
class LinuxCodeSigning final : public CodeSigning {
  public:
    std::string identityNamespace() override { return "linux"; }
    std::unique_ptr<RunningCode> codeForProcess(std::int32_t pid) override;

    // The lower-case hex SHA-256 of the executable of `pid`; none when it cannot be read.
    std::optional<std::string> executableHash(std::int32_t pid);

  private:
    using FileKey = std::tuple<dev_t, ino_t, std::time_t, long>;

    std::mutex cacheLock_;  // guards hashes_
    std::map<FileKey, std::string> hashes_;
};

}  // namespace brindlemar::platform::x11
