#include "core/command_table.h"

#include <stdexcept>

namespace brindlemar {

void CommandTable::add(std::string name, Handler handler) {
    if (find(name) != nullptr) throw std::logic_error("command registered twice: " + name);
    rows_.emplace_back(std::move(name), std::move(handler));
}

const Handler* CommandTable::find(std::string_view name) const {
    for (const auto& [rowName, handler] : rows_) {
        if (rowName == name) return &handler;
    }
    return nullptr;
}

std::vector<std::string> CommandTable::names() const {
    std::vector<std::string> result;
    result.reserve(rows_.size());
    for (const auto& row : rows_)
        result.push_back(row.first);
    return result;
}

}  // namespace brindlemar
