#pragma once

#include <xcb/xcb.h>
#include <xcb/xcb_ewmh.h>

#include <atomic>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>

#include "base/error.h"
#include "platform/x11/xcb_reply.h"

namespace brindlemar::platform::x11 {

inline constexpr const char* kX11Domain = "x11";
inline constexpr const char* kConnectionLostMessage = "X server connection lost";

// The extensions of the server that the backend relies on, queried once when connecting.
struct X11Extensions {
    bool randr15 = false;    // RandR 1.5 monitors
    bool shm = false;        // MIT-SHM images
    bool composite = false;  // a window's own content, covered or not
    bool xfixes = false;     // the cursor image
    bool xinput2 = false;    // input monitoring
    bool xtest = false;      // synthetic input
    bool resource = false;   // X-Resource client pids
};

// One connection to an X server, shared by every X11 service of the helper.
//
// xcb itself is safe to use from several threads at once: requests and replies may be issued
// from any thread. The atom cache is guarded by `atomLock_`. Nothing here reads the event queue;
// a service that selects events owns reading them.
//
// When the server goes away (it exits or the socket breaks) the connection becomes "lost" for
// good: `check()` and every helper that needs a reply fail with "X server connection lost", and
// the helper keeps serving commands that do not need the server.
class X11Connection {
  public:
    // Connects to `displayName` (the DISPLAY variable when null). Fails with one line when
    // DISPLAY is unset or the server cannot be reached.
    static Expected<std::unique_ptr<X11Connection>> open(const char* displayName = nullptr);

    ~X11Connection();
    X11Connection(const X11Connection&) = delete;
    X11Connection& operator=(const X11Connection&) = delete;

    xcb_connection_t* raw() const { return connection_; }
    xcb_screen_t* screen() const { return screen_; }
    xcb_window_t root() const { return screen_->root; }
    int screenNumber() const { return screenNumber_; }
    const X11Extensions& extensions() const { return extensions_; }
    // The EWMH atoms and helpers of xcb-ewmh, initialised on this connection.
    xcb_ewmh_connection_t* ewmh() { return &ewmh_; }
    const std::string& displayName() const { return displayName_; }

    // The atom of `name`, interned once and cached; XCB_ATOM_NONE when the server is gone.
    xcb_atom_t atom(std::string_view name);

    // True once the server has gone away; checks the socket's state.
    bool lost() const;
    // Success while the server is reachable, else the "X server connection lost" error.
    Status check() const;
    // The error every call answers once the connection is lost.
    static Error lostError();
    // The error for a failed request: "X server connection lost" when that is the cause, else
    // `what` with the X error code.
    Error requestError(std::string_view what, const xcb_generic_error_t* error = nullptr) const;

    // Waits for all requests sent so far to be processed; false when the server is gone.
    bool sync();

  private:
    X11Connection(xcb_connection_t* connection, int screenNumber, std::string displayName);
    void queryExtensions();

    xcb_connection_t* connection_ = nullptr;
    xcb_screen_t* screen_ = nullptr;
    int screenNumber_ = 0;
    std::string displayName_;
    X11Extensions extensions_;
    xcb_ewmh_connection_t ewmh_{};
    bool ewmhReady_ = false;

    std::mutex atomLock_;  // guards atoms_
    std::map<std::string, xcb_atom_t, std::less<>> atoms_;
    mutable std::atomic<bool> lost_{false};
};

}  // namespace brindlemar::platform::x11
