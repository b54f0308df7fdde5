// The simulated desktop's scene parser: any JSON text either fails with a message or gives a
// scene that writes back to JSON which parses to the same scene.

#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "base/json_nesting.h"
#include "platform/sim/scene.h"

using namespace brindlemar;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::string_view text(reinterpret_cast<const char*>(data), size);
    nlohmann::json document = parseOutsideJson(text);
    if (document.is_discarded()) return 0;
    auto scene = platform::sim::parseScene(document);
    if (!scene) {
        if (scene.error().message.empty()) std::abort();
        return 0;
    }
    nlohmann::json written = platform::sim::sceneToJson(*scene);
    auto again = platform::sim::parseScene(written);
    if (!again || platform::sim::sceneToJson(*again) != written) std::abort();
    return 0;
}
