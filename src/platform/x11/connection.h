#pragma once

#include <xcb/xcb.h>
#include <xcb/xcb_ewmh.h>

#include <atomic>
#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "base/error.h"
#include "base/mutex.h"
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
// When the server goes away (it exits or the socket breaks) the connection becomes "lost":
// `check()` and every helper that needs a reply fail with "X server connection lost", and the
// helper keeps serving commands that do not need the server. `reconnectIfLost()` then connects
// again to the same display, at most once a second, so a helper outlives a restarted desktop.
// Each connection made is kept until this object goes away, because another thread may still
// be in the middle of a call on the one that was replaced; `generation()` tells the services
// that keep state of the server (a keymap, shared memory, caches) to rebuild it.
class X11Connection {
  public:
    // Connects to `displayName` (the DISPLAY variable when null). Fails with one line when
    // DISPLAY is unset or the server cannot be reached.
    static Expected<std::unique_ptr<X11Connection>> open(const char* displayName = nullptr);

    ~X11Connection();
    X11Connection(const X11Connection&) = delete;
    X11Connection& operator=(const X11Connection&) = delete;

    xcb_connection_t* raw() const { return link().connection; }
    xcb_screen_t* screen() const { return link().screen; }
    xcb_window_t root() const { return link().screen->root; }
    int screenNumber() const { return link().screenNumber; }
    const X11Extensions& extensions() const { return link().extensions; }
    // The EWMH atoms and helpers of xcb-ewmh, initialised on this connection.
    xcb_ewmh_connection_t* ewmh() { return &link().ewmh; }
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

    // Success while connected. Once the connection is lost, connects again to the same display
    // (at most once a second: a server that is not back yet costs one failed connect a second)
    // and succeeds when that worked; else the lost error.
    Status reconnectIfLost();
    // Starts at 0 and grows by one with every reconnection.
    std::uint64_t generation() const { return generation_.load(std::memory_order_acquire); }

    // The shortest time between two attempts to connect again.
    static constexpr std::chrono::seconds kReconnectInterval{1};

  private:
    // One connection to the server with what was learnt about it when it was made.
    struct Link {
        ~Link();
        xcb_connection_t* connection = nullptr;
        xcb_screen_t* screen = nullptr;
        int screenNumber = 0;
        X11Extensions extensions;
        xcb_ewmh_connection_t ewmh{};
        bool ewmhReady = false;
        mutable std::atomic<bool> lost{false};
    };

    explicit X11Connection(std::string displayName) : displayName_(std::move(displayName)) {}
    static Expected<std::unique_ptr<Link>> connect(const std::string& displayName);
    static void queryExtensions(Link& link);
    Link& link() const { return *link_.load(std::memory_order_acquire); }

    const std::string displayName_;
    std::atomic<Link*> link_{nullptr};
    std::atomic<std::uint64_t> generation_{0};

    Mutex reconnectLock_;
    // Every link made, the current one last; kept until the end (see above).
    std::vector<std::unique_ptr<Link>> links_ GUARDED_BY(reconnectLock_);
    std::chrono::steady_clock::time_point lastAttempt_ GUARDED_BY(reconnectLock_);

    Mutex atomLock_;
    std::map<std::string, xcb_atom_t, std::less<>> atoms_ GUARDED_BY(atomLock_);
};

}  // namespace brindlemar::platform::x11
