#include "semantics/semantic_commands.h"

#include "core/process_state.h"
#include "semantics/bounded_control.h"
#include "semantics/control_context.h"
#include "semantics/semantic_actions.h"
#include "semantics/snapshot.h"

namespace brindlemar {

Status SemanticCommands::control(const Fields& request, CommandContext& context) {
    context.state.out.emitLine(
        semantics::boundedControl(context.state, context.desktop, vkMap_, request.whole()));
    return Status::success();
}

Status SemanticCommands::controlContext(const Fields&, CommandContext& context) {
    auto focus = semantics::desktopControlContext(context.desktop);
    context.state.out.emitLine(
        {{"type", "control_context"}, {"focus", focus ? std::move(*focus) : Json(nullptr)}});
    return Status::success();
}

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
