#pragma once

#include <cassert>
#include <concepts>
#include <limits>
#include <type_traits>

#include <ondrix/types/Int.h>

namespace ondrix {

/// Element type of the size and vector types: any integer or floating-point type.
template <class T>
concept Numeric = std::is_arithmetic_v<T> && std::same_as<T, std::remove_cv_t<T>> && !std::same_as<T, bool>;

/// What elements of type T are calculated with: integers with integers only, so that no fraction is lost unseen.
template <class Scalar, class T>
concept ScalarFor = Numeric<Scalar> &&(std::floating_point<T> || std::integral<Scalar>);

/// Arithmetic that is defined for every operand. Integers wrap around on overflow; floating-point types follow IEEE.
namespace arithmetic {

/// An unsigned type that no operand of integer type T is promoted away from.
template <std::integral T>
using Wrapping = std::common_type_t<std::make_unsigned_t<T>, unsigned>;

template <Numeric T, ScalarFor<T> Scalar>
constexpr T add(T a, Scalar scalar) {
    const auto b = static_cast<T>(scalar);
    if constexpr (std::integral<T>)
        return static_cast<T>(static_cast<Wrapping<T>>(a) + static_cast<Wrapping<T>>(b));
    else
        return a + b;
}

template <Numeric T, ScalarFor<T> Scalar>
constexpr T subtract(T a, Scalar scalar) {
    const auto b = static_cast<T>(scalar);
    if constexpr (std::integral<T>)
        return static_cast<T>(static_cast<Wrapping<T>>(a) - static_cast<Wrapping<T>>(b));
    else
        return a - b;
}

template <Numeric T, ScalarFor<T> Scalar>
constexpr T multiply(T a, Scalar scalar) {
    const auto b = static_cast<T>(scalar);
    if constexpr (std::integral<T>)
        return static_cast<T>(static_cast<Wrapping<T>>(a) * static_cast<Wrapping<T>>(b));
    else
        return a * b;
}

/// Integers truncate toward zero; dividing one by zero is a broken precondition that yields 0.
template <Numeric T, ScalarFor<T> Scalar>
constexpr T divide(T a, Scalar scalar) {
    const auto b = static_cast<T>(scalar);
    if constexpr (std::integral<T>) {
        assert(b != 0);
        if (b == 0) return 0;
        if constexpr (std::signed_integral<T>) {
            if (b == -1) return subtract(T{0}, a);  // the smallest value has no positive twin
        }
        return static_cast<T>(a / b);
    } else {
        return a / b;
    }
}

/// Toward zero; values beyond the range become its nearest end, NaN becomes 0.
constexpr Int truncate(double value) {
    constexpr double end = 0x1p63;  // the first value above the range; its negative is in range
    if (value >= end) return std::numeric_limits<Int>::max();
    if (value <= -end) return std::numeric_limits<Int>::min();
    return value == value ? static_cast<Int>(value) : 0;
}

}  // namespace arithmetic

}  // namespace ondrix
