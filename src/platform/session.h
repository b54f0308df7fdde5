#pragma once

#include <cstdint>
#include <optional>

namespace brindlemar::platform {

// The login session as the system's session dictionary describes it; each entry is absent when
// the dictionary lacks it or holds another kind of value.
struct SessionDictionary {
    std::optional<bool> screenIsLocked;  // "CGSSessionScreenIsLocked"
    std::optional<bool> onConsole;       // "kCGSSessionOnConsoleKey": the session owns the console
    bool operator==(const SessionDictionary&) const = default;
};

// What the person at the machine is doing right now, as the combined state of every input
// source of the session (the helper's own synthetic input is not the user's). Safe to call from
// any thread.
class UserSession {
  public:
    virtual ~UserSession() = default;
    // The current session dictionary; absent when the system gives none.
    virtual std::optional<SessionDictionary> currentSession() = 0;
    // The modifier flags (event_flags masks) of the keys the user holds down.
    virtual std::uint64_t heldModifierFlags() = 0;
    // Whether the user holds the mouse button down: 0 the left (primary), 1 the right button.
    virtual bool isMouseButtonHeld(int button) = 0;
};

}  // namespace brindlemar::platform
