#pragma once

#include <sys/types.h>

#include <chrono>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace brindlemar {
class ChildProcess;
}

namespace brindlemar::testing {

using namespace std::chrono_literals;

// A program started by a test (looked up on PATH, in the test's environment with the given
// settings, in a process group of its own), with its standard input and output on pipes when
// asked. It is terminated (SIGTERM, then SIGKILL) and reaped when the object goes away.
class ChildProcess {
  public:
    ChildProcess(const std::vector<std::string>& arguments,
                 const std::map<std::string, std::string>& environment, bool pipes);
    ~ChildProcess();
    ChildProcess(const ChildProcess&) = delete;
    ChildProcess& operator=(const ChildProcess&) = delete;

    pid_t pid() const;
    // One line of standard output without its line feed; none on timeout or end of output.
    std::optional<std::string> readLine(std::chrono::milliseconds timeout = 10s);
    // Writes one line to standard input.
    void writeLine(std::string_view line);
    // Sends SIGTERM, waits a little, then SIGKILL; reaps the process. Safe to call twice.
    void stop();
    // Sends SIGKILL and reaps the process at once.
    void kill();
    bool running();

  private:
    friend class XServer;
    // `keepFd` stays open in the child, e.g. the pipe Xvfb reports its display number on.
    ChildProcess(const std::vector<std::string>& arguments,
                 const std::map<std::string, std::string>& environment, bool pipes, int keepFd);

    std::unique_ptr<brindlemar::ChildProcess> process_;
    std::string buffer_;
};

// A private X server (Xvfb) with the openbox window manager, for one test binary. Each instance
// gets a free display number from the server itself, so test binaries run in parallel without
// disturbing each other. Everything it started is stopped when it goes away.
class XServer {
  public:
    struct Options {
        int width = 1920;
        int height = 1080;
        bool windowManager = true;
    };

    XServer();
    explicit XServer(Options options);
    ~XServer();
    XServer(const XServer&) = delete;
    XServer& operator=(const XServer&) = delete;

    // ":<number>"
    const std::string& display() const { return display_; }
    // DISPLAY and a private configuration directory, for programs started on this server.
    std::map<std::string, std::string> environment() const;
    // Starts a program on this server.
    std::unique_ptr<ChildProcess> spawn(const std::vector<std::string>& arguments,
                                        bool pipes = false) const;
    // Kills the server: the X connections of every client break.
    void kill();
    // Starts a new server on the same display number (after `kill`), without a window manager.
    void restart();
    // The 32-bit values of a window's property (CARDINAL, ATOM, WINDOW); empty when absent.
    std::vector<std::uint32_t> cardinalProperty(std::uint32_t window,
                                                const std::string& name) const;
    bool windowManagerRunning() const { return windowManager_ != nullptr; }

  private:
    void startServer(const Options& options, const std::string& display = "");
    void startWindowManager();

    std::string display_;
    std::string configDirectory_;
    std::unique_ptr<ChildProcess> server_;
    std::unique_ptr<ChildProcess> windowManager_;
    Options options_;
};

// The small GTK application of tests/fixtures/gtk_window.py: one window of a given title,
// colour, size and position. It reports its pid and window id once the window is shown and
// takes commands on its standard input ("quit", "title <text>", "move <x> <y>",
// "resize <w> <h>", "raise", "hide", "show").
class GtkWindowFixture {
  public:
    struct Options {
        std::string title = "Fixture";
        std::string colour = "#ff0000";
        int width = 400;
        int height = 300;
        int x = 100;
        int y = 100;
        std::string typeHint;  // "", "dock", "dialog", "utility", ...
        bool keepAbove = false;
        bool closeOnEnter = false;  // the window closes on a press of Enter, as dialogs do
    };

    GtkWindowFixture(const XServer& server, Options options);

    pid_t pid() const { return pid_; }
    std::uint32_t windowId() const { return windowId_; }
    void command(std::string_view line);
    ChildProcess& process() { return *process_; }

  private:
    std::unique_ptr<ChildProcess> process_;
    pid_t pid_ = -1;
    std::uint32_t windowId_ = 0;
};

// Path of the interpreter that has the GTK bindings (the system's python3).
std::string systemPython();
// Path of a fixture program under tests/fixtures.
std::string fixturePath(std::string_view name);
// Lower-case hex SHA-256 of a file's bytes; "" when it cannot be read.
std::string sha256OfFile(const std::string& path);

}  // namespace brindlemar::testing
