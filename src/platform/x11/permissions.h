#pragma once

#include "platform/clock.h"
#include "platform/permissions.h"

namespace brindlemar::platform::x11 {

class X11Connection;

// X11 has no privacy permissions; each stands for what the server lets this client do. Screen
// recording: the server answers image requests. Input monitoring: XInput 2 is present.
// Accessibility (synthetic input and window control): XTest is present. Nothing prompts, so a
// request answers as a check does.
class X11PermissionService final : public PermissionService {
  public:
    explicit X11PermissionService(X11Connection& connection) : connection_(connection) {}

    bool check(Permission permission) override;
    bool request(Permission permission) override { return check(permission); }

  private:
    bool serverAnswersImageRequests();

    X11Connection& connection_;
};

}  // namespace brindlemar::platform::x11
