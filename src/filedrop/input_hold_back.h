#pragma once

namespace brindlemar {

class ProcessState;
struct InputEvent;
namespace platform {
class Pasteboards;
}

// Whether an input event (of an "input" or "input_display" request) must not be performed now:
// while a file drop is under way, pointer and scroll input would disturb its drag. Key input is
// never held back. Every mouse press, held back or not, first records the drag pasteboard's
// change count for the drag probe.
bool heldBackForFileDrop(ProcessState& state, platform::Pasteboards& pasteboards,
                         const InputEvent& event);

// Records the drag pasteboard's change count in `state.dragPasteboardBaseline` (command loop
// only).
void noteMousePress(ProcessState& state, platform::Pasteboards& pasteboards);

}  // namespace brindlemar
