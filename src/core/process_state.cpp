#include "core/process_state.h"

#include <charconv>
#include <cstring>

namespace brindlemar {

std::int32_t parseCancelDescriptor(const char* value) {
    if (value == nullptr || *value == '\0') return -1;
    std::string_view text(value);
    bool negative = false;
    if (text.front() == '+' || text.front() == '-') {
        negative = text.front() == '-';
        text.remove_prefix(1);
    }
    if (text.empty()) return -1;
    for (char c : text) {
        if (c < '0' || c > '9') return -1;
    }
    std::int64_t magnitude = 0;
    for (char c : text) {
        magnitude = magnitude * 10 + (c - '0');
        if (magnitude > 2147483648LL) return -1;
    }
    std::int64_t result = negative ? -magnitude : magnitude;
    if (result > 2147483647LL || result < -2147483648LL) return -1;
    return static_cast<std::int32_t>(result);
}

ProcessState::ProcessState(int stdoutFd, const char* cancelFdVariable)
    : out(stdoutFd), controlCancelFD(parseCancelDescriptor(cancelFdVariable)) {}

}  // namespace brindlemar
