// The control socket's operations: lines of any bytes against a simulated desktop made afresh
// from a fixed scene for each input. Every line gets one reply line that is a JSON object with
// "ok", and a refused request leaves the scene as it was.

#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string_view>

#include "base/json_nesting.h"
#include "platform/sim/control_ops.h"
#include "platform/sim/journal.h"
#include "platform/sim/scene.h"
#include "platform/sim/scene_store.h"
#include "platform/sim/sim_clock.h"

using namespace brindlemar;
using namespace brindlemar::platform::sim;

namespace {

const nlohmann::json& fixedScene() {
    static const nlohmann::json scene = [] {
        std::ifstream file(BRINDLEMAR_FUZZ_SCENE);
        std::stringstream text;
        text << file.rdbuf();
        return nlohmann::json::parse(text.str());
    }();
    return scene;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    auto scene = parseScene(fixedScene());
    if (!scene) std::abort();
    Journal journal;
    SceneStore store(std::move(*scene), journal);
    SimClock clock(1700000000.0);
    ControlOperations operations(store, clock);

    std::string_view rest(reinterpret_cast<const char*>(data), size);
    while (!rest.empty()) {
        std::size_t end = rest.find('\n');
        std::string_view line = rest.substr(0, end);
        rest = end == std::string_view::npos ? std::string_view() : rest.substr(end + 1);

        auto before = store.read([](const Scene& s) { return sceneToJson(s); });
        auto reply = parseOutsideJson(operations.handle(line));
        if (!reply.is_object() || !reply.contains("ok") || !reply["ok"].is_boolean()) std::abort();
        if (reply["ok"] == false) {
            auto after = store.read([](const Scene& s) { return sceneToJson(s); });
            if (after != before) std::abort();
        }
    }
    return 0;
}
