#pragma once

#include <memory>
#include <utility>

#include "platform/desktop.h"

namespace brindlemar::testing {

// A desktop that answers every service from another desktop, so a test can replace one service
// (a poster that fails, say) and keep the rest of the simulated desktop.
class DelegatingDesktop : public platform::Desktop {
  public:
    explicit DelegatingDesktop(std::unique_ptr<platform::Desktop> inner)
        : inner_(std::move(inner)) {}

    platform::Clock& clock() override { return inner_->clock(); }
    platform::PermissionService& permissions() override { return inner_->permissions(); }
    platform::CaptureCatalogue& captureCatalogue() override { return inner_->captureCatalogue(); }
    platform::ScreenshotService& screenshots() override { return inner_->screenshots(); }
    platform::CodeSigning& codeSigning() override { return inner_->codeSigning(); }
    platform::Workspace& workspace() override { return inner_->workspace(); }
    platform::WindowList& windowList() override { return inner_->windowList(); }
    platform::EventPoster& events() override { return inner_->events(); }
    platform::Accessibility& accessibility() override { return inner_->accessibility(); }
    platform::Pasteboards& pasteboards() override { return inner_->pasteboards(); }
    platform::UserSession& session() override { return inner_->session(); }
    Status reachable() override { return inner_->reachable(); }

  protected:
    platform::Desktop& inner() { return *inner_; }

  private:
    std::unique_ptr<platform::Desktop> inner_;
};

}  // namespace brindlemar::testing
