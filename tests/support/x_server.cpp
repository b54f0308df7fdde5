#include "support/x_server.h"

#include <fcntl.h>
#include <openssl/evp.h>
#include <poll.h>
#include <unistd.h>
#include <xcb/xcb.h>

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <thread>

#include <nlohmann/json.hpp>

#include "base/child_process.h"

namespace brindlemar::testing {
namespace {

using SteadyClock = std::chrono::steady_clock;

int remainingMs(SteadyClock::time_point deadline) {
    auto left =
        std::chrono::duration_cast<std::chrono::milliseconds>(deadline - SteadyClock::now());
    return left.count() < 0 ? 0 : static_cast<int>(left.count());
}

// Polls the server until the window manager has announced itself on the root window.
bool waitForWindowManager(const std::string& display, std::chrono::milliseconds timeout) {
    auto deadline = SteadyClock::now() + timeout;
    xcb_connection_t* connection = xcb_connect(display.c_str(), nullptr);
    if (xcb_connection_has_error(connection) != 0) {
        xcb_disconnect(connection);
        return false;
    }
    xcb_window_t root = xcb_setup_roots_iterator(xcb_get_setup(connection)).data->root;
    const char name[] = "_NET_SUPPORTING_WM_CHECK";
    auto* atomReply = xcb_intern_atom_reply(
        connection, xcb_intern_atom(connection, 0, sizeof(name) - 1, name), nullptr);
    xcb_atom_t atom = atomReply != nullptr ? atomReply->atom : xcb_atom_t{XCB_ATOM_NONE};
    std::free(atomReply);
    bool ready = false;
    while (!ready && SteadyClock::now() < deadline) {
        auto* reply = xcb_get_property_reply(
            connection, xcb_get_property(connection, 0, root, atom, XCB_ATOM_WINDOW, 0, 1),
            nullptr);
        ready = reply != nullptr && xcb_get_property_value_length(reply) == 4;
        std::free(reply);
        if (!ready) std::this_thread::sleep_for(20ms);
    }
    xcb_disconnect(connection);
    return ready;
}

}  // namespace

ChildProcess::ChildProcess(const std::vector<std::string>& arguments,
                           const std::map<std::string, std::string>& environment, bool pipes)
    : ChildProcess(arguments, environment, pipes, -1) {}

ChildProcess::ChildProcess(const std::vector<std::string>& arguments,
                           const std::map<std::string, std::string>& environment, bool pipes,
                           int keepFd) {
    const ChildStream stream = pipes ? ChildStream::Pipe : ChildStream::Inherit;
    ChildSpec spec{.arguments = arguments,
                   .environment = environmentWith(currentEnvironment(), environment),
                   .searchPath = true,
                   .standardInput = stream,
                   .standardOutput = stream,
                   // Own process group, so a terminal's signals reach the test and not its
                   // fixtures.
                   .ownProcessGroup = true};
    if (keepFd >= 0) spec.inheritedFds.push_back(keepFd);
    auto process = brindlemar::ChildProcess::spawn(spec);
    if (!process) throw std::runtime_error(process.error().message);
    process_ = std::move(process).value();
}

ChildProcess::~ChildProcess() {
    stop();
}

pid_t ChildProcess::pid() const {
    return process_->pid();
}

std::optional<std::string> ChildProcess::readLine(std::chrono::milliseconds timeout) {
    auto deadline = SteadyClock::now() + timeout;
    const int output = process_->outputFd();
    while (true) {
        if (auto end = buffer_.find('\n'); end != std::string::npos) {
            std::string line = buffer_.substr(0, end);
            buffer_.erase(0, end + 1);
            return line;
        }
        if (output < 0) return std::nullopt;
        pollfd entry{output, POLLIN, 0};
        int ready = ::poll(&entry, 1, remainingMs(deadline));
        if (ready < 0 && errno == EINTR) continue;
        if (ready <= 0) return std::nullopt;
        char chunk[4096];
        ssize_t count = ::read(output, chunk, sizeof chunk);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return std::nullopt;
        buffer_.append(chunk, static_cast<std::size_t>(count));
    }
}

void ChildProcess::writeLine(std::string_view line) {
    const int input = process_->inputFd();
    if (input < 0) return;
    std::string text = std::string(line) + "\n";
    std::size_t done = 0;
    while (done < text.size()) {
        ssize_t count = ::write(input, text.data() + done, text.size() - done);
        if (count < 0 && errno == EINTR) continue;
        if (count <= 0) return;
        done += static_cast<std::size_t>(count);
    }
}

bool ChildProcess::running() {
    return !process_->poll();
}

void ChildProcess::stop() {
    process_->terminate(2s);
}

void ChildProcess::kill() {
    process_->kill();
}

XServer::XServer() : XServer(Options{}) {}

XServer::XServer(Options options) {
    startServer(options);
    char directory[] = "/tmp/brindlemar-xdg-XXXXXX";
    if (::mkdtemp(directory) == nullptr) throw std::runtime_error("mkdtemp failed");
    configDirectory_ = directory;
    if (options.windowManager) startWindowManager();
}

XServer::~XServer() {
    windowManager_.reset();
    server_.reset();
    std::error_code ignored;
    std::filesystem::remove_all(configDirectory_, ignored);
}

void XServer::startServer(const Options& options, const std::string& display) {
    options_ = options;
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0) throw std::runtime_error("pipe failed");
    std::string screen =
        std::to_string(options.width) + "x" + std::to_string(options.height) + "x24";
    std::vector<std::string> arguments{"Xvfb",       "-displayfd", std::to_string(fds[1]),
                                       "-screen",    "0",          screen,
                                       "-nolisten",  "tcp",        "-noreset",
                                       "+extension", "COMPOSITE",  "+extension",
                                       "RANDR",      "+extension", "XFIXES",
                                       "+extension", "X-Resource"};
    // With a display named, the server takes that number and reports it the same way.
    if (!display.empty()) arguments.insert(arguments.begin() + 1, display);
    server_ = std::unique_ptr<ChildProcess>(new ChildProcess(arguments, {}, false, fds[1]));
    ::close(fds[1]);
    // The server writes its display number and a line feed once it accepts connections.
    std::string number;
    auto deadline = SteadyClock::now() + 20s;
    while (number.find('\n') == std::string::npos) {
        pollfd entry{fds[0], POLLIN, 0};
        if (::poll(&entry, 1, remainingMs(deadline)) <= 0) break;
        char chunk[32];
        ssize_t count = ::read(fds[0], chunk, sizeof chunk);
        if (count <= 0) break;
        number.append(chunk, static_cast<std::size_t>(count));
    }
    ::close(fds[0]);
    if (number.find('\n') == std::string::npos) throw std::runtime_error("Xvfb did not start");
    display_ = ":" + number.substr(0, number.find('\n'));
}

void XServer::startWindowManager() {
    windowManager_ = spawn({"openbox", "--sm-disable"});
    if (!waitForWindowManager(display_, 20s)) throw std::runtime_error("openbox did not start");
}

std::map<std::string, std::string> XServer::environment() const {
    return {{"DISPLAY", display_},
            {"XDG_CONFIG_HOME", configDirectory_},
            {"NO_AT_BRIDGE", "1"},
            {"GDK_BACKEND", "x11"}};
}

std::unique_ptr<ChildProcess> XServer::spawn(const std::vector<std::string>& arguments,
                                             bool pipes) const {
    return std::make_unique<ChildProcess>(arguments, environment(), pipes);
}

void XServer::kill() {
    windowManager_.reset();
    if (server_) server_->kill();
}

void XServer::restart() {
    kill();
    startServer(options_, display_);
}

std::vector<std::uint32_t> XServer::cardinalProperty(std::uint32_t window,
                                                     const std::string& name) const {
    xcb_connection_t* connection = xcb_connect(display_.c_str(), nullptr);
    std::vector<std::uint32_t> values;
    if (xcb_connection_has_error(connection) == 0) {
        auto* atom = xcb_intern_atom_reply(
            connection,
            xcb_intern_atom(connection, 0, static_cast<std::uint16_t>(name.size()), name.c_str()),
            nullptr);
        if (atom != nullptr) {
            auto* reply = xcb_get_property_reply(
                connection,
                xcb_get_property(connection, 0, window, atom->atom, XCB_ATOM_ANY, 0, 64), nullptr);
            if (reply != nullptr && reply->format == 32) {
                const auto* data = static_cast<const std::uint32_t*>(xcb_get_property_value(reply));
                values.assign(data, data + xcb_get_property_value_length(reply) / 4);
            }
            std::free(reply);
        }
        std::free(atom);
    }
    xcb_disconnect(connection);
    return values;
}

GtkWindowFixture::GtkWindowFixture(const XServer& server, Options options) {
    std::vector<std::string> arguments{
        systemPython(), fixturePath("gtk_window.py"),
        "--title",      options.title,
        "--colour",     options.colour,
        "--size",       std::to_string(options.width) + "x" + std::to_string(options.height),
        "--position",   std::to_string(options.x) + "," + std::to_string(options.y)};
    if (!options.typeHint.empty()) {
        arguments.push_back("--type-hint");
        arguments.push_back(options.typeHint);
    }
    if (options.keepAbove) arguments.push_back("--keep-above");
    if (options.closeOnEnter) arguments.push_back("--close-on-enter");
    process_ = server.spawn(arguments, true);
    auto line = process_->readLine(20s);
    if (!line) throw std::runtime_error("the GTK fixture did not report its window");
    auto report = nlohmann::json::parse(*line);
    pid_ = report.at("pid").get<pid_t>();
    windowId_ = report.at("xid").get<std::uint32_t>();
}

void GtkWindowFixture::command(std::string_view line) {
    process_->writeLine(line);
    // The fixture answers every command once the server has processed it.
    process_->readLine(5s);
}

std::string systemPython() {
    return "/usr/bin/python3";
}

std::string fixturePath(std::string_view name) {
    return std::string(BRINDLEMAR_FIXTURES_DIR) + "/" + std::string(name);
}

std::string sha256OfFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) return "";
    std::unique_ptr<EVP_MD_CTX, decltype(&EVP_MD_CTX_free)> context(EVP_MD_CTX_new(),
                                                                    &EVP_MD_CTX_free);
    EVP_DigestInit_ex(context.get(), EVP_sha256(), nullptr);
    std::array<char, 65536> chunk{};
    while (file.read(chunk.data(), chunk.size()) || file.gcount() > 0) {
        EVP_DigestUpdate(context.get(), chunk.data(), static_cast<std::size_t>(file.gcount()));
    }
    std::array<unsigned char, EVP_MAX_MD_SIZE> digest{};
    unsigned int length = 0;
    EVP_DigestFinal_ex(context.get(), digest.data(), &length);
    std::ostringstream hex;
    for (unsigned int i = 0; i < length; ++i) {
        char pair[3];
        std::snprintf(pair, sizeof pair, "%02x", digest[i]);
        hex << pair;
    }
    return hex.str();
}

}  // namespace brindlemar::testing
