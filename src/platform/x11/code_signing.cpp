#include "platform/x11/code_signing.h"

#include <fcntl.h>
#include <openssl/evp.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <utility>

#include "base/unique_fd.h"
#include "platform/x11/process_files.h"

namespace brindlemar::platform::x11 {

namespace {

std::optional<std::string> sha256Hex(int fd) {
    std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(),
                                                                    &EVP_MD_CTX_free);
    if (!context || EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr) != 1) {
        return std::nullopt;
    }
    std::array<unsigned char, 1 << 16> chunk{};
    while (true) {
        ssize_t count = ::read(fd, chunk.data(), chunk.size());
        if (count < 0 && errno == EINTR) continue;
        if (count < 0) return std::nullopt;
        if (count == 0) break;
        EVP_DigestUpdate(context.get(), chunk.data(), static_cast<std::size_t>(count));
    }
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned int length = 0;
    if (EVP_DigestFinal_ex(context.get(), digest.data(), &length) != 1) return std::nullopt;
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string hex;
    for (unsigned int i = 0; i < length; ++i) {
        hex.push_back(kDigits[digest[i] >> 4]);
        hex.push_back(kDigits[digest[i] & 0x0f]);
    }
    return hex;
}

// The code of one process, resolved when it was looked up.
class LinuxRunningCode final : public RunningCode {
  public:
    explicit LinuxRunningCode(std::optional<SigningInformation> information)
        : information_(std::move(information)) {}

    bool isValid() override { return information_.has_value(); }
    bool hasStaticCode() override { return true; }
    std::optional<SigningInformation> signingInformation() override { return information_; }
    bool satisfiesVendorAnchor() override { return false; }

  private:
    std::optional<SigningInformation> information_;
};

SigningInformation teamAndIdentifier(std::string team, std::string identifier) {
    SigningInformation information;
    information.team = std::move(team);
    information.identifier = std::move(identifier);
    return information;
}

}  // namespace

std::unique_ptr<RunningCode> LinuxCodeSigning::codeForProcess(std::int32_t pid) {
    if (!processExists(pid)) return nullptr;
    std::optional<SigningInformation> information;
    if (auto flatpak = flatpakApplicationId(pid)) {
        information = teamAndIdentifier("flatpak", *flatpak);
    } else if (auto snap = snapName(pid)) {
        information = teamAndIdentifier("snap", *snap);
    } else if (auto hash = executableHash(pid)) {
        information = teamAndIdentifier("exe", *hash);
    }
    return std::make_unique<LinuxRunningCode>(std::move(information));
}

std::optional<std::string> LinuxCodeSigning::executableHash(std::int32_t pid) {
    // A program replaced on disk since the process started is shown as "(deleted)": it has no
    // identity, as changed code has none.
    std::string target(4096, '\0');
    ssize_t length = ::readlink(procPath(pid, "exe").c_str(), target.data(), target.size());
    if (length <= 0) return std::nullopt;
    target.resize(static_cast<std::size_t>(length));
    if (target.ends_with(" (deleted)")) return std::nullopt;

    UniqueFd file(::open(procPath(pid, "exe").c_str(), O_RDONLY | O_CLOEXEC));
    struct stat info {};
    if (file.get() < 0 || ::fstat(file.get(), &info) != 0) return std::nullopt;
    FileKey key{info.st_dev, info.st_ino, info.st_mtim.tv_sec, info.st_mtim.tv_nsec};
    {
        std::lock_guard lock(cacheLock_);
        if (auto found = hashes_.find(key); found != hashes_.end()) return found->second;
    }
    auto hash = sha256Hex(file.get());
    if (!hash) return std::nullopt;
    std::lock_guard lock(cacheLock_);
    hashes_.emplace(key, *hash);
    return hash;
}

}  // namespace brindlemar::platform::x11
