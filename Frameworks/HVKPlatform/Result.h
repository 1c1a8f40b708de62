// Result.h - the answer of a port: the value, or the one of six reasons why there is none.
//
// A module acts on the kind (an Unsupported question is never asked again) and absorbs the rest; `hvkstat doctor` shows
// source and detail to a person. No exception crosses a port.
//
//     Result<double> bootTime = machine.system().bootTime();
//     if (bootTime) boot = *bootTime;
//     else reason = bootTime.failure().detail;
#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

namespace hvk {

/// Why a port has no answer.
enum class FailureKind {
    Unsupported,  ///< This system has no such thing; never ask again.
    Absent,       ///< There is none now; there may be one later.
    Denied,       ///< The privilege is missing.
    Gone,         ///< It went away while it was read.
    Malformed,    ///< It was read and makes no sense (short, garbage, a counter that ran backwards).
    TimedOut,     ///< No answer within the time allowed.
};

/// The name of a kind as `doctor` prints it: "unsupported", "absent", "denied", "gone", "malformed", "timed out".
std::string_view failureKindName(FailureKind kind);

/// A failed question: what kind, which source ("/proc/stat", "host_processor_info"), and what was wrong with it.
struct Failure {
    FailureKind kind = FailureKind::Unsupported;
    std::string source;
    std::string detail;

    bool operator==(const Failure&) const = default;
};

/// Either a T or a Failure. Converts to true when it holds the value.
template <class T>
class [[nodiscard]] Result {
public:
    using ValueType = T;

    Result(T value) : content_(std::in_place_index<0>, std::move(value)) {}
    Result(Failure failure) : content_(std::in_place_index<1>, std::move(failure)) {}

    /// Whether there is a value.
    explicit operator bool() const { return content_.index() == 0; }
    bool hasValue() const { return content_.index() == 0; }

    /// The value; only when there is one.
    const T& operator*() const& { return *std::get_if<0>(&content_); }
    T& operator*() & { return *std::get_if<0>(&content_); }
    T&& operator*() && { return std::move(*std::get_if<0>(&content_)); }
    const T* operator->() const { return std::get_if<0>(&content_); }
    T* operator->() { return std::get_if<0>(&content_); }

    /// The value, or `fallback` when there is none.
    T valueOr(T fallback) const& { return hasValue() ? **this : std::move(fallback); }
    T valueOr(T fallback) && { return hasValue() ? std::move(**this) : std::move(fallback); }

    /// Why there is no value; only when there is none.
    const Failure& failure() const { return *std::get_if<1>(&content_); }

private:
    std::variant<T, Failure> content_;
};

/// The answer of a question that only succeeds or fails.
template <>
class [[nodiscard]] Result<void> {
public:
    Result() = default;
    Result(Failure failure) : failure_(std::move(failure)) {}

    /// Whether it succeeded.
    explicit operator bool() const { return !failure_; }
    bool hasValue() const { return !failure_; }

    /// Why it did not; only when it did not.
    const Failure& failure() const { return *failure_; }

private:
    std::optional<Failure> failure_;
};

using Status = Result<void>;

/// The answer of a port that this system cannot serve at all.
Failure unsupported(std::string source);

}  // namespace hvk
