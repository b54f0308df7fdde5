#include "capture/identity.h"

#include <span>

#include "base/text.h"

namespace brindlemar::capture {
namespace {

std::string lowerHex(std::span<const std::uint8_t> bytes) {
    static constexpr char kDigits[] = "0123456789abcdef";
    std::string text;
    text.reserve(bytes.size() * 2);
    for (std::uint8_t byte : bytes) {
        text.push_back(kDigits[byte >> 4]);
        text.push_back(kDigits[byte & 0x0f]);
    }
    return text;
}

}  // namespace

std::string applicationIdentity(platform::CodeSigning& signing, std::int32_t pid) {
    auto code = signing.codeForProcess(pid);
    if (!code) return "";
    // Code changed on disk since the process started gets no identity.
    if (!code->isValid()) return "";
    if (!code->hasStaticCode()) return "";
    auto info = code->signingInformation();
    if (!info || !info->identifier) return "";

    const std::string prefix = signing.identityNamespace() + ":";
    if (info->team && !info->team->empty()) return prefix + *info->team + ":" + *info->identifier;
    if (code->satisfiesVendorAnchor()) return prefix + "apple:" + *info->identifier;
    if (info->uniqueHash) return prefix + "adhoc:" + lowerHex(*info->uniqueHash);
    return "";
}

std::string processIdentity(platform::Workspace& workspace, std::int32_t pid) {
    auto launched = workspace.launchTime(pid);
    if (!launched) return "";
    return decimalWithFraction(*launched);
}

}  // namespace brindlemar::capture
