#pragma once

#include <memory>

#include "base/error.h"
#include "platform/desktop.h"

namespace brindlemar::platform::x11 {

// Connects to the X server named by DISPLAY and builds the desktop on it. Fails with one line
// when DISPLAY is unset or the server cannot be reached.
Expected<std::unique_ptr<Desktop>> createX11Desktop();

}  // namespace brindlemar::platform::x11
