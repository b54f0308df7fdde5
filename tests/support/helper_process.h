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

#include <nlohmann/json.hpp>

namespace brindlemar {
class ChildProcess;
}

namespace brindlemar::testing {

using Json = nlohmann::json;
using namespace std::chrono_literals;

// One record read from the helper's standard output: its header line, and the payload bytes
// for "frame" and "nal" records.
struct Record {
    Json header;
    std::vector<std::uint8_t> payload;

    std::string type() const { return header.value("type", ""); }
};

// How to start the helper under test.
struct HelperOptions {
    std::vector<std::string> arguments;
    std::map<std::string, std::string> environment;  // added to a clean base environment
    std::optional<std::string> sceneJson;            // written to a file, BRINDLEMAR_SIM_SCENE
    bool simBackend = true;                          // BRINDLEMAR_BACKEND=sim
    std::vector<int> inheritedFds;                   // kept open in the child
    // Gives the simulated desktop a control socket and a journal file in the work directory.
    bool simControl = false;
};

// The helper binary running as a child with pipes on its standard streams.
class HelperProcess {
  public:
    explicit HelperProcess(HelperOptions options = {});
    ~HelperProcess();
    HelperProcess(const HelperProcess&) = delete;
    HelperProcess& operator=(const HelperProcess&) = delete;

    // Writes raw bytes to the helper's standard input.
    void write(std::string_view bytes);
    // Writes one request line (a line feed is appended).
    void sendLine(std::string_view line) { write(std::string(line) + "\n"); }
    void send(const Json& request) { sendLine(request.dump()); }
    void closeInput();

    // The next record, or none when the timeout passes or output ends first.
    std::optional<Record> read(std::chrono::milliseconds timeout = 5s);
    // Reads records until one of the type arrives; the others are kept for later reads.
    std::optional<Record> waitFor(std::string_view type, std::chrono::milliseconds timeout = 5s);
    // Sends a request and returns the next record.
    Record request(const Json& request, std::chrono::milliseconds timeout = 5s);

    // True when nothing is written within `quiet`.
    bool silentFor(std::chrono::milliseconds quiet);
    // Waits for the process to end; its exit status, or -1 after the timeout.
    int wait(std::chrono::milliseconds timeout = 10s);
    // Everything the helper wrote to standard error so far (after it ended: all of it).
    std::string standardError();
    // All bytes left on standard output until it closes.
    std::string drainOutput(std::chrono::milliseconds timeout = 5s);

    pid_t pid() const;
    const std::string& scenePath() const { return scenePath_; }
    const std::string& workDirectory() const { return workDir_; }
    // Paths of the control socket and journal when `simControl` was asked for.
    std::string socketPath() const { return workDir_ + "/control.sock"; }
    std::string journalPath() const { return workDir_ + "/journal.jsonl"; }

  private:
    bool fillOutput(std::chrono::steady_clock::time_point deadline);
    std::optional<Record> parseBuffered();

    std::unique_ptr<ChildProcess> child_;
    std::string outBuffer_;
    std::string errBuffer_;
    std::vector<Record> pending_;
    std::string workDir_;
    std::string scenePath_;
};

// Path of the helper binary under test.
std::string helperBinary();

// A fresh private directory under the test temporary directory, removed with its owner.
class TempDir {
  public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    const std::string& path() const { return path_; }
    std::string file(std::string_view name) const { return path_ + "/" + std::string(name); }

  private:
    std::string path_;
};

}  // namespace brindlemar::testing
