#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include <nlohmann/json.hpp>

#include "base/error.h"
#include "platform/geometry.h"
#include "platform/sim/colour.h"

namespace brindlemar::platform::sim {

// The simulated desktop as a scene file describes it. Every member carries the default that the
// scene format gives a missing key; `parseScene` fills them and `sceneToJson` writes them all.

struct ScenePermissions {
    bool screenRecording = true;
    bool accessibility = true;
    bool inputMonitoring = true;
};

struct SceneSession {
    bool locked = false;
    bool onConsole = true;
};

struct SceneUser {
    std::uint64_t flags = 0;
    std::vector<std::int64_t> buttons;  // 0 left, 1 right
};

struct SceneDisplay {
    std::uint32_t id = 1;
    Rect frame{0, 0, 1512, 982};
    std::int64_t width = 1512;
    std::int64_t height = 982;
    std::optional<std::int64_t> pixelWidth = 3024;  // absent: no current mode
    std::optional<std::string> uuid;                // absent: the system has no UUID
    bool active = true;
    Colour background{0x20, 0x20, 0x20, 0xFF};
};

struct SceneSignature {
    bool valid = true;
    bool staticCode = true;
    bool info = true;
    std::optional<std::string> identifier;
    std::optional<std::string> team;
    bool apple = false;
    std::optional<std::string> cdhash;  // lower-case hex
};

struct SceneAppAx {
    std::optional<std::vector<std::uint32_t>> windows;  // absent: its windows in catalogue order
    std::optional<std::uint32_t> focusedWindow;
    std::optional<std::string> focusedElement;  // a node ref
    bool error = false;
};

struct SceneApp {
    std::int32_t pid = 0;
    std::optional<std::string> name;
    std::optional<std::string> bundle;
    std::optional<double> launched;
    std::optional<SceneSignature> signature;  // absent: no code object for the pid
    bool activates = true;  // false: activating it is journalled but leaves it in the background
    SceneAppAx ax;
};

// The "value" of an accessibility node: none, text, number, or a point (neither text nor number).
using AxValue = std::variant<std::monostate, std::string, double, Point>;

enum class Settable { No, Yes, Error };

struct AxNode {
    std::optional<std::string> ref;
    std::string role;  // filled: "AXWindow" for a window's root, "AXUnknown" below it
    std::optional<std::string> subrole;
    std::optional<std::string> title;
    std::optional<std::string> description;
    std::optional<std::string> placeholder;
    std::optional<std::string> help;
    AxValue value;
    Settable settable = Settable::No;
    std::optional<bool> enabled = true;
    std::optional<bool> focused;
    std::optional<bool> selected;
    std::optional<bool> expanded;
    std::optional<Point> position;  // absent: not readable
    std::optional<Size> size;       // absent: not readable
    std::vector<std::string> actions;
    std::vector<std::string> failActions;
    bool setFails = false;
    std::vector<std::string> unreadable;
    std::vector<AxNode> children;
};

enum class DropMode { Accept, Refuse, Swallow, Hang };

struct SceneWindow {
    std::uint32_t id = 0;
    std::optional<std::int32_t> pid;   // absent: no owning application
    std::optional<std::string> title;  // absent: no title
    Rect frame;
    std::int64_t layer = 0;
    bool onScreen = true;
    double pointPixelScale = 2.0;
    Colour fill{0x33, 0x66, 0xCC, 0xFF};
    DropMode drop = DropMode::Accept;
    AxNode ax;  // the root: position and size default to the frame, title to the window's
};

struct ScenePasteboard {
    std::int64_t change = 0;
    std::vector<std::string> types;
    std::optional<std::string> string;
    std::int64_t access = 2;
};

struct SceneDragPasteboard {
    std::int64_t change = 0;
    std::vector<std::string> types;
    std::vector<std::string> files;
};

struct SceneCapture {
    std::optional<std::string> catalogueError;
    std::optional<std::string> screenshotError;
    std::optional<std::string> streamStartError;
    bool idle = false;
};

struct SceneEncoder {
    std::map<std::string, std::int64_t> createStatus;    // by codec
    std::map<std::string, std::int64_t> propertyStatus;  // by property key text
    std::int64_t prepareStatus = 0;
    std::int64_t encodeStatus = 0;
};

struct Scene {
    std::optional<double> clock;  // simulated wall clock at start; absent: real time
    std::string osVersion = "15.4";
    ScenePermissions permissions;
    bool grantOnRequest = false;
    std::optional<SceneSession> session = SceneSession{};  // absent: no session dictionary
    SceneUser user;
    std::optional<std::uint32_t> mainDisplay;  // absent: the first display
    std::vector<SceneDisplay> displays;
    std::vector<SceneApp> apps;
    std::optional<std::int32_t> frontmost;
    std::vector<SceneWindow> windows;  // front to back
    ScenePasteboard pasteboard;
    SceneDragPasteboard dragPasteboard;
    SceneCapture capture;
    SceneEncoder encoder;

    const SceneApp* findApp(std::int32_t pid) const;
    SceneApp* findApp(std::int32_t pid);
    const SceneWindow* findWindow(std::uint32_t id) const;
    SceneWindow* findWindow(std::uint32_t id);
    const SceneDisplay* findDisplay(std::uint32_t id) const;
};

// Validates and converts a scene. The error message names the JSON path of the bad value
// ("windows[2].frame[3]: must not be negative").
Expected<Scene> parseScene(const nlohmann::json& document);

// The whole scene with every key written, defaults included; `parseScene` reads it back.
nlohmann::json sceneToJson(const Scene& scene);

const char* dropModeName(DropMode mode);

}  // namespace brindlemar::platform::sim
