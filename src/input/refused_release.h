#pragma once

namespace brindlemar {

struct InputEvent;
struct InputState;
namespace platform {
class EventPoster;
}

// A release that the rules refuse ("window_gone", ...) or that a file drop holds back posts
// nothing, and the reply stays what the rules give. Yet on a desktop where the helper's own
// press is a real key or button held down (X11), that key or button must not stay held, or it
// repeats into whatever window has the focus: the desktop is told to let go of it. Anything but
// a key or mouse release, and a key name outside the table, does nothing.
void letGoOfRefusedRelease(const InputState& state, platform::EventPoster& events,
                           const InputEvent& event);

}  // namespace brindlemar
