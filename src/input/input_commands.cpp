#include "input/input_commands.h"

#include "core/process_state.h"
#include "filedrop/input_hold_back.h"
#include "input/input_event.h"
#include "input/input_routing.h"
#include "input/refused_release.h"
#include "input/window_raise.h"
#include "platform/desktop.h"

namespace brindlemar {
namespace {

void replyInput(CommandContext& context, const InputOutcome& outcome) {
    Json reply{{"type", "input"}, {"ok", outcome.ok}};
    if (outcome.error) reply["error"] = *outcome.error;
    context.state.out.emitLine(reply);
}

void replyActivate(CommandContext& context, const char* error) {
    Json reply{{"type", "activate"}, {"ok", error == nullptr}};
    if (error != nullptr) reply["error"] = error;
    context.state.out.emitLine(reply);
}

// Answers an outcome with the "input" record; a failure of the desktop goes back to the command
// loop, which answers it with an error record.
Status reply(CommandContext& context, const Expected<InputOutcome>& outcome) {
    if (!outcome) return outcome.error();
    replyInput(context, *outcome);
    return {};
}

// A drop in progress swallows pointer input: the parent is told it went through. A swallowed
// release still lets go of a button the helper's own press holds, which would otherwise stay
// down under the drag.
bool heldBack(CommandContext& context, const InputState& state, const InputEvent& event) {
    if (!heldBackForFileDrop(context.state, context.desktop.pasteboards(), event)) return false;
    letGoOfRefusedRelease(state, context.desktop.events(), event);
    replyInput(context, InputOutcome::success());
    return true;
}

}  // namespace

Status InputCommands::input(const Fields& request, CommandContext& context) {
    auto id = request.windowNumber("id");
    const Json* event = request.object("event");
    if (!id || event == nullptr) {
        context.state.out.emitError("input: missing id/event");
        return {};
    }
    // Parsed here, once: nothing below the handler reads the request's JSON.
    const InputEvent parsed = InputEvent::parse(*event);
    if (heldBack(context, state_, parsed)) return {};
    return reply(context, handleInput(state_, context.desktop, *id, parsed));
}

Status InputCommands::inputDisplay(const Fields& request, CommandContext& context) {
    std::uint32_t id = request.windowNumber("id").value_or(0);
    const Json* event = request.object("event");
    if (event == nullptr) {
        context.state.out.emitError("input_display: missing event");
        return {};
    }
    const InputEvent parsed = InputEvent::parse(*event);
    if (heldBack(context, state_, parsed)) return {};
    return reply(context, handleDisplayInput(state_, context.desktop, id, parsed));
}

Status InputCommands::activate(const Fields& request, CommandContext& context) {
    auto id = request.windowNumber("id");
    if (!id) {
        context.state.out.emitError("activate: missing id");
        return {};
    }
    if (auto reachable = context.desktop.reachable(); !reachable) return reachable;
    if (!context.desktop.permissions().check(platform::Permission::Accessibility)) {
        replyActivate(context, "accessibility_not_granted");
        return {};
    }
    auto window = windowBounds(context.desktop.windowList(), *id);
    if (!window) {
        replyActivate(context, "window_gone");
        return {};
    }
    raiseWindow(context.desktop, window->pid, window->frame);
    // Raising is asked of the window manager, which may not oblige (another workspace it
    // will not switch to, a window it keeps back): then the window is not reported activated.
    auto inFront = keysReachWindow(context.desktop, *id, window->pid);
    if (!inFront) return inFront.error();
    replyActivate(context, *inFront ? nullptr : kWindowNotInFront);
    return {};
}

}  // namespace brindlemar
