#pragma once

#include <memory>

#include "platform/accessibility.h"
#include "platform/pasteboards.h"
#include "platform/session.h"
#include "platform/synthetic_events.h"
#include "platform/window_list.h"
#include "platform/workspace.h"

// The input half of the X11 desktop: synthetic events through XTest, the window list, window
// raising, application activation and the drag pasteboard. Each factory borrows the connection
// (and the raiser), which must outlive the service it returns. Accessibility raises windows and
// the workspace activates applications through one shared WindowRaiser, so that the two steps
// of bringing a window forward never wait for it twice.
namespace brindlemar::platform::x11 {

class X11Connection;
class WindowRaiser;

std::unique_ptr<EventPoster> makeEventPoster(X11Connection&);
std::unique_ptr<WindowList> makeWindowList(X11Connection&);
std::unique_ptr<Accessibility> makeAccessibility(X11Connection&, WindowRaiser&);
std::unique_ptr<Workspace> makeWorkspace(X11Connection&, WindowRaiser&);
std::unique_ptr<Pasteboards> makePasteboards(X11Connection&);
std::unique_ptr<UserSession> makeUserSession(X11Connection&);

}  // namespace brindlemar::platform::x11
