#include <algorithm>

#include "platform/sim/sim_services.h"

namespace brindlemar::platform::sim {

std::optional<SessionDictionary> SimUserSession::currentSession() {
    return store_.read([](const Scene& scene) -> std::optional<SessionDictionary> {
        if (!scene.session) return std::nullopt;
        return SessionDictionary{scene.session->locked, scene.session->onConsole};
    });
}

std::uint64_t SimUserSession::heldModifierFlags() {
    return store_.read([](const Scene& scene) { return scene.user.flags; });
}

bool SimUserSession::isMouseButtonHeld(int button) {
    return store_.read([&](const Scene& scene) {
        const auto& held = scene.user.buttons;
        return std::find(held.begin(), held.end(), button) != held.end();
    });
}

}  // namespace brindlemar::platform::sim
