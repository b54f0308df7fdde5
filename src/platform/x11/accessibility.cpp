#include <memory>
#include <string>
#include <vector>

#include "platform/x11/connection.h"
#include "platform/x11/input_services.h"
#include "platform/x11/window_catalogue.h"
#include "platform/x11/window_list_queries.h"
#include "platform/x11/window_list_raise.h"

namespace brindlemar::platform::x11 {
namespace {

// Error codes of the accessibility interface that this small tree can give.
constexpr std::int64_t kInvalidElement = -25202;
constexpr std::int64_t kAttributeUnsupported = -25205;
constexpr std::int64_t kActionUnsupported = -25206;

struct ApplicationElement final : AXElementHandle {
    explicit ApplicationElement(std::int32_t p) : pid(p) {}
    std::int32_t pid;
};

struct WindowElement final : AXElementHandle {
    explicit WindowElement(xcb_window_t w) : window(w) {}
    xcb_window_t window;
};

Error unsupportedAttribute(std::string_view attribute) {
    return Error{kAccessibilityErrorDomain, kAttributeUnsupported,
                 "attribute " + std::string(attribute) + " is not available on this desktop"};
}

// The part of the accessibility interface that raising a window needs, answered from the
// X server: an application lists its top-level client windows ("AXWindows", the front-most
// first), a window has the position and size of its outer frame and can be raised ("AXRaise").
// Everything else is unsupported. Stateless: safe from any thread.
class X11WindowAccessibility final : public Accessibility {
  public:
    X11WindowAccessibility(X11Connection& connection, WindowRaiser& raiser)
        : connection_(connection), raiser_(raiser) {}

    AXElement applicationElement(std::int32_t pid) override {
        return std::make_shared<const ApplicationElement>(pid);
    }

    Expected<AXAttributeValue> copyAttribute(const AXElement& element,
                                             std::string_view attribute) override {
        if (const auto* application = dynamic_cast<const ApplicationElement*>(element.get()))
            return applicationAttribute(*application, attribute);
        if (const auto* window = dynamic_cast<const WindowElement*>(element.get()))
            return windowAttribute(*window, attribute);
        return Error{kAccessibilityErrorDomain, kInvalidElement, "not an element of this desktop"};
    }

    Expected<std::vector<std::string>> copyActionNames(const AXElement& element) override {
        if (dynamic_cast<const WindowElement*>(element.get()) != nullptr)
            return std::vector<std::string>{"AXRaise"};
        if (dynamic_cast<const ApplicationElement*>(element.get()) != nullptr)
            return std::vector<std::string>{};
        return Error{kAccessibilityErrorDomain, kInvalidElement, "not an element of this desktop"};
    }

    Expected<bool> isAttributeSettable(const AXElement&, std::string_view) override {
        return false;
    }

    Status setAttributeValue(const AXElement&, std::string_view attribute,
                             std::string_view) override {
        return unsupportedAttribute(attribute);
    }

    bool equal(const AXElement& a, const AXElement& b) override {
        if (a == b) return true;
        const auto* windowA = dynamic_cast<const WindowElement*>(a.get());
        const auto* windowB = dynamic_cast<const WindowElement*>(b.get());
        if (windowA != nullptr && windowB != nullptr) return windowA->window == windowB->window;
        const auto* appA = dynamic_cast<const ApplicationElement*>(a.get());
        const auto* appB = dynamic_cast<const ApplicationElement*>(b.get());
        return appA != nullptr && appB != nullptr && appA->pid == appB->pid;
    }

    // The X server answers every question here itself; no application is waited for.
    void setMessagingTimeout(const AXElement&, double) override {}

    Status performAction(const AXElement& element, std::string_view action) override {
        const auto* window = dynamic_cast<const WindowElement*>(element.get());
        if (window == nullptr || action != "AXRaise")
            return Error{kAccessibilityErrorDomain, kActionUnsupported,
                         "action " + std::string(action) + " is not available on this desktop"};
        // A window that did not come forward was still raised as far as the action goes;
        // whether input reaches it is for the caller to ask.
        if (raiser_.raise(window->window) == WindowRaiser::Outcome::Gone)
            return Error{kAccessibilityErrorDomain, kInvalidElement, "the window is gone"};
        return Status::success();
    }

  private:
    Expected<AXAttributeValue> applicationAttribute(const ApplicationElement& application,
                                                    std::string_view attribute) {
        if (attribute != "AXWindows") return unsupportedAttribute(attribute);
        std::vector<AXElement> windows;
        for (xcb_window_t window : clientWindowsOfPid(connection_, application.pid))
            windows.push_back(std::make_shared<const WindowElement>(window));
        return AXAttributeValue{std::move(windows)};
    }

    Expected<AXAttributeValue> windowAttribute(const WindowElement& window,
                                               std::string_view attribute) {
        if (attribute != "AXPosition" && attribute != "AXSize")
            return unsupportedAttribute(attribute);
        auto frame = clientFrame(connection_, window.window);
        if (!frame) return Error{kAccessibilityErrorDomain, kInvalidElement, "the window is gone"};
        if (attribute == "AXPosition") return AXAttributeValue{Point{frame->x, frame->y}};
        return AXAttributeValue{Size{frame->width, frame->height}};
    }

    X11Connection& connection_;
    WindowRaiser& raiser_;
};

}  // namespace

std::unique_ptr<Accessibility> makeAccessibility(X11Connection& connection, WindowRaiser& raiser) {
    return std::make_unique<X11WindowAccessibility>(connection, raiser);
}

}  // namespace brindlemar::platform::x11
