#pragma once

#include <map>
#include <mutex>
#include <string>
#include <variant>

#include "platform/accessibility.h"
#include "platform/sim/ax_tree.h"
#include "platform/sim/scene_store.h"

namespace brindlemar::platform::sim {

// Error codes of the accessibility interface.
namespace ax_error {
inline constexpr std::int64_t kFailure = -25200;
inline constexpr std::int64_t kInvalidUIElement = -25202;
inline constexpr std::int64_t kCannotComplete = -25204;
inline constexpr std::int64_t kAttributeUnsupported = -25205;
inline constexpr std::int64_t kActionUnsupported = -25206;
inline constexpr std::int64_t kAPIDisabled = -25211;
inline constexpr std::int64_t kNoValue = -25212;
}  // namespace ax_error

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
    // Journals "ax_action"; "AXRaise" on a window brings it to the front of the window list
    // and makes it its application's focused window.
    Status performAction(const AXElement& element, std::string_view action) override;

  private:
    Expected<AXAttributeValue> applicationAttribute(const Scene& scene, std::int32_t pid,
                                                    std::string_view attribute);
    Expected<AXAttributeValue> nodeAttribute(const NodeLocation& at, std::string_view attribute);
    AXElement nodeElement(const SceneWindow& window, const std::vector<std::size_t>& path,
                          const AxNode& node);

    SceneStore& store_;
    ElementRegistry registry_;
};

}  // namespace brindlemar::platform::sim
