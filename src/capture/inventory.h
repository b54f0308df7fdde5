#pragma once

#include "base/error.h"
#include "core/output_channel.h"
#include "platform/desktop.h"

namespace brindlemar::capture {

// The windows a parent can capture and address: on-screen normal windows of at least 40 x 40
// points with an owner name or a title, in catalogue order (front to back), as flat records.
// Fails with the catalogue's own error (e.g. without screen-recording permission).
Expected<Json> listWindows(platform::Desktop& desktop);

// Every display of the catalogue, in catalogue order, as flat records. Fails as above.
Expected<Json> listDisplays(platform::Desktop& desktop);

}  // namespace brindlemar::capture
