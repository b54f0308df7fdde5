#pragma once

#include <cstdint>
#include <optional>

#include <nlohmann/json.hpp>

// Reads of the fields that guarded operations require. Unlike the lenient field conventions, a
// value that is not exactly what the field needs counts as missing, and a missing required
// field refuses the operation.
namespace brindlemar::semantics {

// A JSON number (or boolean, true being 1) as a double; nothing for any other value.
std::optional<double> numberField(const nlohmann::json* value);

// A JSON number with no fraction (or a boolean) within the signed 64-bit range; nothing for a
// fraction, any other value or no value.
std::optional<std::int64_t> integerField(const nlohmann::json* value);

}  // namespace brindlemar::semantics
