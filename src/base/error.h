#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <variant>

namespace brindlemar {

// The failure of an operation: the command loop reports `message`; `domain` and `code`
// let callers and tests tell failures apart without parsing text.
struct Error {
    std::string domain;
    std::int64_t code = 0;
    std::string message;
};

inline constexpr const char* kBrindlemarDomain = "brindlemar";

// A value or the Error that prevented it.
template <class T>
class Expected {
  public:
    Expected(T value) : state_(std::move(value)) {}      // NOLINT(google-explicit-constructor)
    Expected(Error error) : state_(std::move(error)) {}  // NOLINT(google-explicit-constructor)

    bool ok() const { return std::holds_alternative<T>(state_); }
    explicit operator bool() const { return ok(); }

    T& value() & { return std::get<T>(state_); }
    const T& value() const& { return std::get<T>(state_); }
    T&& value() && { return std::get<T>(std::move(state_)); }
    T* operator->() { return &value(); }
    const T* operator->() const { return &value(); }
    T& operator*() & { return value(); }
    const T& operator*() const& { return value(); }

    const Error& error() const { return std::get<Error>(state_); }
    Error&& takeError() && { return std::get<Error>(std::move(state_)); }

  private:
    std::variant<T, Error> state_;
};

// Success, or the Error of a failed operation that returns nothing.
class Status {
  public:
    Status() = default;
    Status(Error error) : error_(std::move(error)), failed_(true) {}  // NOLINT

    static Status success() { return {}; }
    bool ok() const { return !failed_; }
    explicit operator bool() const { return ok(); }
    const Error& error() const { return error_; }

  private:
    Error error_;
    bool failed_ = false;
};

}  // namespace brindlemar
