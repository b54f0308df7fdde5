#include "semantics/guard_fields.h"

#include <cmath>

namespace brindlemar::semantics {

std::optional<double> numberField(const nlohmann::json* value) {
    if (value == nullptr) return std::nullopt;
    if (value->is_boolean()) return value->get<bool>() ? 1.0 : 0.0;
    if (value->is_number()) return value->get<double>();
    return std::nullopt;
}

std::optional<std::int64_t> integerField(const nlohmann::json* value) {
    if (value == nullptr) return std::nullopt;
    if (value->is_boolean()) return value->get<bool>() ? 1 : 0;
    if (value->is_number_integer()) return value->get<std::int64_t>();
    if (value->is_number_unsigned()) {
        auto unsignedValue = value->get<std::uint64_t>();
        if (unsignedValue > static_cast<std::uint64_t>(INT64_MAX)) return std::nullopt;
        return static_cast<std::int64_t>(unsignedValue);
    }
    if (value->is_number_float()) {
        double number = value->get<double>();
        constexpr double kLimit = 9223372036854775808.0;  // 2^63
        if (!std::isfinite(number) || number != std::trunc(number)) return std::nullopt;
        if (number >= kLimit || number < -kLimit) return std::nullopt;
        return static_cast<std::int64_t>(number);
    }
    return std::nullopt;
}

}  // namespace brindlemar::semantics
