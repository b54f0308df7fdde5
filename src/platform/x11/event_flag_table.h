#pragma once

#include <cstdint>
#include <span>

// The one table file of the X11 backend for event flags. The protocol's events carry macOS
// modifier flag masks (0x20000 Shift ... 0x100000 Command; the seam speaks that vocabulary);
// X knows modifiers only as keys held down, so this is the only place where a flag becomes the
// keys that drive it.
namespace brindlemar::platform::x11 {

// A modifier flag with the virtual key codes of its left and right keys; the left key is the
// one pressed when an event asks for the flag without its key held.
struct ModifierKey {
    std::uint64_t flag;
    std::uint16_t left;
    std::uint16_t right;
};

// Shift, Control, Option (Alt) and Command (Super). Caps Lock toggles on X rather than being
// held, so it is never pressed for a flag.
std::span<const ModifierKey> modifierKeys();

// The flag a virtual key drives when held (Caps Lock: AlphaShift); 0 for other keys.
std::uint64_t flagOfModifierKey(std::uint16_t virtualKey);

}  // namespace brindlemar::platform::x11
