#pragma once

#include <functional>
#include <string>
#include <string_view>
#include <thread>

#include "base/error.h"

namespace brindlemar::platform::sim {

// The Unix stream socket on which tests and the file-drop child control the simulated desktop.
// One thread accepts clients and serves them all, one JSON line in, one reply line out; each
// request is handled completely before its reply is written. A client that sends garbage gets
// the handler's error reply; one that vanishes mid-line is dropped. All sockets belong to the
// server thread; the wake pipe is how the destructor stops it.
class ControlServer {
  public:
    using Handler = std::function<std::string(std::string_view line)>;

    // Replaces a stale file at `path`, binds and starts serving.
    static Expected<std::unique_ptr<ControlServer>> start(const std::string& path, Handler handler);
    // Stops serving, closes every client and removes the socket file.
    ~ControlServer();
    ControlServer(const ControlServer&) = delete;
    ControlServer& operator=(const ControlServer&) = delete;

    // Only `start` can make the key; the constructor takes over the descriptors.
    class Key {
        friend class ControlServer;
        Key() = default;
    };
    ControlServer(Key, std::string path, int listenFd, int wakeRead, int wakeWrite,
                  Handler handler);

  private:
    void serve();

    std::string path_;
    int listenFd_;
    int wakeRead_;
    int wakeWrite_;
    Handler handler_;
    std::thread thread_;
};

}  // namespace brindlemar::platform::sim
