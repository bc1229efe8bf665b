// A value or the status that explains its absence.
#pragma once

#include "engine/base/status.h"

#include <optional>
#include <utility>

namespace tesk {

/// Success with a value of type T, or one error value of type E.
template <class T, class E>
class [[nodiscard]] Result {
public:
    Result(T value) : value_(std::move(value)) {}
    Result(E error) : error_(error) {}

    bool ok() const { return value_.has_value(); }
    explicit operator bool() const { return ok(); }
    T& operator*() { return *value_; }
    T* operator->() { return &*value_; }
    const T& operator*() const { return *value_; }
    const T* operator->() const { return &*value_; }
    E status() const { return error_; }

private:
    std::optional<T> value_;
    E error_{};
};

/// Success, or one error value. `Status` is what every step of the engine returns.
template <class E>
class [[nodiscard]] Result<void, E> {
public:
    Result() = default;
    Result(E error) : error_(error) {}

    bool ok() const { return error_ == E{}; }
    explicit operator bool() const { return ok(); }
    E status() const { return error_; }

private:
    E error_{};
};

using Status = Result<void, PDM_ENCODING_STATUS>;

} // namespace tesk
