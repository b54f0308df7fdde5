#include "input/refused_release.h"

#include "input/input_event.h"
#include "input/input_state.h"
#include "input/pointer_events.h"
#include "platform/synthetic_events.h"

namespace brindlemar {

void letGoOfRefusedRelease(const InputState& state, platform::EventPoster& events,
                           const InputEvent& event) {
    if (!event.isRelease()) return;
    platform::SyntheticEvent release;
    if (event.kind == InputEvent::Kind::Key) {
        const auto found = state.vkMap.find(event.code);
        if (found == state.vkMap.end()) return;
        release.type = platform::EventType::KeyUp;
        release.keyCode = found->second;
        release.keyDown = false;
    } else {
        release.type = releaseType(systemButton(event.button));
        release.button = systemButton(event.button);
    }
    events.releaseIfHeld(release);
}

}  // namespace brindlemar
