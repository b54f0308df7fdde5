#include "filedrop/input_hold_back.h"

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
    return (kind == "mouse" || kind == "scroll") && state.fileDrop.active();
}

void noteMousePress(ProcessState& state, platform::Pasteboards& pasteboards) {
    state.dragPasteboardBaseline = pasteboards.dragPasteboardChangeCount();
}

}  // namespace brindlemar
