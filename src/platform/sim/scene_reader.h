#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include <nlohmann/json.hpp>

#include "platform/geometry.h"
#include "platform/sim/colour.h"

namespace brindlemar::platform::sim {

// A fault in a scene document: the JSON path of the bad value and what is wrong with it.
struct SceneFault {
    std::string path;
    std::string fault;
};

// Typed reads of scene values that throw SceneFault naming the value's path. Each reader takes
// the value and its path; "nullable" readers answer absent for JSON null.
namespace read {

using Json = nlohmann::json;

std::string member(const std::string& path, std::string_view key);
std::string element(const std::string& path, std::size_t index);
[[noreturn]] void fail(const std::string& path, std::string fault);

const Json& object(const Json& value, const std::string& path);
const Json& array(const Json& value, const std::string& path);
bool boolean(const Json& value, const std::string& path);
double number(const Json& value, const std::string& path);
std::int64_t integer(const Json& value, const std::string& path, std::int64_t min,
                     std::int64_t max);
std::uint32_t id(const Json& value, const std::string& path);
std::int32_t pid(const Json& value, const std::string& path);
std::string string(const Json& value, const std::string& path);
std::vector<std::string> strings(const Json& value, const std::string& path);
Colour colour(const Json& value, const std::string& path);
Rect rect(const Json& value, const std::string& path);    // [x, y, width, height], sizes >= 0
Point point(const Json& value, const std::string& path);  // [x, y]
Size size(const Json& value, const std::string& path);    // [width, height], both >= 0
// [width, height] as an application may report it: any finite numbers, negative ones included.
Size reportedSize(const Json& value, const std::string& path);

template <class T, class Reader>
std::optional<T> nullable(const Json& value, const std::string& path, Reader reader) {
    if (value.is_null()) return std::nullopt;
    return reader(value, path);
}

// Calls `apply(value, path)` when `object` has `key`.
template <class Apply>
void ifPresent(const Json& object, const std::string& path, std::string_view key, Apply apply) {
    auto it = object.find(key);
    if (it == object.end()) return;
    const std::string valuePath = member(path, key);
    apply(*it, valuePath);
}

}  // namespace read
}  // namespace brindlemar::platform::sim
