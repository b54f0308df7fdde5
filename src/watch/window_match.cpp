#include "watch/window_match.h"

namespace brindlemar::watch {

std::optional<platform::Rect> watchFrame(const nlohmann::json* value) {
    if (value == nullptr || !value->is_object()) return std::nullopt;
    for (const auto& item : value->items()) {
        if (!item.value().is_number()) return std::nullopt;
    }
    for (const char* key : {"x", "y", "width", "height"}) {
        if (!value->contains(key)) return std::nullopt;
    }
    platform::Rect frame{value->at("x").get<double>(), value->at("y").get<double>(),
                         value->at("width").get<double>(), value->at("height").get<double>()};
    if (!(frame.width > 0) || !(frame.height > 0)) return std::nullopt;
    return frame;
}

std::uint32_t watchWindowID(std::int32_t pid, const platform::Rect& frame, const std::string& title,
                            const std::vector<platform::WindowListEntry>& windows) {
    std::vector<const platform::WindowListEntry*> candidates;
    for (const auto& entry : windows) {
        if (entry.ownerPid == pid && entry.layer == 0 && entry.bounds == frame) {
            candidates.push_back(&entry);
        }
    }
    if (!title.empty() && !candidates.empty()) {
        std::vector<const platform::WindowListEntry*> titled;
        for (const auto* entry : candidates) {
            if (entry->name == title) titled.push_back(entry);
        }
        if (!titled.empty()) candidates = std::move(titled);
    }
    if (candidates.size() != 1) return 0;
    return candidates.front()->number.value_or(0);
}

}  // namespace brindlemar::watch
