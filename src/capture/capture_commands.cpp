#include "capture/capture_commands.h"

#include "capture/inventory.h"
#include "capture/still_capture.h"
#include "core/process_state.h"

namespace brindlemar {
namespace {

constexpr std::int64_t kDefaultBudget = 1600;  // pixels on the longer side of a PNG capture

Status replyWithListing(CommandContext& context, const char* type, Expected<Json> listing) {
    if (!listing) return std::move(listing).takeError();
    context.state.out.emitLine(Json{{"type", type}, {type, std::move(*listing)}});
    return {};
}

Status replyWithFrame(CommandContext& context, Expected<capture::CaptureResult> capture,
                      const char* format) {
    if (!capture) return std::move(capture).takeError();
    context.state.out.emitFrame(capture->bytes(), capture->width, capture->height, capture->scale,
                                format);
    return {};
}

Status grabWindow(const Fields& request, CommandContext& context, std::int64_t maxPx,
                  bool originalPixels) {
    auto id = request.windowNumber("id");
    if (!id) {
        context.state.out.emitError("grab: missing id");
        return {};
    }
    return replyWithFrame(context, capture::grab(context.desktop, *id, maxPx, originalPixels),
                          originalPixels ? "RGBA" : "PNG");
}

}  // namespace

Status handleList(const Fields&, CommandContext& context) {
    return replyWithListing(context, "windows", capture::listWindows(context.desktop));
}

Status handleListDisplays(const Fields&, CommandContext& context) {
    return replyWithListing(context, "displays", capture::listDisplays(context.desktop));
}

Status handleGrab(const Fields& request, CommandContext& context) {
    return grabWindow(request, context, request.number("max_px", kDefaultBudget), false);
}

Status handleGrabPixels(const Fields& request, CommandContext& context) {
    return grabWindow(request, context, 0, true);
}

Status handleGrabDisplay(const Fields& request, CommandContext& context) {
    auto capture = capture::grabDisplay(context.desktop, request.windowNumber("id").value_or(0),
                                        request.number("max_px", kDefaultBudget),
                                        request.exactBool("exact"), false);
    return replyWithFrame(context, std::move(capture), "PNG");
}

Status handleGrabDisplayPixels(const Fields& request, CommandContext& context) {
    auto capture = capture::grabDisplay(context.desktop, request.windowNumber("id").value_or(0), 0,
                                        true, true);
    return replyWithFrame(context, std::move(capture), "RGBA");
}

}  // namespace brindlemar
