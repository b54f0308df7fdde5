#include "platform/sim/drop_client.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include <nlohmann/json.hpp>

namespace brindlemar::platform::sim {
namespace {

// A connected socket that closes itself.
class Connection {
  public:
    explicit Connection(int fd) : fd_(fd) {}
    ~Connection() {
        if (fd_ >= 0) ::close(fd_);
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;
    int fd() const { return fd_; }

  private:
    int fd_;
};

Error failure(const std::string& what) {
    return Error{"sim", errno, "control socket: " + what + ": " + std::strerror(errno)};
}

Expected<std::string> exchangeLine(int fd, const std::string& request) {
    std::size_t sent = 0;
    while (sent < request.size()) {
        ssize_t n = ::send(fd, request.data() + sent, request.size() - sent, MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return failure("cannot send");
        sent += static_cast<std::size_t>(n);
    }
    std::string reply;
    char chunk[4096];
    while (reply.find('\n') == std::string::npos) {
        ssize_t n = ::recv(fd, chunk, sizeof chunk, 0);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return failure("no reply");
        reply.append(chunk, static_cast<std::size_t>(n));
    }
    return reply.substr(0, reply.find('\n'));
}

Expected<DropOutcome> outcomeOf(const std::string& line) {
    auto reply = nlohmann::json::parse(line, nullptr, false);
    if (!reply.is_object() || reply.value("ok", false) != true) {
        std::string error = reply.is_object() ? reply.value("error", line) : line;
        return Error{"sim", 1, "control socket: drop refused: " + error};
    }
    std::string outcome = reply.value("outcome", "");
    if (outcome == "accepted") return DropOutcome::Accepted;
    if (outcome == "refused") return DropOutcome::Refused;
    if (outcome == "not_started") return DropOutcome::NotStarted;
    if (outcome == "hang") return DropOutcome::Hang;
    return Error{"sim", 1, "control socket: unknown drop outcome \"" + outcome + "\""};
}

}  // namespace

Expected<DropOutcome> dropThroughControlSocket(const std::string& socketPath, Point at,
                                               const std::vector<std::string>& paths) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (socketPath.size() >= sizeof address.sun_path) {
        return Error{"sim", ENAMETOOLONG, "control socket: path too long"};
    }
    std::memcpy(address.sun_path, socketPath.c_str(), socketPath.size() + 1);
    Connection connection(::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0));
    if (connection.fd() < 0) return failure("cannot create");
    if (::connect(connection.fd(), reinterpret_cast<sockaddr*>(&address), sizeof address) != 0) {
        return failure("cannot connect to " + socketPath);
    }
    nlohmann::json request = {{"op", "drop"}, {"x", at.x}, {"y", at.y}, {"paths", paths}};
    auto reply = exchangeLine(connection.fd(), request.dump() + "\n");
    if (!reply) return std::move(reply).takeError();
    return outcomeOf(*reply);
}

}  // namespace brindlemar::platform::sim
