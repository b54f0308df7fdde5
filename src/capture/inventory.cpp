#include "capture/inventory.h"

#include <cmath>
#include <limits>
#include <string>
#include <unordered_map>

#include "capture/display_properties.h"
#include "capture/identity.h"

namespace brindlemar::capture {
namespace {

// Windows smaller than this in either direction (tool tips, drag images, status items) are not
// worth offering.
constexpr double kMinimumWindowSide = 40;

// Frame coordinates reach the parent as integers, truncated toward zero (-100.7 reports -100).
std::int64_t truncatedPoints(double value) {
    if (std::isnan(value)) return 0;
    constexpr double kLimit = 9223372036854775808.0;  // 2^63
    if (value >= kLimit) return std::numeric_limits<std::int64_t>::max();
    if (value < -kLimit) return std::numeric_limits<std::int64_t>::min();
    return static_cast<std::int64_t>(value);
}

bool isListed(const platform::CatalogueWindow& window) {
    if (!window.onScreen) return false;
    if (window.layer != 0) return false;  // menus, panels, the menu bar and the desktop
    if (window.frame.width < kMinimumWindowSide || window.frame.height < kMinimumWindowSide) {
        return false;
    }
    const bool hasName = window.owner && !window.owner->name.empty();
    const bool hasTitle = window.title && !window.title->empty();
    return hasName || hasTitle;
}

// Application identities cost several code-signing checks; one listing computes each pid's once.
class IdentityCache {
  public:
    explicit IdentityCache(platform::CodeSigning& signing) : signing_(signing) {}

    const std::string& applicationIdentityOf(std::int32_t pid) {
        auto found = identities_.find(pid);
        if (found == identities_.end()) {
            found = identities_.emplace(pid, applicationIdentity(signing_, pid)).first;
        }
        return found->second;
    }

  private:
    platform::CodeSigning& signing_;
    std::unordered_map<std::int32_t, std::string> identities_;
};

Json windowRecord(const platform::CatalogueWindow& window, IdentityCache& identities,
                  platform::Workspace& workspace) {
    const std::int32_t pid = window.owner ? window.owner->pid : 0;
    return Json{
        {"id", window.id},
        {"app", window.owner ? window.owner->name : std::string()},
        {"title", window.title.value_or("")},
        {"pid", pid},
        {"application_id", identities.applicationIdentityOf(pid)},
        {"process_identity", processIdentity(workspace, pid)},
        {"x", truncatedPoints(window.frame.x)},
        {"y", truncatedPoints(window.frame.y)},
        {"width", truncatedPoints(window.frame.width)},
        {"height", truncatedPoints(window.frame.height)},
        {"scale", 1.0},  // no backing scale is looked up for windows
        {"z", 0},        // no stacking order is reported
    };
}

Json displayRecord(const platform::CatalogueDisplay& display,
                   platform::CaptureCatalogue& catalogue) {
    return Json{
        {"id", display.id},
        {"x", truncatedPoints(display.frame.x)},
        {"y", truncatedPoints(display.frame.y)},
        {"width", display.width},
        {"height", display.height},
        {"scale", displayScale(catalogue, display)},
        {"display_identity", displayIdentity(catalogue, display.id)},
    };
}

}  // namespace

Expected<Json> listWindows(platform::Desktop& desktop) {
    auto content = desktop.captureCatalogue().shareableContent();
    if (!content) return std::move(content).takeError();

    IdentityCache identities(desktop.codeSigning());
    Json records = Json::array();
    for (const auto& window : content->windows) {
        if (isListed(window)) {
            records.push_back(windowRecord(window, identities, desktop.workspace()));
        }
    }
    return records;
}

Expected<Json> listDisplays(platform::Desktop& desktop) {
    auto& catalogue = desktop.captureCatalogue();
    auto content = catalogue.shareableContent();
    if (!content) return std::move(content).takeError();

    Json records = Json::array();
    for (const auto& display : content->displays)
        records.push_back(displayRecord(display, catalogue));
    return records;
}

}  // namespace brindlemar::capture
