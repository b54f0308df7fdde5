#include "filedrop/input_hold_back.h"

#include "core/process_state.h"
#include "input/input_event.h"
#include "platform/pasteboards.h"

namespace brindlemar {

bool heldBackForFileDrop(ProcessState& state, platform::Pasteboards& pasteboards,
                         const InputEvent& event) {
    using Kind = InputEvent::Kind;
    if (event.kind == Kind::Mouse && event.action == InputEvent::Action::Down) {
        noteMousePress(state, pasteboards);
    }
    return (event.kind == Kind::Mouse || event.kind == Kind::Scroll) && state.fileDrop.active();
}

void noteMousePress(ProcessState& state, platform::Pasteboards& pasteboards) {
    state.dragPasteboardBaseline = pasteboards.dragPasteboardChangeCount();
}

}  // namespace brindlemar
