#include "core/command_loop.h"

#include "base/json_nesting.h"
#include "base/text.h"
#include "core/line_reader.h"
#include "core/process_state.h"
#include "platform/desktop.h"

namespace brindlemar {

CommandLoop::CommandLoop(CommandTable table, CommandContext context, int inputFd)
    : table_(std::move(table)), context_(context), inputFd_(inputFd) {}

void CommandLoop::addEndOfInputStep(std::function<void()> step) {
    endOfInputSteps_.push_back(std::move(step));
}

void CommandLoop::serve() {
    LineReader reader(inputFd_);
    while (auto line = reader.next())
        handleLine(*line);
    for (auto& step : endOfInputSteps_)
        step();
}

void CommandLoop::handleLine(std::string_view line) {
    std::string_view trimmed = trimHorizontalSpace(line);
    if (trimmed.empty()) return;

    Json request = parseOutsideJson(trimmed);
    if (request.is_discarded() || !request.is_object()) {
        context_.state.out.emitError("bad request");
        return;
    }
    auto cmd = request.find("cmd");
    if (cmd == request.end() || !cmd->is_string()) {
        context_.state.out.emitError("bad request");
        return;
    }
    dispatch(cmd->get_ref<const std::string&>(), request);
}

void CommandLoop::dispatch(std::string_view name, const Json& request) {
    const Handler* handler = table_.find(name);
    if (handler == nullptr) {
        context_.state.out.emitError(std::string("unknown cmd: ").append(name));
        return;
    }
    // A desktop whose server went away gets the chance to reach it again before each request;
    // every handler then answers a server that is still gone in its own way.
    (void)context_.desktop.reachable();
    Fields fields(request);
    Status status = (*handler)(fields, context_);
    if (!status.ok()) reportFailure(name, fields, status.error());
}

void CommandLoop::reportFailure(std::string_view name, const Fields& request, const Error& error) {
    auto& out = context_.state.out;
    if (name.starts_with("semantic_")) {
        auto limit = static_cast<std::size_t>(context_.state.semanticMaxText);
        out.emitLine(Json{
            {"type", "semantic_status"},
            {"protocol", 1},
            {"request_id", boundedText(valueText(request.find("request_id")), limit)},
            {"granted", false},
            {"reason", boundedText(error.message, limit)},
        });
        return;
    }
    out.emitError(error.message);
}

}  // namespace brindlemar
