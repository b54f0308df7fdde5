#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "base/error.h"

namespace brindlemar {

struct InputEvent;
struct InputState;
namespace platform {
class Desktop;
}

// The outcome of routing one input event that the desktop could act on: success, or a refusal
// word ("window_gone", ...). When the desktop fails (an event could not be posted, the X server
// is gone) the routing operations return that failure instead, and the command loop answers it
// with an error record, as it does for every other command.
struct InputOutcome {
    bool ok = false;
    std::optional<std::string> error;

    static InputOutcome success() { return {true, std::nullopt}; }
    static InputOutcome refused(std::string word) { return {false, std::move(word)}; }
};

// Performs an input event on a window: its normalised position is mapped into the window's
// current frame, and a press raises the window first. Input that the desktop knows would not
// reach the window's application (pointer input over another application's window, keys while
// another application has the focus) is refused with `kWindowNotInFront`. A refused release
// still lets go of what the helper's own press holds (see letGoOfRefusedRelease). Fails when
// the desktop cannot be reached.
Expected<InputOutcome> handleInput(InputState& state, platform::Desktop& desktop, std::uint32_t id,
                                   const InputEvent& event);

// The same on a display; an unknown or inactive display stands for the main display.
Expected<InputOutcome> handleDisplayInput(InputState& state, platform::Desktop& desktop,
                                          std::uint32_t id, const InputEvent& event);

}  // namespace brindlemar
