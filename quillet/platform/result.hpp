#pragma once
// Failures as values: a Result carries either a value or an Error (errno plus the context it
// happened in). No exception crosses a module border.
#include <cerrno>
#include <string>
#include <utility>
#include <variant>

namespace kelvor {

struct Error {
    int code = 0;          // errno, or 0 for a failure that has no errno
    std::string context;   // what was being done, usually with the path
    // "context: strerror(code)", or just the context when code is 0.
    std::string describe() const;
};

// The one helper that turns errno into an Error.
Error errnoError(std::string context, int code = errno);

template <typename T>
class [[nodiscard]] Result {
public:
    Result(T value) : state_(std::move(value)) {}
    Result(Error error) : state_(std::move(error)) {}

    bool ok() const { return state_.index() == 0; }
    explicit operator bool() const { return ok(); }
    T& value() { return std::get<0>(state_); }
    const T& value() const { return std::get<0>(state_); }
    T* operator->() { return &value(); }
    const T* operator->() const { return &value(); }
    T& operator*() { return value(); }
    const T& operator*() const { return value(); }
    const Error& error() const { return std::get<1>(state_); }

private:
    std::variant<T, Error> state_;
};

template <>
class [[nodiscard]] Result<void> {
public:
    Result() = default;
    Result(Error error) : error_(std::move(error)), failed_(true) {}
    bool ok() const { return !failed_; }
    explicit operator bool() const { return ok(); }
    const Error& error() const { return error_; }

private:
    Error error_;
    bool failed_ = false;
};

}  // namespace kelvor
