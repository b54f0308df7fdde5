#include "semantics/bounded_control.h"

#include <algorithm>
#include <chrono>
#include <optional>
#include <thread>

#include "capture/identity.h"
#include "core/process_state.h"
#include "input/window_raise.h"
#include "platform/desktop.h"
#include "semantics/control_context.h"
#include "semantics/control_gate.h"
#include "semantics/control_request.h"
#include "semantics/control_text.h"
#include "semantics/element_readers.h"
#include "semantics/guard_fields.h"

namespace brindlemar::semantics {
namespace {

using Json = nlohmann::json;
using platform::EventTarget;
using platform::EventType;
using platform::MouseButton;
using platform::SyntheticEvent;
using KeyMap = std::unordered_map<std::string, std::uint16_t>;

// How long "focus" waits for the window to take the focus, and how often it looks.
constexpr double kFocusWaitSeconds = 0.25;
constexpr auto kFocusPoll = std::chrono::milliseconds(10);

// CGRectContainsRect: `inner` lies wholly inside `outer`, edges included.
bool contains(const platform::Rect& outer, const platform::Rect& inner) {
    return outer.minX() <= inner.minX() && inner.maxX() <= outer.maxX() &&
           outer.minY() <= inner.minY() && inner.maxY() <= outer.maxY();
}

// The point of a normalised position: 1.0 is the last pixel row or column, not the edge beyond.
platform::Point pointIn(const platform::Rect& rect, platform::Point at) {
    return {rect.minX() + at.x * std::max(rect.width - 1, 0.0),
            rect.minY() + at.y * std::max(rect.height - 1, 0.0)};
}

std::optional<std::uint16_t> keyCode(const KeyMap& vkMap, const std::string& key) {
    std::string upper = key;
    std::transform(upper.begin(), upper.end(), upper.begin(),
                   [](unsigned char c) { return static_cast<char>(std::toupper(c)); });
    for (const std::string& name : {key, "Key" + upper, "Digit" + key}) {
        auto found = vkMap.find(name);
        if (found != vkMap.end()) return found->second;
    }
    return std::nullopt;
}

SyntheticEvent keyEvent(std::uint16_t code, bool down) {
    SyntheticEvent event;
    event.type = down ? EventType::KeyDown : EventType::KeyUp;
    event.keyCode = code;
    event.keyDown = down;
    return event;
}

// One bounded control operation: its request, what it has verified and captured, and whether
// it has issued anything yet.
class BoundedControl {
  public:
    BoundedControl(ProcessState& process, platform::Desktop& desktop, const KeyMap& vkMap,
                   ControlRequest request)
        : process_(process), desktop_(desktop), vkMap_(vkMap), request_(std::move(request)) {}

    Json run(const Json& request);

  private:
    const ControlTarget& target() const { return request_.target; }
    const ControlCommand& command() const { return request_.command; }
    platform::Accessibility& ax() { return desktop_.accessibility(); }

    bool gate() { return controlCurrent(process_, desktop_, request_.deadline, request_.epoch); }
    bool windowTargetMatches();
    bool windowStillThere();
    bool focusedOn(std::int32_t pid, const AXElement& window);
    // The target check before every step: the gate, the target unchanged and, when asked (and
    // always for a display), focused.
    bool current(bool requireFocus);
    bool currentWindow(bool requireFocus);
    bool currentDisplay();

    bool perform();
    bool focus();
    void waitForFocus();
    bool click();
    bool scroll();
    bool keyboardTarget(EventTarget& target);
    bool pressKey();
    bool typeText();

    EventTarget pointerTarget() const {
        return target().desktop ? EventTarget::hid() : EventTarget::process(pid_);
    }
    bool post(const SyntheticEvent& event, EventTarget to) {
        issued_ = true;
        return desktop_.events().post(event, to).ok();
    }
    Json refusal() const { return {{"type", "control"}, {"ok", false}, {"refused", !issued_}}; }

    ProcessState& process_;
    platform::Desktop& desktop_;
    const KeyMap& vkMap_;
    ControlRequest request_;
    bool issued_ = false;
    // Window targets: the owner and its identity, and the accessibility window.
    std::int32_t pid_ = 0;
    std::string processIdentity_;
    AXElement window_;
    // Keyboard actions on a display: the application and window that had the focus.
    std::optional<std::int32_t> capturedPid_;
    AXElement capturedWindow_;
};

Json BoundedControl::run(const Json& request) {
    if (!gate()) return refusal();
    if (!parseControlTarget(request, request_)) return refusal();
    if (!target().desktop && !windowTargetMatches()) return refusal();
    if (!parseControlCommand(request, request_)) return refusal();
    if (!perform()) return refusal();
    return {{"type", "control"}, {"ok", true}};
}

bool BoundedControl::windowTargetMatches() {
    auto pid = integerField(target().pid);
    if (!pid || *pid < 1 || *pid > INT32_MAX) return false;
    pid_ = static_cast<std::int32_t>(*pid);
    for (const Json* identity : {target().applicationId, target().processIdentity}) {
        if (identity == nullptr || !identity->is_string() ||
            identity->get_ref<const std::string&>().empty()) {
            return false;
        }
    }
    if (*target().applicationId != capture::applicationIdentity(desktop_.codeSigning(), pid_)) {
        return false;
    }
    processIdentity_ = target().processIdentity->get<std::string>();
    if (processIdentity_ != capture::processIdentity(desktop_.workspace(), pid_)) return false;
    window_ = targetAXWindow(desktop_, target().id);
    if (!window_) return false;
    int matches = 0;
    for (const auto& entry : desktop_.windowList().onScreenWindows()) {
        if (entry.ownerPid == pid_ && entry.layer == 0 && entry.bounds == target().rect) ++matches;
    }
    if (matches != 1) return false;
    ax().setMessagingTimeout(window_, kControlElementTimeout);
    return true;
}

bool BoundedControl::windowStillThere() {
    auto placement = windowBounds(desktop_.windowList(), target().id);
    if (!placement || placement->pid != pid_ || placement->frame != target().rect) return false;
    return capture::processIdentity(desktop_.workspace(), pid_) == processIdentity_;
}

bool BoundedControl::focusedOn(std::int32_t pid, const AXElement& window) {
    if (desktop_.workspace().frontmostApplication() != pid) return false;
    auto application = ax().applicationElement(pid);
    ax().setMessagingTimeout(application, kControlElementTimeout);
    AXElement focused = focusedWindow(ax(), application);
    return focused && ax().equal(focused, window);
}

bool BoundedControl::current(bool requireFocus) {
    return target().desktop ? currentDisplay() : currentWindow(requireFocus);
}

bool BoundedControl::currentWindow(bool requireFocus) {
    if (!gate() || !windowStillThere()) return false;
    if (!requireFocus) return true;
    return focusedOn(pid_, window_) && gate();
}

bool BoundedControl::currentDisplay() {
    if (!gate()) return false;
    auto& windows = desktop_.windowList();
    if (!windows.displayIsActive(target().id) ||
        windows.displayBounds(target().id) != target().rect) {
        return false;
    }
    const Json* identity = target().displayIdentity;
    auto uuid = desktop_.captureCatalogue().displayUuid(target().id);
    if (identity == nullptr || !identity->is_string() || !uuid || *identity != *uuid) return false;
    if (target().focus == nullptr) return false;
    auto context = desktopControlContext(desktop_);
    if (!context || *context != *target().focus) return false;
    if (capturedPid_ && !focusedOn(*capturedPid_, capturedWindow_)) return false;
    return gate();
}

bool BoundedControl::perform() {
    switch (command().action) {
        case ControlAction::Focus:
            return focus();
        case ControlAction::Click:
            return click();
        case ControlAction::Scroll:
            return scroll();
        case ControlAction::PressKey:
        case ControlAction::Hotkey:
            return pressKey();
        case ControlAction::TypeText:
            return typeText();
    }
    return false;
}

bool BoundedControl::focus() {
    if (target().desktop) return false;
    if (!gate() || !windowStillThere()) return false;
    issued_ = true;
    if (!ax().performAction(window_, "AXRaise").ok()) return false;
    if (!current(false)) return false;
    (void)desktop_.workspace().activateApplication(pid_);
    waitForFocus();
    return current(true);
}

// Waits until the window has the focus, for at most 0.25 s and never past the deadline: on the
// desktop's clock, and in real time too, since a simulated clock may stand still.
void BoundedControl::waitForFocus() {
    auto& clock = desktop_.clock();
    const double end = std::min(request_.deadline, clock.now() + kFocusWaitSeconds);
    const auto realEnd =
        std::chrono::steady_clock::now() + std::chrono::duration<double>(kFocusWaitSeconds);
    while (clock.now() < end && std::chrono::steady_clock::now() < realEnd) {
        if (current(true) || !gate()) return;
        std::this_thread::sleep_for(kFocusPoll);
    }
}

bool BoundedControl::click() {
    const platform::Point at = pointIn(target().rect, command().at);
    if (!current(true)) return false;
    const bool right = command().rightButton;
    SyntheticEvent down, up;
    down.type = right ? EventType::RightMouseDown : EventType::LeftMouseDown;
    up.type = right ? EventType::RightMouseUp : EventType::LeftMouseUp;
    for (auto* event : {&down, &up}) {
        event->location = at;
        event->button = right ? MouseButton::Right : MouseButton::Left;
    }
    if (!current(true)) return false;
    if (!target().desktop) {
        down.windowUnderPointer = up.windowUnderPointer = target().id;
        if (!current(true)) return false;
    }
    for (std::int64_t click = 1; click <= command().count; ++click) {
        down.clickState = up.clickState = click;
        down.flags = up.flags = 0;
        if (!post(down, pointerTarget()) || !post(up, pointerTarget())) return false;
        if (click < command().count && !current(true)) return false;
    }
    return true;
}

bool BoundedControl::scroll() {
    const platform::Point at = pointIn(target().rect, command().at);
    if (!current(true)) return false;
    SyntheticEvent event;
    event.type = EventType::ScrollWheel;
    event.wheel = std::array<std::int32_t, 2>{-command().dy, -command().dx};
    if (!current(true)) return false;
    event.location = at;
    event.flags = 0;
    return post(event, pointerTarget());
}

// Where keyboard events go: the target's owner, or on a display the application in front, whose
// focused window must lie inside the display and is remembered for every later check.
bool BoundedControl::keyboardTarget(EventTarget& to) {
    if (!target().desktop) {
        to = EventTarget::process(pid_);
        return true;
    }
    auto pid = desktop_.workspace().frontmostApplication();
    if (!pid) return false;
    auto application = ax().applicationElement(*pid);
    ax().setMessagingTimeout(application, kControlElementTimeout);
    AXElement focused = focusedWindow(ax(), application);
    if (!focused) return false;
    auto frame = reportedFrame(ax(), focused);
    if (!frame || !contains(target().rect, *frame)) return false;
    capturedPid_ = *pid;
    capturedWindow_ = focused;
    to = *pid > 0 ? EventTarget::process(*pid) : EventTarget::hid();
    return true;
}

bool BoundedControl::pressKey() {
    EventTarget to;
    if (!keyboardTarget(to)) return false;
    auto code = keyCode(vkMap_, command().key);
    if (!code) return false;
    SyntheticEvent down = keyEvent(*code, true);
    SyntheticEvent up = keyEvent(*code, false);
    if (!current(true)) return false;
    down.flags = up.flags = command().modifierFlags;
    return post(down, to) && post(up, to);
}

bool BoundedControl::typeText() {
    EventTarget to;
    if (!keyboardTarget(to)) return false;
    for (const auto& chunk : utf16Chunks(command().text)) {
        SyntheticEvent down = keyEvent(0, true);
        SyntheticEvent up = keyEvent(0, false);
        if (!current(true)) return false;
        down.unicode = up.unicode = chunk;
        down.flags = up.flags = 0;
        if (!post(down, to) || !post(up, to)) return false;
    }
    return true;
}

}  // namespace

Json boundedControl(ProcessState& process, platform::Desktop& desktop, const KeyMap& vkMap,
                    const Json& request) {
    auto parsed = parseControlEnvelope(request);
    if (!parsed) return {{"type", "control"}, {"ok", false}, {"refused", true}};
    BoundedControl control(process, desktop, vkMap, std::move(*parsed));
    return control.run(request);
}

}  // namespace brindlemar::semantics
