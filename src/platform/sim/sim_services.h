#pragma once

// The seam services of the simulated desktop. Each answers from the scene store and records its
// effects in the journal there; all are safe to call from any thread.

#include "platform/desktop.h"
#include "platform/sim/scene_store.h"

namespace brindlemar::platform::sim {

class SimPermissions final : public PermissionService {
  public:
    explicit SimPermissions(SceneStore& store) : store_(store) {}
    bool check(Permission permission) override;
    // Journals "permission_prompt" when the permission is not granted; with grant_on_request
    // the permission is granted after the answer is taken.
    bool request(Permission permission) override;

  private:
    SceneStore& store_;
};

class SimCaptureCatalogue final : public CaptureCatalogue {
  public:
    explicit SimCaptureCatalogue(SceneStore& store) : store_(store) {}
    Expected<ShareableContent> shareableContent() override;
    std::optional<std::int64_t> displayModePixelWidth(std::uint32_t displayId) override;
    std::optional<std::string> displayUuid(std::uint32_t displayId) override;
    WindowFilterGeometry windowFilterGeometry(const CatalogueWindow& window) override;

  private:
    SceneStore& store_;
};

class SimScreenshots final : public ScreenshotService {
  public:
    explicit SimScreenshots(SceneStore& store) : store_(store) {}
    Expected<PixelBuffer> captureImage(const CaptureFilter& filter,
                                       const ScreenshotConfiguration& configuration) override;

  private:
    SceneStore& store_;
};

class SimCodeSigning final : public CodeSigning {
  public:
    explicit SimCodeSigning(SceneStore& store) : store_(store) {}
    std::string identityNamespace() override { return "macos"; }
    std::unique_ptr<RunningCode> codeForProcess(std::int32_t pid) override;

  private:
    SceneStore& store_;
};

class SimWorkspace final : public Workspace {
  public:
    explicit SimWorkspace(SceneStore& store) : store_(store) {}
    std::optional<double> launchTime(std::int32_t pid) override;
    bool activateApplication(std::int32_t pid) override;
    std::optional<std::int32_t> frontmostApplication() override;

  private:
    SceneStore& store_;
};

class SimWindowList final : public WindowList {
  public:
    explicit SimWindowList(SceneStore& store) : store_(store) {}
    std::optional<WindowListEntry> describeWindow(std::uint32_t id) override;
    std::vector<WindowListEntry> onScreenWindows() override;
    Rect displayBounds(std::uint32_t displayId) override;
    bool displayIsActive(std::uint32_t displayId) override;
    std::uint32_t mainDisplayId() override;

  private:
    SceneStore& store_;
};

class SimEventPoster final : public EventPoster {
  public:
    explicit SimEventPoster(SceneStore& store) : store_(store) {}
    Status post(const SyntheticEvent& event, EventTarget target) override;
    // The simulated desktop delivers events to no window: input addressed to a window never
    // goes astray, and no key or button stays held. Nothing here is journalled.
    Expected<bool> wouldReach(const SyntheticEvent&, std::uint32_t, std::int32_t) override {
        return true;
    }
    void releaseIfHeld(const SyntheticEvent&) override {}
    void releaseAllHeld() override {}

  private:
    SceneStore& store_;
};

// The session dictionary and what the physical user holds, from the scene's "session" and
// "user"; the helper's own synthetic events never change them.
class SimUserSession final : public UserSession {
  public:
    explicit SimUserSession(SceneStore& store) : store_(store) {}
    std::optional<SessionDictionary> currentSession() override;
    std::uint64_t heldModifierFlags() override;
    bool isMouseButtonHeld(int button) override;

  private:
    SceneStore& store_;
};

class SimPasteboards final : public Pasteboards {
  public:
    explicit SimPasteboards(SceneStore& store) : store_(store) {}
    std::int64_t dragPasteboardChangeCount() override;

  private:
    SceneStore& store_;
};

}  // namespace brindlemar::platform::sim
