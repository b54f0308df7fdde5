#include <memory>

#include "platform/synthetic_events.h"
#include "platform/x11/connection.h"
#include "platform/x11/input_services.h"

namespace brindlemar::platform::x11 {
namespace {

// The pointer's key-and-button mask of the core protocol, which the server keeps for every
// device together.
std::optional<std::uint16_t> pointerMask(X11Connection& connection) {
    if (connection.lost()) return std::nullopt;
    XcbReply<xcb_query_pointer_reply_t> reply(xcb_query_pointer_reply(
        connection.raw(), xcb_query_pointer(connection.raw(), connection.root()), nullptr));
    if (!reply) return std::nullopt;
    return reply->mask;
}

// What the user holds, from the server's pointer mask: Shift, Control, Mod1 (Alt) and Mod4
// (Super, the Command key's place) and the left and right buttons. The X server does not tell
// a locked screen from an unlocked one, nor a remote session from the console: the session is
// reported unlocked and on the console.
class X11UserSession final : public UserSession {
  public:
    explicit X11UserSession(X11Connection& connection) : connection_(connection) {}

    std::optional<SessionDictionary> currentSession() override {
        if (connection_.lost()) return std::nullopt;
        return SessionDictionary{false, true};
    }

    std::uint64_t heldModifierFlags() override {
        auto mask = pointerMask(connection_);
        if (!mask) return 0;
        std::uint64_t flags = 0;
        if (*mask & XCB_MOD_MASK_SHIFT) flags |= event_flags::kShift;
        if (*mask & XCB_MOD_MASK_CONTROL) flags |= event_flags::kControl;
        if (*mask & XCB_MOD_MASK_1) flags |= event_flags::kAlternate;
        if (*mask & XCB_MOD_MASK_4) flags |= event_flags::kCommand;
        return flags;
    }

    bool isMouseButtonHeld(int button) override {
        auto mask = pointerMask(connection_);
        if (!mask) return false;
        if (button == 0) return (*mask & XCB_BUTTON_MASK_1) != 0;
        if (button == 1) return (*mask & XCB_BUTTON_MASK_3) != 0;
        return false;
    }

  private:
    X11Connection& connection_;
};

}  // namespace

std::unique_ptr<UserSession> makeUserSession(X11Connection& connection) {
    return std::make_unique<X11UserSession>(connection);
}

}  // namespace brindlemar::platform::x11
