#include "platform/sim/scene_reader.h"

#include <cmath>
#include <limits>

namespace brindlemar::platform::sim::read {

std::string member(const std::string& path, std::string_view key) {
    if (path.empty()) return std::string(key);
    return path + "." + std::string(key);
}

std::string element(const std::string& path, std::size_t index) {
    return path + "[" + std::to_string(index) + "]";
}

void fail(const std::string& path, std::string fault) {
    throw SceneFault{path.empty() ? "$" : path, std::move(fault)};
}

const Json& object(const Json& value, const std::string& path) {
    if (!value.is_object()) fail(path, "must be an object");
    return value;
}

const Json& array(const Json& value, const std::string& path) {
    if (!value.is_array()) fail(path, "must be an array");
    return value;
}

bool boolean(const Json& value, const std::string& path) {
    if (!value.is_boolean()) fail(path, "must be true or false");
    return value.get<bool>();
}

double number(const Json& value, const std::string& path) {
    if (!value.is_number()) fail(path, "must be a number");
    double result = value.get<double>();
    if (!std::isfinite(result)) fail(path, "must be a finite number");
    return result;
}

std::int64_t integer(const Json& value, const std::string& path, std::int64_t min,
                     std::int64_t max) {
    if (!value.is_number()) fail(path, "must be an integer");
    if (value.is_number_unsigned() &&
        value.get<std::uint64_t>() > static_cast<std::uint64_t>(max)) {
        fail(path, "must be at most " + std::to_string(max));
    }
    double asDouble = value.get<double>();
    if (value.is_number_float() && asDouble != std::trunc(asDouble)) {
        fail(path, "must be an integer");
    }
    if (asDouble < static_cast<double>(min)) fail(path, "must be at least " + std::to_string(min));
    if (asDouble > static_cast<double>(max)) fail(path, "must be at most " + std::to_string(max));
    return value.is_number_float() ? static_cast<std::int64_t>(asDouble)
                                   : value.get<std::int64_t>();
}

std::uint32_t id(const Json& value, const std::string& path) {
    return static_cast<std::uint32_t>(
        integer(value, path, 0, std::numeric_limits<std::uint32_t>::max()));
}

std::int32_t pid(const Json& value, const std::string& path) {
    return static_cast<std::int32_t>(integer(value, path, std::numeric_limits<std::int32_t>::min(),
                                             std::numeric_limits<std::int32_t>::max()));
}

std::string string(const Json& value, const std::string& path) {
    if (!value.is_string()) fail(path, "must be a string");
    return value.get<std::string>();
}

std::vector<std::string> strings(const Json& value, const std::string& path) {
    std::vector<std::string> result;
    for (std::size_t i = 0; i < array(value, path).size(); ++i) {
        result.push_back(string(value[i], element(path, i)));
    }
    return result;
}

Colour colour(const Json& value, const std::string& path) {
    auto parsed = parseColour(string(value, path));
    if (!parsed) fail(path, "must be a colour \"#RRGGBB\" or \"#RRGGBBAA\"");
    return *parsed;
}

namespace {
std::vector<double> numbers(const Json& value, const std::string& path, std::size_t count) {
    if (!value.is_array() || value.size() != count) {
        fail(path, "must be an array of " + std::to_string(count) + " numbers");
    }
    std::vector<double> result;
    for (std::size_t i = 0; i < count; ++i)
        result.push_back(number(value[i], element(path, i)));
    return result;
}

void notNegative(double value, const std::string& path) {
    if (value < 0) fail(path, "must not be negative");
}
}  // namespace

Rect rect(const Json& value, const std::string& path) {
    auto v = numbers(value, path, 4);
    notNegative(v[2], element(path, 2));
    notNegative(v[3], element(path, 3));
    return Rect{v[0], v[1], v[2], v[3]};
}

Point point(const Json& value, const std::string& path) {
    auto v = numbers(value, path, 2);
    return Point{v[0], v[1]};
}

Size size(const Json& value, const std::string& path) {
    auto v = numbers(value, path, 2);
    notNegative(v[0], element(path, 0));
    notNegative(v[1], element(path, 1));
    return Size{v[0], v[1]};
}

Size reportedSize(const Json& value, const std::string& path) {
    auto v = numbers(value, path, 2);
    return Size{v[0], v[1]};
}

}  // namespace brindlemar::platform::sim::read
