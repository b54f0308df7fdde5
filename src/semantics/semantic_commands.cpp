#include "semantics/semantic_commands.h"

#include "core/process_state.h"
#include "semantics/semantic_actions.h"
#include "semantics/snapshot.h"

namespace brindlemar {

Status SemanticCommands::semanticSnapshot(const Fields& request, CommandContext& context) {
    auto window = request.windowNumber("window").value_or(0);
    auto generation = request.number("generation", 0);
    return semantics::semanticSnapshot(state_, ids_, context.desktop, context.state.out, window,
                                       generation, request.text("request_id"));
}

Status SemanticCommands::semanticAction(const Fields& request, CommandContext& context) {
    return semantics::semanticAction(state_, context.desktop, context.state.out, request);
}

Status SemanticCommands::guardedSemanticAction(const Fields& request, CommandContext& context) {
    context.state.out.emitLine(
        semantics::guardedSemanticAction(state_, context.state, context.desktop, request));
    return Status::success();
}

}  // namespace brindlemar
