#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

#include <nlohmann/json.hpp>

namespace brindlemar {

// Reads the fields of a request object (or of a nested object such as an input event) by the
// protocol's conventions. A value of the wrong JSON type counts as absent, so no field ever
// produces an error of its own: the caller falls back to its default or its check error.
class Fields {
  public:
    explicit Fields(const nlohmann::json& object) : object_(object) {}

    // A JSON number or boolean as a signed 64-bit integer, fraction dropped.
    std::optional<std::int64_t> number(std::string_view key) const;
    std::int64_t number(std::string_view key, std::int64_t fallback) const {
        return number(key).value_or(fallback);
    }
    // A JSON number or boolean as a double (true is 1, false 0).
    std::optional<double> real(std::string_view key) const;
    double real(std::string_view key, double fallback) const {
        return real(key).value_or(fallback);
    }
    // A window or display number: the low 32 bits of the number.
    std::optional<std::uint32_t> windowNumber(std::string_view key) const;
    // A flag: true when a JSON number or boolean is not zero, else false.
    bool flag(std::string_view key) const;
    // An exact boolean: a JSON boolean, or the numbers 0 and 1; anything else is false.
    bool exactBool(std::string_view key) const;
    // A JSON string; absent for any other type.
    std::optional<std::string> string(std::string_view key) const;
    std::string string(std::string_view key, std::string_view fallback) const {
        auto value = string(key);
        return value ? *value : std::string(fallback);
    }
    // A JSON object; null for any other type.
    const nlohmann::json* object(std::string_view key) const;
    // The bounded text of the value (see valueText and boundedText).
    std::string text(std::string_view key) const;

    const nlohmann::json* find(std::string_view key) const;
    const nlohmann::json& whole() const { return object_; }

  private:
    const nlohmann::json& object_;
};

// Converts a JSON number or boolean to a signed 64-bit integer, fraction dropped; doubles out of
// range saturate. Absent for every other type.
std::optional<std::int64_t> jsonInteger(const nlohmann::json& value);

}  // namespace brindlemar
