#include "platform/sim/control_server.h"

#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <vector>

namespace brindlemar::platform::sim {
namespace {

// A request line longer than this is not a control request; its client is dropped.
constexpr std::size_t kMaxLineBytes = std::size_t{256} << 20;

Error socketError(const std::string& path, const char* what) {
    return Error{"sim", errno,
                 "control socket " + path + ": " + what + ": " + std::strerror(errno)};
}

struct Client {
    int fd = -1;
    std::string buffer;
};

bool sendAll(int fd, const std::string& bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        ssize_t n = ::send(fd, bytes.data() + done, bytes.size() - done, MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        done += static_cast<std::size_t>(n);
    }
    return true;
}

// Answers every complete line in the client's buffer; false when the client must be dropped.
bool answerLines(Client& client, const ControlServer::Handler& handler) {
    std::size_t start = 0;
    for (;;) {
        auto newline = client.buffer.find('\n', start);
        if (newline == std::string::npos) break;
        std::string_view line(client.buffer.data() + start, newline - start);
        start = newline + 1;
        if (line.find_first_not_of(" \t\r") == std::string_view::npos) continue;
        if (!sendAll(client.fd, handler(line) + "\n")) return false;
    }
    client.buffer.erase(0, start);
    return client.buffer.size() <= kMaxLineBytes;
}

// Reads what the client sent; false when it closed or failed.
bool receive(Client& client, const ControlServer::Handler& handler) {
    char chunk[65536];
    ssize_t n = ::recv(client.fd, chunk, sizeof chunk, 0);
    if (n < 0 && (errno == EINTR || errno == EAGAIN)) return true;
    if (n <= 0) return false;  // a partial line of a vanished client is dropped with it
    client.buffer.append(chunk, static_cast<std::size_t>(n));
    return answerLines(client, handler);
}

}  // namespace

Expected<std::unique_ptr<ControlServer>> ControlServer::start(const std::string& path,
                                                              Handler handler) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) {
        return Error{"sim", ENAMETOOLONG, "control socket " + path + ": path too long"};
    }
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    int fd = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return socketError(path, "cannot create");
    ::unlink(path.c_str());  // a stale socket of an earlier run
    if (::bind(fd, reinterpret_cast<sockaddr*>(&address), sizeof address) != 0 ||
        ::listen(fd, 16) != 0) {
        auto error = socketError(path, "cannot listen");
        ::close(fd);
        return error;
    }
    int wake[2];
    if (::pipe2(wake, O_CLOEXEC) != 0) {
        auto error = socketError(path, "cannot create wake pipe");
        ::close(fd);
        ::unlink(path.c_str());
        return error;
    }
    return std::make_unique<ControlServer>(Key{}, path, fd, wake[0], wake[1], std::move(handler));
}

ControlServer::ControlServer(Key, std::string path, int listenFd, int wakeRead, int wakeWrite,
                             Handler handler)
    : path_(std::move(path)),
      listenFd_(listenFd),
      wakeRead_(wakeRead),
      wakeWrite_(wakeWrite),
      handler_(std::move(handler)),
      thread_([this] { serve(); }) {}

ControlServer::~ControlServer() {
    char stop = 0;
    while (::write(wakeWrite_, &stop, 1) < 0 && errno == EINTR) {
    }
    thread_.join();
    ::close(listenFd_);
    ::close(wakeRead_);
    ::close(wakeWrite_);
    ::unlink(path_.c_str());
}

void ControlServer::serve() {
    std::vector<Client> clients;
    for (;;) {
        std::vector<pollfd> fds = {{wakeRead_, POLLIN, 0}, {listenFd_, POLLIN, 0}};
        for (auto& client : clients)
            fds.push_back({client.fd, POLLIN, 0});
        if (::poll(fds.data(), fds.size(), -1) < 0) {
            if (errno == EINTR) continue;
            break;
        }
        if (fds[0].revents != 0) break;
        for (std::size_t i = clients.size(); i-- > 0;) {
            if (fds[i + 2].revents == 0) continue;
            if (!receive(clients[i], handler_)) {
                ::close(clients[i].fd);
                clients.erase(clients.begin() + static_cast<std::ptrdiff_t>(i));
            }
        }
        if (fds[1].revents & POLLIN) {
            int fd = ::accept4(listenFd_, nullptr, nullptr, SOCK_CLOEXEC);
            if (fd >= 0) {
                // A client that stops reading its replies must not stall every other one.
                timeval timeout{5, 0};
                ::setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &timeout, sizeof timeout);
                clients.push_back({fd, {}});
            }
        }
    }
    for (auto& client : clients)
        ::close(client.fd);
}

}  // namespace brindlemar::platform::sim
