#include "support/sim_control.h"

#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <stdexcept>
#include <thread>

namespace brindlemar::testing {

SimControl::SimControl(const std::string& socketPath) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (socketPath.size() >= sizeof(address.sun_path)) throw std::runtime_error("path too long");
    std::memcpy(address.sun_path, socketPath.c_str(), socketPath.size() + 1);
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    for (;;) {
        fd_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
        if (::connect(fd_, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) return;
        ::close(fd_);
        fd_ = -1;
        if (std::chrono::steady_clock::now() > deadline) {
            throw std::runtime_error("cannot connect to " + socketPath + ": " +
                                     std::strerror(errno));
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
}

SimControl::~SimControl() {
    if (fd_ >= 0) ::close(fd_);
}

nlohmann::json SimControl::call(const nlohmann::json& request) {
    std::string line = request.dump() + "\n";
    std::string_view rest = line;
    while (!rest.empty()) {
        ssize_t n = ::send(fd_, rest.data(), rest.size(), MSG_NOSIGNAL);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) throw std::runtime_error("control socket write failed");
        rest.remove_prefix(static_cast<std::size_t>(n));
    }
    for (;;) {
        auto newline = buffer_.find('\n');
        if (newline != std::string::npos) {
            auto reply = nlohmann::json::parse(buffer_.substr(0, newline));
            buffer_.erase(0, newline + 1);
            return reply;
        }
        char chunk[65536];
        ssize_t n = ::recv(fd_, chunk, sizeof chunk, 0);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) throw std::runtime_error("control socket closed");
        buffer_.append(chunk, static_cast<std::size_t>(n));
    }
}

namespace {
nlohmann::json expectOk(nlohmann::json reply, const nlohmann::json& request) {
    if (!reply.value("ok", false)) {
        throw std::runtime_error("control request " + request.dump() + " failed: " + reply.dump());
    }
    return reply;
}
}  // namespace

nlohmann::json SimControl::state() {
    nlohmann::json request = {{"op", "state"}};
    return expectOk(call(request), request)["scene"];
}

nlohmann::json SimControl::journal() {
    nlohmann::json request = {{"op", "journal"}};
    return expectOk(call(request), request)["entries"];
}

void SimControl::advanceClock(double seconds) {
    nlohmann::json request = {{"op", "advance_clock"}, {"seconds", seconds}};
    expectOk(call(request), request);
}

void SimControl::merge(const nlohmann::json& patch) {
    nlohmann::json request = {{"op", "merge"}, {"patch", patch}};
    expectOk(call(request), request);
}

void SimControl::replaceScene(const nlohmann::json& scene) {
    nlohmann::json request = {{"op", "scene"}, {"scene", scene}};
    expectOk(call(request), request);
}

}  // namespace brindlemar::testing
