#pragma once

#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

#include "platform/sim/scene_store.h"
#include "platform/sim/sim_clock.h"

namespace brindlemar::platform::sim {

// The operations of the control socket: each takes one request line and returns the reply
// line, {"ok": true, ...} or {"ok": false, "error": "..."}. A refused request changes nothing.
class ControlOperations {
  public:
    ControlOperations(SceneStore& store, SimClock& clock) : store_(store), clock_(clock) {}

    std::string handle(std::string_view line);

  private:
    nlohmann::json dispatch(const nlohmann::json& request);
    nlohmann::json replaceScene(const nlohmann::json& request);
    nlohmann::json mergeScene(const nlohmann::json& request);
    nlohmann::json state();
    nlohmann::json advanceClock(const nlohmann::json& request);
    nlohmann::json userEvent(const nlohmann::json& request);
    nlohmann::json journal();
    nlohmann::json drop(const nlohmann::json& request);

    SceneStore& store_;
    SimClock& clock_;
};

}  // namespace brindlemar::platform::sim
