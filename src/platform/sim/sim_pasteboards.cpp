#include "platform/sim/sim_services.h"

namespace brindlemar::platform::sim {

std::int64_t SimPasteboards::dragPasteboardChangeCount() {
    return store_.read([](const Scene& scene) { return scene.dragPasteboard.change; });
}

}  // namespace brindlemar::platform::sim
