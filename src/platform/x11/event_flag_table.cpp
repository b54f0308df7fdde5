#include "platform/x11/event_flag_table.h"

#include <array>

#include "platform/synthetic_events.h"
#include "platform/x11/key_code_table.h"

namespace brindlemar::platform::x11 {
namespace {

using namespace event_flags;

constexpr std::array<ModifierKey, 4> kModifierKeys = {{
    {kShift, 0x38, 0x3C},
    {kControl, 0x3B, 0x3E},
    {kAlternate, 0x3A, 0x3D},
    {kCommand, 0x37, 0x36},
}};

}  // namespace

std::span<const ModifierKey> modifierKeys() {
    return kModifierKeys;
}

std::uint64_t flagOfModifierKey(std::uint16_t virtualKey) {
    for (const auto& modifier : kModifierKeys)
        if (virtualKey == modifier.left || virtualKey == modifier.right) return modifier.flag;
    return virtualKey == kVirtualCapsLock ? kAlphaShift : 0;
}

}  // namespace brindlemar::platform::x11
