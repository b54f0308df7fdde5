#include "semantics/semantic_commands.h"

#include "core/process_state.h"
#include "semantics/snapshot.h"

namespace brindlemar {

Status SemanticCommands::semanticSnapshot(const Fields& request, CommandContext& context) {
    auto window = request.windowNumber("window").value_or(0);
    auto generation = request.number("generation", 0);
    return semantics::semanticSnapshot(state_, ids_, context.desktop, context.state.out, window,
                                       generation, request.text("request_id"));
}

}  // namespace brindlemar
