// Writes the typed scene back as a scene document with every key present, so that the control
// socket's "state" shows defaults and effects alike, and a merge patch applies to the whole scene.

#include "platform/sim/scene.h"

namespace brindlemar::platform::sim {
namespace {

using Json = nlohmann::json;

template <class T>
Json orNull(const std::optional<T>& value) {
    return value ? Json(*value) : Json(nullptr);
}

Json rectJson(const Rect& r) {
    return Json::array({r.x, r.y, r.width, r.height});
}

Json displayJson(const SceneDisplay& d) {
    return {{"id", d.id},
            {"frame", rectJson(d.frame)},
            {"width", d.width},
            {"height", d.height},
            {"pixel_width", orNull(d.pixelWidth)},
            {"uuid", orNull(d.uuid)},
            {"active", d.active},
            {"background", formatColour(d.background)}};
}

Json signatureJson(const std::optional<SceneSignature>& s) {
    if (!s) return nullptr;
    return {{"valid", s->valid},
            {"static", s->staticCode},
            {"info", s->info},
            {"identifier", orNull(s->identifier)},
            {"team", orNull(s->team)},
            {"apple", s->apple},
            {"cdhash", orNull(s->cdhash)}};
}

Json appJson(const SceneApp& a) {
    return {{"pid", a.pid},
            {"name", orNull(a.name)},
            {"bundle", orNull(a.bundle)},
            {"launched", orNull(a.launched)},
            {"signature", signatureJson(a.signature)},
            {"activates", a.activates},
            {"ax",
             {{"windows", orNull(a.ax.windows)},
              {"focused_window", orNull(a.ax.focusedWindow)},
              {"focused_element", orNull(a.ax.focusedElement)},
              {"error", a.ax.error}}}};
}

Json valueJson(const AxValue& value) {
    if (auto* text = std::get_if<std::string>(&value)) return *text;
    if (auto* number = std::get_if<double>(&value)) return *number;
    if (auto* point = std::get_if<Point>(&value)) {
        return {{"point", Json::array({point->x, point->y})}};
    }
    return nullptr;
}

Json settableJson(Settable settable) {
    if (settable == Settable::Error) return "error";
    return settable == Settable::Yes;
}

Json nodeJson(const AxNode& n) {
    Json children = Json::array();
    for (auto& child : n.children)
        children.push_back(nodeJson(child));
    return {{"ref", orNull(n.ref)},
            {"role", n.role},
            {"subrole", orNull(n.subrole)},
            {"title", orNull(n.title)},
            {"description", orNull(n.description)},
            {"placeholder", orNull(n.placeholder)},
            {"help", orNull(n.help)},
            {"value", valueJson(n.value)},
            {"settable", settableJson(n.settable)},
            {"enabled", orNull(n.enabled)},
            {"focused", orNull(n.focused)},
            {"selected", orNull(n.selected)},
            {"expanded", orNull(n.expanded)},
            {"position", n.position ? Json::array({n.position->x, n.position->y}) : Json()},
            {"size", n.size ? Json::array({n.size->width, n.size->height}) : Json()},
            {"actions", n.actions},
            {"fail_actions", n.failActions},
            {"set_fails", n.setFails},
            {"unreadable", n.unreadable},
            {"children", children}};
}

Json windowJson(const SceneWindow& w) {
    return {{"id", w.id},
            {"pid", orNull(w.pid)},
            {"title", orNull(w.title)},
            {"frame", rectJson(w.frame)},
            {"layer", w.layer},
            {"on_screen", w.onScreen},
            {"point_pixel_scale", w.pointPixelScale},
            {"fill", formatColour(w.fill)},
            {"drop", dropModeName(w.drop)},
            {"ax", nodeJson(w.ax)}};
}

template <class Items, class Writer>
Json listJson(const Items& items, Writer writer) {
    Json list = Json::array();
    for (auto& item : items)
        list.push_back(writer(item));
    return list;
}

Json sessionJson(const std::optional<SceneSession>& s) {
    if (!s) return nullptr;
    return {{"locked", s->locked}, {"on_console", s->onConsole}};
}

}  // namespace

nlohmann::json sceneToJson(const Scene& s) {
    return {{"clock", orNull(s.clock)},
            {"os_version", s.osVersion},
            {"permissions",
             {{"screen_recording", s.permissions.screenRecording},
              {"accessibility", s.permissions.accessibility},
              {"input_monitoring", s.permissions.inputMonitoring}}},
            {"grant_on_request", s.grantOnRequest},
            {"session", sessionJson(s.session)},
            {"user", {{"flags", s.user.flags}, {"buttons", s.user.buttons}}},
            {"main_display", orNull(s.mainDisplay)},
            {"displays", listJson(s.displays, displayJson)},
            {"apps", listJson(s.apps, appJson)},
            {"frontmost", orNull(s.frontmost)},
            {"windows", listJson(s.windows, windowJson)},
            {"pasteboard",
             {{"change", s.pasteboard.change},
              {"types", s.pasteboard.types},
              {"string", orNull(s.pasteboard.string)},
              {"access", s.pasteboard.access}}},
            {"drag_pasteboard",
             {{"change", s.dragPasteboard.change},
              {"types", s.dragPasteboard.types},
              {"files", s.dragPasteboard.files}}},
            {"capture",
             {{"catalogue_error", orNull(s.capture.catalogueError)},
              {"screenshot_error", orNull(s.capture.screenshotError)},
              {"stream_start_error", orNull(s.capture.streamStartError)},
              {"idle", s.capture.idle}}},
            {"encoder",
             {{"create_status", s.encoder.createStatus},
              {"property_status", s.encoder.propertyStatus},
              {"prepare_status", s.encoder.prepareStatus},
              {"encode_status", s.encoder.encodeStatus}}}};
}

}  // namespace brindlemar::platform::sim
