#include "semantics/control_context.h"

#include "capture/identity.h"
#include "platform/desktop.h"
#include "semantics/element_readers.h"

namespace brindlemar::semantics {
namespace {

using Json = nlohmann::json;

// The window number of the one on-screen window of `pid`, on layer 0, whose bounds are exactly
// `bounds`; 0 when there is none, several, or no number.
std::uint32_t onlyWindowWithBounds(platform::Desktop& desktop, std::int32_t pid,
                                   const platform::Rect& bounds) {
    std::optional<std::uint32_t> found;
    int matches = 0;
    for (const auto& entry : desktop.windowList().onScreenWindows()) {
        if (entry.ownerPid != pid || entry.layer != 0 || entry.bounds != bounds) continue;
        ++matches;
        found = entry.number;
    }
    return matches == 1 ? found.value_or(0) : 0;
}

platform::Rect rectOf(const Json& bounds) {
    return {bounds["x"].get<double>(), bounds["y"].get<double>(), bounds["width"].get<double>(),
            bounds["height"].get<double>()};
}

}  // namespace

std::optional<Json> desktopControlContext(platform::Desktop& desktop) {
    if (!desktop.permissions().check(platform::Permission::Accessibility)) return std::nullopt;
    auto pid = desktop.workspace().frontmostApplication();
    if (!pid) return std::nullopt;
    auto& ax = desktop.accessibility();
    auto application = ax.applicationElement(*pid);
    ax.setMessagingTimeout(application, kControlElementTimeout);
    std::string applicationId = capture::applicationIdentity(desktop.codeSigning(), *pid);
    std::string processId = capture::processIdentity(desktop.workspace(), *pid);
    if (applicationId.empty() || processId.empty()) return std::nullopt;
    Json context = {{"pid", *pid},
                    {"application_id", applicationId},
                    {"process_identity", processId},
                    {"window", 0}};

    AXElement window = focusedWindow(ax, application);
    if (!window) return context;
    ax.setMessagingTimeout(window, kControlElementTimeout);
    Json bounds = semanticBounds(ax, window);
    if (bounds.is_null()) return std::nullopt;
    std::uint32_t number = onlyWindowWithBounds(desktop, *pid, rectOf(bounds));
    if (number == 0) return std::nullopt;
    AXElement listed = targetAXWindow(desktop, number);
    if (!listed || !ax.equal(listed, window)) return std::nullopt;
    context["window"] = number;
    context["bounds"] = std::move(bounds);
    return context;
}

}  // namespace brindlemar::semantics
