// Reads a scene document into the typed scene, applying every default and every rule of the
// scene format. Faults are thrown as SceneFault while reading and turned into one Error at the end.

#include <cmath>
#include <cstdio>
#include <limits>
#include <set>

#include "platform/sim/scene.h"
#include "platform/sim/scene_reader.h"

namespace brindlemar::platform::sim {
namespace {

using Json = nlohmann::json;
using read::ifPresent;

constexpr std::int64_t kInt64Max = std::numeric_limits<std::int64_t>::max();
constexpr std::int64_t kInt64Min = std::numeric_limits<std::int64_t>::min();

std::optional<std::string> nullableString(const Json& v, const std::string& p) {
    return read::nullable<std::string>(v, p, read::string);
}

void readPermissions(const Json& v, const std::string& p, ScenePermissions& out) {
    read::object(v, p);
    ifPresent(v, p, "screen_recording",
              [&](auto& x, auto& xp) { out.screenRecording = read::boolean(x, xp); });
    ifPresent(v, p, "accessibility",
              [&](auto& x, auto& xp) { out.accessibility = read::boolean(x, xp); });
    ifPresent(v, p, "input_monitoring",
              [&](auto& x, auto& xp) { out.inputMonitoring = read::boolean(x, xp); });
}

std::optional<SceneSession> readSession(const Json& v, const std::string& p) {
    if (v.is_null()) return std::nullopt;
    read::object(v, p);
    SceneSession session;
    ifPresent(v, p, "locked", [&](auto& x, auto& xp) { session.locked = read::boolean(x, xp); });
    ifPresent(v, p, "on_console",
              [&](auto& x, auto& xp) { session.onConsole = read::boolean(x, xp); });
    return session;
}

SceneUser readUser(const Json& v, const std::string& p) {
    read::object(v, p);
    SceneUser user;
    ifPresent(v, p, "flags", [&](auto& x, auto& xp) {
        user.flags = static_cast<std::uint64_t>(read::integer(x, xp, 0, kInt64Max));
    });
    ifPresent(v, p, "buttons", [&](auto& x, auto& xp) {
        for (std::size_t i = 0; i < read::array(x, xp).size(); ++i) {
            user.buttons.push_back(read::integer(x[i], read::element(xp, i), 0, 31));
        }
    });
    return user;
}

std::string defaultUuid(std::uint32_t id) {
    char text[40];
    std::snprintf(text, sizeof text, "5CE1D15A-0000-4000-8000-%012X", id);
    return text;
}

SceneDisplay readDisplay(const Json& v, const std::string& p, std::size_t index) {
    read::object(v, p);
    SceneDisplay d;
    d.id = static_cast<std::uint32_t>(index + 1);
    ifPresent(v, p, "id", [&](auto& x, auto& xp) { d.id = read::id(x, xp); });
    ifPresent(v, p, "frame", [&](auto& x, auto& xp) { d.frame = read::rect(x, xp); });
    d.width = static_cast<std::int64_t>(d.frame.width);
    d.height = static_cast<std::int64_t>(d.frame.height);
    d.pixelWidth = static_cast<std::int64_t>(std::llround(d.frame.width * 2));
    d.uuid = defaultUuid(d.id);
    ifPresent(v, p, "width",
              [&](auto& x, auto& xp) { d.width = read::integer(x, xp, 0, kInt64Max); });
    ifPresent(v, p, "height",
              [&](auto& x, auto& xp) { d.height = read::integer(x, xp, 0, kInt64Max); });
    ifPresent(v, p, "pixel_width", [&](auto& x, auto& xp) {
        d.pixelWidth = read::nullable<std::int64_t>(
            x, xp, [](auto& y, auto& yp) { return read::integer(y, yp, 0, kInt64Max); });
    });
    ifPresent(v, p, "uuid", [&](auto& x, auto& xp) { d.uuid = nullableString(x, xp); });
    ifPresent(v, p, "active", [&](auto& x, auto& xp) { d.active = read::boolean(x, xp); });
    ifPresent(v, p, "background", [&](auto& x, auto& xp) { d.background = read::colour(x, xp); });
    return d;
}

bool isLowerHex(const std::string& text) {
    if (text.size() % 2 != 0) return false;
    for (char c : text) {
        if (!((c >= '0' && c <= '9') || (c >= 'a' && c <= 'f'))) return false;
    }
    return true;
}

std::optional<SceneSignature> readSignature(const Json& v, const std::string& p) {
    if (v.is_null()) return std::nullopt;
    read::object(v, p);
    SceneSignature s;
    ifPresent(v, p, "valid", [&](auto& x, auto& xp) { s.valid = read::boolean(x, xp); });
    ifPresent(v, p, "static", [&](auto& x, auto& xp) { s.staticCode = read::boolean(x, xp); });
    ifPresent(v, p, "info", [&](auto& x, auto& xp) { s.info = read::boolean(x, xp); });
    ifPresent(v, p, "identifier", [&](auto& x, auto& xp) { s.identifier = nullableString(x, xp); });
    ifPresent(v, p, "team", [&](auto& x, auto& xp) { s.team = nullableString(x, xp); });
    ifPresent(v, p, "apple", [&](auto& x, auto& xp) { s.apple = read::boolean(x, xp); });
    ifPresent(v, p, "cdhash", [&](auto& x, auto& xp) {
        s.cdhash = nullableString(x, xp);
        if (s.cdhash && !isLowerHex(*s.cdhash)) {
            read::fail(xp, "must be lower-case hexadecimal, two digits per byte");
        }
    });
    return s;
}

SceneAppAx readAppAx(const Json& v, const std::string& p) {
    read::object(v, p);
    SceneAppAx ax;
    ifPresent(v, p, "windows", [&](auto& x, auto& xp) {
        if (x.is_null()) return;
        std::vector<std::uint32_t> ids;
        for (std::size_t i = 0; i < read::array(x, xp).size(); ++i) {
            ids.push_back(read::id(x[i], read::element(xp, i)));
        }
        ax.windows = std::move(ids);
    });
    ifPresent(v, p, "focused_window", [&](auto& x, auto& xp) {
        ax.focusedWindow = read::nullable<std::uint32_t>(x, xp, read::id);
    });
    ifPresent(v, p, "focused_element",
              [&](auto& x, auto& xp) { ax.focusedElement = nullableString(x, xp); });
    ifPresent(v, p, "error", [&](auto& x, auto& xp) { ax.error = read::boolean(x, xp); });
    return ax;
}

SceneApp readApp(const Json& v, const std::string& p) {
    read::object(v, p);
    SceneApp app;
    auto pid = v.find("pid");
    if (pid == v.end()) read::fail(read::member(p, "pid"), "is required");
    app.pid = read::pid(*pid, read::member(p, "pid"));
    ifPresent(v, p, "name", [&](auto& x, auto& xp) { app.name = nullableString(x, xp); });
    ifPresent(v, p, "bundle", [&](auto& x, auto& xp) { app.bundle = nullableString(x, xp); });
    ifPresent(v, p, "launched", [&](auto& x, auto& xp) {
        app.launched = read::nullable<double>(x, xp, read::number);
    });
    ifPresent(v, p, "signature", [&](auto& x, auto& xp) { app.signature = readSignature(x, xp); });
    ifPresent(v, p, "activates", [&](auto& x, auto& xp) { app.activates = read::boolean(x, xp); });
    ifPresent(v, p, "ax", [&](auto& x, auto& xp) { app.ax = readAppAx(x, xp); });
    return app;
}

AxValue readValue(const Json& v, const std::string& p) {
    if (v.is_null()) return std::monostate{};
    if (v.is_string()) return v.get<std::string>();
    if (v.is_number()) return read::number(v, p);
    if (v.is_object() && v.contains("point")) {
        return read::point(v["point"], read::member(p, "point"));
    }
    read::fail(p, "must be a string, a number, null or {\"point\": [x, y]}");
}

Settable readSettable(const Json& v, const std::string& p) {
    if (v.is_boolean()) return v.get<bool>() ? Settable::Yes : Settable::No;
    if (v.is_string() && v.get<std::string>() == "error") return Settable::Error;
    read::fail(p, "must be true, false or \"error\"");
}

std::optional<bool> nullableBool(const Json& v, const std::string& p) {
    return read::nullable<bool>(v, p, read::boolean);
}

void readNodeTexts(const Json& v, const std::string& p, AxNode& node) {
    ifPresent(v, p, "role", [&](auto& x, auto& xp) { node.role = read::string(x, xp); });
    struct {
        const char* key;
        std::optional<std::string>* slot;
    } texts[] = {{"subrole", &node.subrole},
                 {"title", &node.title},
                 {"description", &node.description},
                 {"placeholder", &node.placeholder},
                 {"help", &node.help}};
    for (auto& text : texts) {
        ifPresent(v, p, text.key, [&](auto& x, auto& xp) { *text.slot = nullableString(x, xp); });
    }
}

void readNodeStates(const Json& v, const std::string& p, AxNode& node) {
    struct {
        const char* key;
        std::optional<bool>* slot;
    } states[] = {{"enabled", &node.enabled},
                  {"focused", &node.focused},
                  {"selected", &node.selected},
                  {"expanded", &node.expanded}};
    for (auto& state : states) {
        ifPresent(v, p, state.key, [&](auto& x, auto& xp) { *state.slot = nullableBool(x, xp); });
    }
}

AxNode readNode(const Json& v, const std::string& p, const SceneWindow* rootOf) {
    read::object(v, p);
    AxNode node;
    if (rootOf != nullptr) {
        node.role = "AXWindow";
        node.title = rootOf->title;
        node.position = Point{rootOf->frame.x, rootOf->frame.y};
        node.size = Size{rootOf->frame.width, rootOf->frame.height};
        node.actions = {"AXRaise"};
    } else {
        node.role = "AXUnknown";
        node.position = Point{0, 0};
        node.size = Size{10, 10};
    }
    ifPresent(v, p, "ref", [&](auto& x, auto& xp) { node.ref = nullableString(x, xp); });
    readNodeTexts(v, p, node);
    readNodeStates(v, p, node);
    ifPresent(v, p, "value", [&](auto& x, auto& xp) { node.value = readValue(x, xp); });
    ifPresent(v, p, "settable", [&](auto& x, auto& xp) { node.settable = readSettable(x, xp); });
    ifPresent(v, p, "position", [&](auto& x, auto& xp) {
        node.position = read::nullable<Point>(x, xp, read::point);
    });
    ifPresent(v, p, "size", [&](auto& x, auto& xp) {
        node.size = read::nullable<Size>(x, xp, read::reportedSize);
    });
    ifPresent(v, p, "actions", [&](auto& x, auto& xp) { node.actions = read::strings(x, xp); });
    ifPresent(v, p, "fail_actions",
              [&](auto& x, auto& xp) { node.failActions = read::strings(x, xp); });
    ifPresent(v, p, "set_fails", [&](auto& x, auto& xp) { node.setFails = read::boolean(x, xp); });
    ifPresent(v, p, "unreadable",
              [&](auto& x, auto& xp) { node.unreadable = read::strings(x, xp); });
    ifPresent(v, p, "children", [&](auto& x, auto& xp) {
        for (std::size_t i = 0; i < read::array(x, xp).size(); ++i) {
            node.children.push_back(readNode(x[i], read::element(xp, i), nullptr));
        }
    });
    return node;
}

DropMode readDrop(const Json& v, const std::string& p) {
    std::string mode = read::string(v, p);
    if (mode == "accept") return DropMode::Accept;
    if (mode == "refuse") return DropMode::Refuse;
    if (mode == "swallow") return DropMode::Swallow;
    if (mode == "hang") return DropMode::Hang;
    read::fail(p, "unknown drop mode \"" + mode + "\" (accept, refuse, swallow or hang)");
}

SceneWindow readWindow(const Json& v, const std::string& p, std::size_t index) {
    read::object(v, p);
    SceneWindow w;
    w.id = static_cast<std::uint32_t>(index + 1);
    ifPresent(v, p, "id", [&](auto& x, auto& xp) { w.id = read::id(x, xp); });
    ifPresent(v, p, "pid",
              [&](auto& x, auto& xp) { w.pid = read::nullable<std::int32_t>(x, xp, read::pid); });
    ifPresent(v, p, "title", [&](auto& x, auto& xp) { w.title = nullableString(x, xp); });
    ifPresent(v, p, "frame", [&](auto& x, auto& xp) { w.frame = read::rect(x, xp); });
    ifPresent(v, p, "layer",
              [&](auto& x, auto& xp) { w.layer = read::integer(x, xp, kInt64Min, kInt64Max); });
    ifPresent(v, p, "on_screen", [&](auto& x, auto& xp) { w.onScreen = read::boolean(x, xp); });
    ifPresent(v, p, "point_pixel_scale", [&](auto& x, auto& xp) {
        w.pointPixelScale = read::number(x, xp);
        if (w.pointPixelScale <= 0) read::fail(xp, "must be greater than 0");
    });
    ifPresent(v, p, "fill", [&](auto& x, auto& xp) { w.fill = read::colour(x, xp); });
    ifPresent(v, p, "drop", [&](auto& x, auto& xp) { w.drop = readDrop(x, xp); });
    auto ax = v.find("ax");
    w.ax =
        readNode(ax == v.end() || ax->is_null() ? Json::object() : *ax, read::member(p, "ax"), &w);
    return w;
}

template <class T, class Reader>
std::vector<T> readList(const Json& v, const std::string& p, Reader reader) {
    std::vector<T> items;
    for (std::size_t i = 0; i < read::array(v, p).size(); ++i) {
        items.push_back(reader(v[i], read::element(p, i), i));
    }
    return items;
}

ScenePasteboard readPasteboard(const Json& v, const std::string& p) {
    read::object(v, p);
    ScenePasteboard pb;
    ifPresent(v, p, "change",
              [&](auto& x, auto& xp) { pb.change = read::integer(x, xp, kInt64Min, kInt64Max); });
    ifPresent(v, p, "types", [&](auto& x, auto& xp) { pb.types = read::strings(x, xp); });
    ifPresent(v, p, "string", [&](auto& x, auto& xp) { pb.string = nullableString(x, xp); });
    ifPresent(v, p, "access",
              [&](auto& x, auto& xp) { pb.access = read::integer(x, xp, kInt64Min, kInt64Max); });
    return pb;
}

SceneDragPasteboard readDragPasteboard(const Json& v, const std::string& p) {
    read::object(v, p);
    SceneDragPasteboard pb;
    ifPresent(v, p, "change",
              [&](auto& x, auto& xp) { pb.change = read::integer(x, xp, kInt64Min, kInt64Max); });
    ifPresent(v, p, "types", [&](auto& x, auto& xp) { pb.types = read::strings(x, xp); });
    ifPresent(v, p, "files", [&](auto& x, auto& xp) { pb.files = read::strings(x, xp); });
    return pb;
}

SceneCapture readCapture(const Json& v, const std::string& p) {
    read::object(v, p);
    SceneCapture c;
    ifPresent(v, p, "catalogue_error",
              [&](auto& x, auto& xp) { c.catalogueError = nullableString(x, xp); });
    ifPresent(v, p, "screenshot_error",
              [&](auto& x, auto& xp) { c.screenshotError = nullableString(x, xp); });
    ifPresent(v, p, "stream_start_error",
              [&](auto& x, auto& xp) { c.streamStartError = nullableString(x, xp); });
    ifPresent(v, p, "idle", [&](auto& x, auto& xp) { c.idle = read::boolean(x, xp); });
    return c;
}

std::map<std::string, std::int64_t> readStatusTable(const Json& v, const std::string& p) {
    std::map<std::string, std::int64_t> table;
    for (auto& [key, value] : read::object(v, p).items()) {
        table[key] = read::integer(value, read::member(p, key), kInt64Min, kInt64Max);
    }
    return table;
}

SceneEncoder readEncoder(const Json& v, const std::string& p) {
    read::object(v, p);
    SceneEncoder e;
    ifPresent(v, p, "create_status",
              [&](auto& x, auto& xp) { e.createStatus = readStatusTable(x, xp); });
    ifPresent(v, p, "property_status",
              [&](auto& x, auto& xp) { e.propertyStatus = readStatusTable(x, xp); });
    ifPresent(v, p, "prepare_status", [&](auto& x, auto& xp) {
        e.prepareStatus = read::integer(x, xp, kInt64Min, kInt64Max);
    });
    ifPresent(v, p, "encode_status", [&](auto& x, auto& xp) {
        e.encodeStatus = read::integer(x, xp, kInt64Min, kInt64Max);
    });
    return e;
}

void readTopLevel(const Json& v, Scene& s) {
    const std::string root;
    read::object(v, root);
    ifPresent(v, root, "clock",
              [&](auto& x, auto& xp) { s.clock = read::nullable<double>(x, xp, read::number); });
    ifPresent(v, root, "os_version", [&](auto& x, auto& xp) { s.osVersion = read::string(x, xp); });
    ifPresent(v, root, "permissions",
              [&](auto& x, auto& xp) { readPermissions(x, xp, s.permissions); });
    ifPresent(v, root, "grant_on_request",
              [&](auto& x, auto& xp) { s.grantOnRequest = read::boolean(x, xp); });
    ifPresent(v, root, "session", [&](auto& x, auto& xp) { s.session = readSession(x, xp); });
    ifPresent(v, root, "user", [&](auto& x, auto& xp) { s.user = readUser(x, xp); });
    ifPresent(v, root, "main_display", [&](auto& x, auto& xp) {
        s.mainDisplay = read::nullable<std::uint32_t>(x, xp, read::id);
    });
    ifPresent(v, root, "displays",
              [&](auto& x, auto& xp) { s.displays = readList<SceneDisplay>(x, xp, readDisplay); });
    ifPresent(v, root, "apps", [&](auto& x, auto& xp) {
        s.apps = readList<SceneApp>(x, xp, [](const Json& y, const std::string& yp, std::size_t) {
            return readApp(y, yp);
        });
    });
    ifPresent(v, root, "frontmost", [&](auto& x, auto& xp) {
        s.frontmost = read::nullable<std::int32_t>(x, xp, read::pid);
    });
    ifPresent(v, root, "windows",
              [&](auto& x, auto& xp) { s.windows = readList<SceneWindow>(x, xp, readWindow); });
    ifPresent(v, root, "pasteboard",
              [&](auto& x, auto& xp) { s.pasteboard = readPasteboard(x, xp); });
    ifPresent(v, root, "drag_pasteboard",
              [&](auto& x, auto& xp) { s.dragPasteboard = readDragPasteboard(x, xp); });
    ifPresent(v, root, "capture", [&](auto& x, auto& xp) { s.capture = readCapture(x, xp); });
    ifPresent(v, root, "encoder", [&](auto& x, auto& xp) { s.encoder = readEncoder(x, xp); });
}

// Rules across values: identities are unique and references resolve.
template <class Item, class Key>
void requireUnique(const std::vector<Item>& items, const char* list, const char* key, Key keyOf) {
    std::set<decltype(keyOf(items[0]))> seen;
    for (std::size_t i = 0; i < items.size(); ++i) {
        if (!seen.insert(keyOf(items[i])).second) {
            read::fail(read::member(read::element(list, i), key),
                       "duplicate " + std::string(key) + " " + std::to_string(keyOf(items[i])));
        }
    }
}

void requireUniqueRefs(const AxNode& node, const std::string& path, std::set<std::string>& seen) {
    if (node.ref && !seen.insert(*node.ref).second) {
        read::fail(read::member(path, "ref"), "duplicate ref \"" + *node.ref + "\"");
    }
    for (std::size_t i = 0; i < node.children.size(); ++i) {
        requireUniqueRefs(node.children[i], read::element(read::member(path, "children"), i), seen);
    }
}

void checkRules(const Scene& s) {
    requireUnique(s.displays, "displays", "id", [](const SceneDisplay& d) { return d.id; });
    requireUnique(s.apps, "apps", "pid", [](const SceneApp& a) { return a.pid; });
    requireUnique(s.windows, "windows", "id", [](const SceneWindow& w) { return w.id; });
    std::set<std::string> refs;
    for (std::size_t i = 0; i < s.windows.size(); ++i) {
        requireUniqueRefs(s.windows[i].ax, read::member(read::element("windows", i), "ax"), refs);
    }
    if (s.mainDisplay && s.findDisplay(*s.mainDisplay) == nullptr) {
        read::fail("main_display", "no display has the id " + std::to_string(*s.mainDisplay));
    }
}

}  // namespace

Expected<Scene> parseScene(const nlohmann::json& document) {
    Scene scene;
    try {
        readTopLevel(document, scene);
        checkRules(scene);
    } catch (const SceneFault& fault) {
        return Error{"sim", 1, fault.path + ": " + fault.fault};
    }
    return scene;
}

}  // namespace brindlemar::platform::sim
