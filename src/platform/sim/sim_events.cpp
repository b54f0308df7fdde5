#include "platform/sim/sim_services.h"

namespace brindlemar::platform::sim {
namespace {

template <class T, class Convert>
nlohmann::json orNull(const std::optional<T>& value, Convert convert) {
    return value ? nlohmann::json(convert(*value)) : nlohmann::json(nullptr);
}

template <class T>
nlohmann::json orNull(const std::optional<T>& value) {
    return orNull(value, [](const T& v) { return v; });
}

// The journal entry of a posted event: every key present, null where the event carries none.
nlohmann::json eventEntry(const SyntheticEvent& e, EventTarget target) {
    bool hid = target.kind == EventTarget::Kind::Hid;
    return effect(
        "event",
        {{"target", hid ? "hid" : "pid"},
         {"pid", hid ? nlohmann::json(nullptr) : nlohmann::json(target.pid)},
         {"type", static_cast<std::int32_t>(e.type)},
         {"x", orNull(e.location, [](const Point& p) { return p.x; })},
         {"y", orNull(e.location, [](const Point& p) { return p.y; })},
         {"button", orNull(e.button, [](MouseButton b) { return static_cast<std::int32_t>(b); })},
         {"click_state", orNull(e.clickState)},
         {"flags", e.flags},
         {"keycode", orNull(e.keyCode)},
         {"key_down", orNull(e.keyDown)},
         {"unicode", orNull(e.unicode)},
         {"wheel", orNull(e.wheel)},
         {"window_under_pointer", orNull(e.windowUnderPointer)}});
}

}  // namespace

Status SimEventPoster::post(const SyntheticEvent& event, EventTarget target) {
    auto entry = eventEntry(event, target);
    store_.write([&](Scene&, Journal& journal) { journal.record(std::move(entry)); });
    return Status::success();
}

}  // namespace brindlemar::platform::sim
