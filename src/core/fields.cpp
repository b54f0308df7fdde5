#include "core/fields.h"

#include <cmath>
#include <limits>

#include "base/text.h"

namespace brindlemar {

std::optional<std::int64_t> jsonInteger(const nlohmann::json& value) {
    switch (value.type()) {
        case nlohmann::json::value_t::boolean:
            return value.get<bool>() ? 1 : 0;
        case nlohmann::json::value_t::number_integer:
            return value.get<std::int64_t>();
        case nlohmann::json::value_t::number_unsigned:
            return static_cast<std::int64_t>(value.get<std::uint64_t>());
        case nlohmann::json::value_t::number_float: {
            double d = std::trunc(value.get<double>());
            if (std::isnan(d)) return 0;
            constexpr double kLimit = 9223372036854775808.0;  // 2^63
            if (d >= kLimit) return std::numeric_limits<std::int64_t>::max();
            if (d < -kLimit) return std::numeric_limits<std::int64_t>::min();
            return static_cast<std::int64_t>(d);
        }
        default:
            return std::nullopt;
    }
}

const nlohmann::json* Fields::find(std::string_view key) const {
    if (!object_.is_object()) return nullptr;
    auto it = object_.find(key);
    return it == object_.end() ? nullptr : &*it;
}

std::optional<std::int64_t> Fields::number(std::string_view key) const {
    const auto* value = find(key);
    return value ? jsonInteger(*value) : std::nullopt;
}

std::optional<double> Fields::real(std::string_view key) const {
    const auto* value = find(key);
    if (value == nullptr) return std::nullopt;
    if (value->is_boolean()) return value->get<bool>() ? 1.0 : 0.0;
    if (value->is_number()) return value->get<double>();
    return std::nullopt;
}

std::optional<std::uint32_t> Fields::windowNumber(std::string_view key) const {
    auto value = number(key);
    if (!value) return std::nullopt;
    return static_cast<std::uint32_t>(static_cast<std::uint64_t>(*value));
}

bool Fields::flag(std::string_view key) const {
    const auto* value = find(key);
    if (value == nullptr) return false;
    if (value->is_boolean()) return value->get<bool>();
    if (value->is_number()) return value->get<double>() != 0.0;
    return false;
}

bool Fields::exactBool(std::string_view key) const {
    const auto* value = find(key);
    if (value == nullptr) return false;
    if (value->is_boolean()) return value->get<bool>();
    if (value->is_number()) return value->get<double>() == 1.0;
    return false;
}

std::optional<std::string> Fields::string(std::string_view key) const {
    const auto* value = find(key);
    if (value == nullptr || !value->is_string()) return std::nullopt;
    return value->get<std::string>();
}

const nlohmann::json* Fields::object(std::string_view key) const {
    const auto* value = find(key);
    return value != nullptr && value->is_object() ? value : nullptr;
}

std::string Fields::text(std::string_view key) const {
    return boundedText(valueText(find(key)), kMaxReportedCharacters);
}

}  // namespace brindlemar
