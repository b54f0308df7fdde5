#include "platform/sim/control_ops.h"

#include <cmath>

#include "base/json_nesting.h"
#include "platform/sim/drop_target.h"
#include "platform/sim/user_event.h"

namespace brindlemar::platform::sim {
namespace {

using Json = nlohmann::json;

Json refused(std::string error) {
    return {{"ok", false}, {"error", std::move(error)}};
}
Json accepted(Json fields = Json::object()) {
    Json reply = {{"ok", true}};
    for (auto& [key, value] : fields.items())
        reply[key] = value;
    return reply;
}

// The scene's "clock" key, when the document has one: a new reading for the simulated clock.
std::optional<std::optional<double>> clockSetting(const Json& document) {
    auto it = document.find("clock");
    if (it == document.end()) return std::nullopt;
    if (it->is_number()) return std::optional<double>(it->get<double>());
    return std::optional<double>();
}

const Json* field(const Json& request, const char* key) {
    auto it = request.find(key);
    return it == request.end() ? nullptr : &*it;
}

}  // namespace

std::string ControlOperations::handle(std::string_view line) {
    Json request = parseOutsideJson(line);
    Json reply;
    if (request.is_discarded() || !request.is_object()) {
        reply = refused("bad request");
    } else {
        reply = dispatch(request);
    }
    return reply.dump(-1, ' ', false, Json::error_handler_t::replace);
}

Json ControlOperations::dispatch(const Json& request) {
    const Json* op = field(request, "op");
    if (op == nullptr || !op->is_string()) return refused("bad request: missing op");
    const std::string name = op->get<std::string>();
    if (name == "scene") return replaceScene(request);
    if (name == "merge") return mergeScene(request);
    if (name == "state") return state();
    if (name == "now") return accepted({{"now", clock_.now()}});
    if (name == "advance_clock") return advanceClock(request);
    if (name == "user_event") return userEvent(request);
    if (name == "stop_stream") return refused("no capture stream is running");
    if (name == "journal") return journal();
    if (name == "drop") return drop(request);
    return refused("unknown op: " + name);
}

Json ControlOperations::replaceScene(const Json& request) {
    const Json* document = field(request, "scene");
    if (document == nullptr || !document->is_object()) return refused("scene: must be an object");
    auto scene = parseScene(*document);
    if (!scene) return refused("scene: " + scene.error().message);
    store_.write([&](Scene& current, Journal&) {
        current = std::move(*scene);
        if (auto setting = clockSetting(*document)) clock_.reset(*setting);
    });
    return accepted();
}

Json ControlOperations::mergeScene(const Json& request) {
    const Json* patch = field(request, "patch");
    if (patch == nullptr || !patch->is_object()) return refused("patch: must be an object");
    return store_.write([&](Scene& current, Journal&) {
        Json document = sceneToJson(current);
        document.merge_patch(*patch);
        auto merged = parseScene(document);
        if (!merged) return refused("patch: " + merged.error().message);
        current = std::move(*merged);
        if (auto setting = clockSetting(*patch)) clock_.reset(*setting);
        return accepted();
    });
}

Json ControlOperations::state() {
    Json scene = store_.read([](const Scene& current) { return sceneToJson(current); });
    auto reading = clock_.simulatedReading();
    scene["clock"] = reading ? Json(*reading) : Json(nullptr);
    return accepted({{"scene", std::move(scene)}});
}

Json ControlOperations::advanceClock(const Json& request) {
    const Json* seconds = field(request, "seconds");
    if (seconds == nullptr || !seconds->is_number() || !std::isfinite(seconds->get<double>()) ||
        seconds->get<double>() < 0) {
        return refused("seconds: must be a number of at least 0");
    }
    clock_.advance(seconds->get<double>());
    return accepted({{"now", clock_.now()}});
}

Json ControlOperations::userEvent(const Json& request) {
    const Json* event = field(request, "event");
    if (event == nullptr) return refused("event: is required");
    auto parsed = parseUserEvent(*event);
    if (!parsed) return refused(parsed.error().message);
    // No event tap is installed on the simulated desktop, so nothing receives the event.
    return accepted({{"delivered", false}});
}

Json ControlOperations::journal() {
    return accepted({{"entries", store_.journal().take()}});
}

Json ControlOperations::drop(const Json& request) {
    const Json* x = field(request, "x");
    const Json* y = field(request, "y");
    const Json* paths = field(request, "paths");
    if (x == nullptr || !x->is_number() || y == nullptr || !y->is_number()) {
        return refused("drop: x and y must be numbers");
    }
    if (paths == nullptr || !paths->is_array()) return refused("drop: paths must be an array");
    std::vector<std::string> files;
    for (const auto& path : *paths) {
        if (!path.is_string()) return refused("drop: paths must be strings");
        files.push_back(path.get<std::string>());
    }
    Point at{x->get<double>(), y->get<double>()};
    return store_.write([&](Scene& scene, Journal& journal) {
        Json entry = dropOnScene(scene, at, files);
        Json outcome = entry["outcome"];
        journal.record(std::move(entry));
        return accepted({{"outcome", outcome}});
    });
}

}  // namespace brindlemar::platform::sim
