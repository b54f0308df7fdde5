#pragma once

#include <map>
#include <mutex>
#include <string>
#include <variant>

#include "platform/accessibility.h"
#include "platform/sim/ax_tree.h"
#include "platform/sim/scene_store.h"

namespace brindlemar::platform::sim {

// An element of the simulated desktop: an application by pid, or a node by its identity.
class SimElement final : public AXElementHandle {
  public:
    struct Application {
        std::int32_t pid = 0;
    };
    using Target = std::variant<Application, NodeIdentity>;

    explicit SimElement(Target target) : target_(std::move(target)) {}
    const Target& target() const { return target_; }

  private:
    Target target_;
};

// Hands out one handle per identity while any copy of it lives, so that two reads of the same
// element give the same pointer. `lock_` guards `handles_`.
class ElementRegistry {
  public:
    AXElement element(const SimElement::Target& target);

  private:
    std::mutex lock_;
    std::map<std::string, std::weak_ptr<const SimElement>> handles_;
};

class SimAccessibility final : public Accessibility {
  public:
    explicit SimAccessibility(SceneStore& store) : store_(store) {}

    AXElement applicationElement(std::int32_t pid) override;
    Expected<AXAttributeValue> copyAttribute(const AXElement& element,
                                             std::string_view attribute) override;
    Expected<std::vector<std::string>> copyActionNames(const AXElement& element) override;
    // Journals "ax_action"; "AXRaise" on a window brings it to the front of the window list
    // and makes it its application's focused window.
    Status performAction(const AXElement& element, std::string_view action) override;
    // "AXValue" answers the node's `settable` ("error" fails); every other attribute is not
    // settable.
    Expected<bool> isAttributeSettable(const AXElement& element,
                                       std::string_view attribute) override;
    // Journals "ax_set_value"; unless the node's `set_fails`, its value becomes the text.
    Status setAttributeValue(const AXElement& element, std::string_view attribute,
                             std::string_view text) override;
    bool equal(const AXElement& a, const AXElement& b) override;
    // The simulated applications answer at once; a time-out changes nothing.
    void setMessagingTimeout(const AXElement&, double) override {}

  private:
    Expected<AXAttributeValue> applicationAttribute(const Scene& scene, const SceneApp& app,
                                                    std::string_view attribute);
    Expected<AXAttributeValue> nodeAttribute(const NodeLocation& at, std::string_view attribute);
    AXElement nodeElement(const SceneWindow& window, const std::vector<std::size_t>& path,
                          const AxNode& node);

    SceneStore& store_;
    ElementRegistry registry_;
};

}  // namespace brindlemar::platform::sim
