#include "platform/x11/events_poster.h"

#include <xcb/xtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <optional>
#include <string>
#include <vector>

#include "platform/x11/connection.h"
#include "platform/x11/event_delivery.h"
#include "platform/x11/event_flag_table.h"
#include "platform/x11/event_type_table.h"
#include "platform/x11/input_services.h"

namespace brindlemar::platform::x11 {
namespace {

// One event sends at most this many pixels' worth of steps (100 steps), so a wild value cannot
// queue millions of clicks; callers clamp far below it.
constexpr std::int32_t kWheelPixelBound = 100 * kScrollPixelsPerStep;

std::int32_t boundedWheel(std::int32_t pixels) {
    return std::clamp(pixels, -kWheelPixelBound, kWheelPixelBound);
}

// Codes of the poster's own errors, in the "x11" domain.
constexpr std::int64_t kNoXTest = 1;
constexpr std::int64_t kNoKeyAtPosition = 2;
constexpr std::int64_t kTextWithoutKeys = 3;
constexpr std::int64_t kNotAKeyEvent = 4;

Error noKeyAt(std::uint16_t virtualKey) {
    char code[8];
    std::snprintf(code, sizeof code, "0x%02X", virtualKey);
    return Error{kX11Domain, kNoKeyAtPosition,
                 std::string("the keyboard has no key at the position of virtual key ") + code};
}

// Locations are in points, and on X a point is a pixel: the pixel that holds a location is the
// one whose square it lies in. Floating arithmetic can leave a location that names a pixel's
// corner a hair below it, which must not fall into the pixel before.
constexpr double kPixelTolerance = 1e-6;

std::int16_t toCoordinate(double value) {
    const double pixel = std::floor(value + kPixelTolerance);
    if (!(pixel > -32768.0)) return -32768;
    if (pixel > 32767.0) return 32767;
    return static_cast<std::int16_t>(pixel);
}

// The pixel of `value` kept within [low, low + extent): a location on the far edge of a target
// (a fraction of 1) is on its last pixel, not on the first pixel beyond it.
double withinSpan(double value, double low, double extent) {
    if (!(extent >= 1)) return value;
    const double first = std::ceil(low - kPixelTolerance);
    const double last = std::ceil(low + extent - kPixelTolerance) - 1;
    return std::clamp(std::floor(value + kPixelTolerance), first, std::max(first, last));
}

struct Pixel {
    std::int16_t x;
    std::int16_t y;
};

Pixel pixelOf(const SyntheticEvent& event) {
    Point at = *event.location;
    if (event.within) {
        at.x = withinSpan(at.x, event.within->minX(), event.within->maxX() - event.within->minX());
        at.y = withinSpan(at.y, event.within->minY(), event.within->maxY() - event.within->minY());
    }
    return {toCoordinate(at.x), toCoordinate(at.y)};
}

}  // namespace

XTestEventPoster::XTestEventPoster(X11Connection& connection) : connection_(connection) {
    MutexLock lock(lock_);
    generation_ = connection_.generation();
    keymapWatch_ = std::make_unique<KeymapWatch>(connection_.displayName());
    readKeymap();
}

XTestEventPoster::~XTestEventPoster() {
    releaseAllHeld();
}

void XTestEventPoster::readKeymap() {
    keymap_ = std::make_unique<ServerKeymap>(ServerKeymap::read(connection_.raw()));
    textTyper_ =
        std::make_unique<TextTyper>(connection_.raw(), keymap_->keycodeFor(kVirtualShiftLeft));
}

ServerKeymap XTestEventPoster::keymap() {
    MutexLock lock(lock_);
    followServer();
    return *keymap_;
}

// Brings the poster up to date with the server: after a reconnection, what this client held is
// released (harmless on a new server, needed when the old one lives on) and the keymap and its
// watch start afresh; after a mapping change, the keymap is read again.
void XTestEventPoster::followServer() {
    if (const auto generation = connection_.generation(); generation != generation_) {
        generation_ = generation;
        releaseHeld();
        vertical_ = {};
        horizontal_ = {};
        keymapWatch_ = std::make_unique<KeymapWatch>(connection_.displayName());
        readKeymap();
        return;
    }
    if (keymapWatch_->changed()) readKeymap();
}

Status XTestEventPoster::post(const SyntheticEvent& event, EventTarget /*target*/) {
    if (auto reachable = connection_.check(); !reachable) return reachable;
    if (!connection_.extensions().xtest)
        return Error{kX11Domain, kNoXTest,
                     "the X server has no XTest extension: synthetic input is not possible"};
    MutexLock lock(lock_);
    followServer();
    Status posted;
    if (isKeyType(event.type))
        posted = postKey(event);
    else if (event.type == EventType::ScrollWheel)
        postScroll(event);
    else
        postPointer(event);
    xcb_flush(connection_.raw());
    // The requests are not waited for: a server that went away while they were sent shows as
    // a broken connection now or at the next request.
    if (auto reachable = connection_.check(); !reachable) return reachable;
    return posted;
}

Expected<bool> XTestEventPoster::wouldReach(const SyntheticEvent& event, std::uint32_t window,
                                            std::int32_t owner) {
    if (auto reachable = connection_.check(); !reachable) return reachable.error();
    bool reached = true;
    if (isKeyType(event.type)) {
        reached = keyboardReaches(connection_, window, owner);
    } else if (event.location) {
        const Pixel at = pixelOf(event);
        reached = pointerReaches(connection_, at.x, at.y, window, owner);
    }
    if (auto reachable = connection_.check(); !reachable) return reachable.error();
    return reached;
}

void XTestEventPoster::releaseIfHeld(const SyntheticEvent& release) {
    if (connection_.lost()) return;
    MutexLock lock(lock_);
    if (isKeyType(release.type)) {
        if (!release.keyCode) return;
        const auto held = heldKeys_.find(*release.keyCode);
        if (held == heldKeys_.end()) return;
        fake(XCB_KEY_RELEASE, held->second);
        heldKeys_.erase(held);
    } else {
        const std::uint8_t button = xButtonOf(release);
        if (heldButtons_.erase(button) == 0) return;
        fake(XCB_BUTTON_RELEASE, button);
    }
    // Waited for, unlike posts: the refusal that follows must not reach the daemon before the
    // release has taken effect. Rare enough that the round trip does not matter.
    connection_.sync();
}

void XTestEventPoster::releaseAllHeld() {
    MutexLock lock(lock_);
    releaseHeld();
    // Waited for: at exit the connection closes right after, and the releases must be done.
    connection_.sync();
}

void XTestEventPoster::releaseHeld() {
    if (!connection_.lost()) {
        for (const auto& [virtualKey, keycode] : heldKeys_)
            fake(XCB_KEY_RELEASE, keycode);
        for (std::uint8_t button : heldButtons_)
            fake(XCB_BUTTON_RELEASE, button);
        xcb_flush(connection_.raw());
    }
    heldKeys_.clear();
    heldButtons_.clear();
}

std::uint64_t XTestEventPoster::heldModifierFlags() const {
    std::uint64_t flags = 0;
    for (const auto& held : heldKeys_)
        flags |= flagOfModifierKey(held.first);
    return flags;
}

Status XTestEventPoster::postText(const SyntheticEvent& event) {
    const bool textDown = event.keyDown.value_or(event.type != EventType::KeyUp);
    if (!textDown || textTyper_->type(*event.unicode)) return Status::success();
    return Error{kX11Domain, kTextWithoutKeys,
                 "the keyboard layout has no key for some of the text; the rest was typed"};
}

Status XTestEventPoster::postKey(const SyntheticEvent& event) {
    if (event.unicode && !event.unicode->empty()) return postText(event);
    if (!event.keyCode)
        return Error{kX11Domain, kNotAKeyEvent, "a key event without a key code or text"};
    const std::uint16_t virtualKey = *event.keyCode;
    const bool down = event.keyDown.value_or(event.type != EventType::KeyUp);
    const auto held = heldKeys_.find(virtualKey);
    // A held key is released (or pressed again) as the key that was pressed.
    auto keycode =
        held != heldKeys_.end() ? std::optional(held->second) : keymap_->keycodeFor(virtualKey);
    if (!keycode) return noKeyAt(virtualKey);

    std::vector<xcb_keycode_t> wrapped;
    if (flagOfModifierKey(virtualKey) == 0) {
        const std::uint64_t missing = event.flags & ~heldModifierFlags();
        for (const auto& modifier : modifierKeys()) {
            if ((missing & modifier.flag) == 0) continue;
            if (auto modifierKeycode = keymap_->keycodeFor(modifier.left))
                wrapped.push_back(*modifierKeycode);
        }
    }
    if (down)
        heldKeys_.emplace(virtualKey, *keycode);
    else
        heldKeys_.erase(virtualKey);
    for (xcb_keycode_t modifier : wrapped)
        fake(XCB_KEY_PRESS, modifier);
    fake(down ? XCB_KEY_PRESS : XCB_KEY_RELEASE, *keycode);
    for (auto it = wrapped.rbegin(); it != wrapped.rend(); ++it)
        fake(XCB_KEY_RELEASE, *it);
    return Status::success();
}

void XTestEventPoster::postPointer(const SyntheticEvent& event) {
    if (event.location) moveTo(event);
    const std::uint8_t button = xButtonOf(event);
    switch (buttonActionOf(event.type)) {
        case ButtonAction::Press:
            heldButtons_.insert(button);
            fake(XCB_BUTTON_PRESS, button);
            break;
        case ButtonAction::Release:
            heldButtons_.erase(button);
            fake(XCB_BUTTON_RELEASE, button);
            break;
        case ButtonAction::None:
            break;
    }
}

void XTestEventPoster::postScroll(const SyntheticEvent& event) {
    if (event.location) moveTo(event);
    if (!event.wheel) return;
    const std::int32_t verticalSteps = vertical_.stepsFor(boundedWheel((*event.wheel)[0]));
    const std::int32_t horizontalSteps = horizontal_.stepsFor(boundedWheel((*event.wheel)[1]));
    auto click = [this](std::uint8_t button, std::int32_t count) {
        for (std::int32_t i = 0; i < count; ++i) {
            fake(XCB_BUTTON_PRESS, button);
            fake(XCB_BUTTON_RELEASE, button);
        }
    };
    click(verticalSteps > 0 ? kWheelUp : kWheelDown, std::abs(verticalSteps));
    click(horizontalSteps > 0 ? kWheelLeft : kWheelRight, std::abs(horizontalSteps));
}

void XTestEventPoster::moveTo(const SyntheticEvent& event) {
    const Pixel at = pixelOf(event);
    xcb_test_fake_input(connection_.raw(), XCB_MOTION_NOTIFY, 0, XCB_CURRENT_TIME,
                        connection_.root(), at.x, at.y, 0);
}

void XTestEventPoster::fake(std::uint8_t type, std::uint8_t detail) {
    xcb_test_fake_input(connection_.raw(), type, detail, XCB_CURRENT_TIME, XCB_WINDOW_NONE, 0, 0,
                        0);
}

std::unique_ptr<EventPoster> makeEventPoster(X11Connection& connection) {
    return std::make_unique<XTestEventPoster>(connection);
}

}  // namespace brindlemar::platform::x11
