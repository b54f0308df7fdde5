#pragma once

#include <nlohmann/json.hpp>

namespace brindlemar {

class ProcessState;
namespace platform {
class Pasteboards;
}

// Whether an input event (the "event" object of an input request) must not be performed now:
// while a file drop is under way, pointer and scroll input would disturb its drag. Key input is
// never held back. Every mouse press, held back or not, first records the drag pasteboard's
// change count for the drag probe.
bool heldBackForFileDrop(ProcessState& state, platform::Pasteboards& pasteboards,
                         const nlohmann::json& event);

// Records the drag pasteboard's change count in `state.dragPasteboardBaseline` (command loop
// only).
void noteMousePress(ProcessState& state, platform::Pasteboards& pasteboards);

}  // namespace brindlemar
