#pragma once

#include <string>

#include <nlohmann/json.hpp>

namespace brindlemar::testing {

// A client of the simulated desktop's control socket: one JSON request line, one reply line.
class SimControl {
  public:
    // Connects to the socket, waiting up to a few seconds for the helper to create it.
    explicit SimControl(const std::string& socketPath);
    ~SimControl();
    SimControl(const SimControl&) = delete;
    SimControl& operator=(const SimControl&) = delete;

    // Sends one request and returns its reply.
    nlohmann::json call(const nlohmann::json& request);

    // Shorthands for the common operations; they fail the test when the reply is not ok.
    nlohmann::json state();
    nlohmann::json journal();  // the entries since the last journal request
    void advanceClock(double seconds);
    void merge(const nlohmann::json& patch);
    void replaceScene(const nlohmann::json& scene);

  private:
    int fd_ = -1;
    std::string buffer_;
};

}  // namespace brindlemar::testing
