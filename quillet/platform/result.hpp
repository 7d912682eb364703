#pragma once
// Failures as values: a Result carries either a value or an Error (errno, what it means, and the
// context it happened in). No exception crosses a module border.
#include <cerrno>
#include <string>
#include <utility>
#include <variant>

namespace kelvor {

// What a failure means to the caller, decided once from errno so that no caller sorts errno
// values itself.
enum class ErrorKind {
    notFound,     // ENOENT, ENOTDIR: nothing is at the path
    denied,       // EACCES, EPERM, EROFS: not allowed
    exists,       // EEXIST, ENOTEMPTY: something is already there
    noSpace,      // ENOSPC, EDQUOT: the disk or the quota is full
    crossDevice,  // EXDEV: the move would cross file systems
    busy,         // EBUSY, ETXTBSY, EWOULDBLOCK: in use, or a lock is held elsewhere
    other,        // anything else, and failures without an errno
};

// The kind of an errno value; ErrorKind::other for 0 and for values not listed above.
ErrorKind errorKindOf(int code);

struct Error {
    int code = 0;                        // errno, or 0 for a failure that has no errno
    std::string context;                 // what was being done, usually with the path
    ErrorKind kind = ErrorKind::other;   // set from `code` by the constructor

    Error() = default;
    // A failure with errno `code` (0 when there is none); the kind follows from the code.
    Error(int code, std::string context) : code(code), context(std::move(context)), kind(errorKindOf(code)) {}
    // A failure without an errno that still has a meaning (a fake in a test, a refused move).
    Error(ErrorKind kind, std::string context) : context(std::move(context)), kind(kind) {}

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
