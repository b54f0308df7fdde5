#include "core/status_commands.h"

#include "core/process_state.h"
#include "platform/desktop.h"

namespace brindlemar {
namespace {

Status answerPermission(const Fields& request, CommandContext& context,
                        platform::Permission permission) {
    auto& service = context.desktop.permissions();
    bool granted =
        request.flag("request") ? service.request(permission) : service.check(permission);
    context.state.out.emitLine(Json{{"type", "permission"}, {"granted", granted}});
    return {};
}

}  // namespace

Status handleCapabilities(const Fields&, CommandContext& context) {
    const auto& state = context.state;
    context.state.out.emitLine(Json{
        {"type", "capabilities"},
        {"observation_during_cast", true},
        {"bounded_control", 1},
        {"original_pixels", 1},
        {"watch", state.watchProtocol},
        {"files", state.filesProtocolVersion},
    });
    return {};
}

Status handlePermission(const Fields& request, CommandContext& context) {
    return answerPermission(request, context, platform::Permission::ScreenRecording);
}

Status handleAxPermission(const Fields& request, CommandContext& context) {
    return answerPermission(request, context, platform::Permission::Accessibility);
}

Status handleWatchPermission(const Fields& request, CommandContext& context) {
    return answerPermission(request, context, platform::Permission::InputMonitoring);
}

Status handlePing(const Fields&, CommandContext& context) {
    context.state.out.emitLine(Json{{"type", "pong"}});
    return {};
}

}  // namespace brindlemar
