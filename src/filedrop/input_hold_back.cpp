#include "filedrop/input_hold_back.h"

#include <mutex>
#include <string>

#include "core/fields.h"
#include "core/process_state.h"
#include "platform/pasteboards.h"

namespace brindlemar {

bool heldBackForFileDrop(ProcessState& state, platform::Pasteboards& pasteboards,
                         const nlohmann::json& event) {
    Fields fields(event);
    std::string kind = fields.string("kind", "");
    if (kind == "mouse" && fields.string("action", "") == "down") {
        noteMousePress(state, pasteboards);
    }
    return (kind == "mouse" || kind == "scroll") && isFileDropActive(state);
}

void setFileDropActive(ProcessState& state, bool active) {
    std::lock_guard lock(state.fileDropLock);
    state.fileDropActive = active;
}

bool isFileDropActive(ProcessState& state) {
    std::lock_guard lock(state.fileDropLock);
    return state.fileDropActive;
}

void noteMousePress(ProcessState& state, platform::Pasteboards& pasteboards) {
    state.dragPasteboardBaseline = pasteboards.dragPasteboardChangeCount();
}

}  // namespace brindlemar
