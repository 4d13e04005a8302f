#pragma once

#include <ondrix/types/Arithmetic.h>

namespace ondrix {

/// Two components of one numeric type. A plain value; every operator applies one scalar to each component. Overflow of
/// integers wraps; integer division truncates toward zero.
template <Numeric T>
class Vector2 {
public:
    constexpr Vector2(T x, T y) : x_(x), y_(y) {}

    [[nodiscard]] static constexpr Vector2 zero() { return {T{0}, T{0}}; }
    [[nodiscard]] static constexpr Vector2 one() { return {T{1}, T{1}}; }

    [[nodiscard]] constexpr T x() const noexcept { return x_; }
    [[nodiscard]] constexpr T y() const noexcept { return y_; }

    [[nodiscard]] friend constexpr bool operator==(Vector2 a, Vector2 b) { return a.x_ == b.x_ && a.y_ == b.y_; }
    template <ScalarFor<T> Scalar>
    [[nodiscard]] friend constexpr Vector2 operator+(Vector2 vector, Scalar scalar) {
        return {arithmetic::add(vector.x_, scalar), arithmetic::add(vector.y_, scalar)};
    }
    template <ScalarFor<T> Scalar>
    [[nodiscard]] friend constexpr Vector2 operator-(Vector2 vector, Scalar scalar) {
        return {arithmetic::subtract(vector.x_, scalar), arithmetic::subtract(vector.y_, scalar)};
    }
    template <ScalarFor<T> Scalar>
    [[nodiscard]] friend constexpr Vector2 operator*(Vector2 vector, Scalar scalar) {
        return {arithmetic::multiply(vector.x_, scalar), arithmetic::multiply(vector.y_, scalar)};
    }
    template <ScalarFor<T> Scalar>
    [[nodiscard]] friend constexpr Vector2 operator/(Vector2 vector, Scalar scalar) {
        return {arithmetic::divide(vector.x_, scalar), arithmetic::divide(vector.y_, scalar)};
    }

private:
    T x_;
    T y_;
};

}  // namespace ondrix
