#pragma once

#include <ondrix/types/Arithmetic.h>

namespace ondrix {

/// Three components of one numeric type. A plain value; every operator applies one scalar to each component. Overflow
/// of integers wraps; integer division truncates toward zero.
template <Numeric T>
class Vector3 {
public:
    constexpr Vector3(T x, T y, T z) : x_(x), y_(y), z_(z) {}

    [[nodiscard]] static constexpr Vector3 zero() { return {T{0}, T{0}, T{0}}; }
    [[nodiscard]] static constexpr Vector3 one() { return {T{1}, T{1}, T{1}}; }

    [[nodiscard]] constexpr T x() const noexcept { return x_; }
    [[nodiscard]] constexpr T y() const noexcept { return y_; }
    [[nodiscard]] constexpr T z() const noexcept { return z_; }

    [[nodiscard]] friend constexpr bool operator==(Vector3 a, Vector3 b) {
        return a.x_ == b.x_ && a.y_ == b.y_ && a.z_ == b.z_;
    }
    template <ScalarFor<T> Scalar>
    [[nodiscard]] friend constexpr Vector3 operator+(Vector3 vector, Scalar scalar) {
        return {arithmetic::add(vector.x_, scalar), arithmetic::add(vector.y_, scalar),
                arithmetic::add(vector.z_, scalar)};
    }
    template <ScalarFor<T> Scalar>
    [[nodiscard]] friend constexpr Vector3 operator-(Vector3 vector, Scalar scalar) {
        return {arithmetic::subtract(vector.x_, scalar), arithmetic::subtract(vector.y_, scalar),
                arithmetic::subtract(vector.z_, scalar)};
    }
    template <ScalarFor<T> Scalar>
    [[nodiscard]] friend constexpr Vector3 operator*(Vector3 vector, Scalar scalar) {
        return {arithmetic::multiply(vector.x_, scalar), arithmetic::multiply(vector.y_, scalar),
                arithmetic::multiply(vector.z_, scalar)};
    }
    template <ScalarFor<T> Scalar>
    [[nodiscard]] friend constexpr Vector3 operator/(Vector3 vector, Scalar scalar) {
        return {arithmetic::divide(vector.x_, scalar), arithmetic::divide(vector.y_, scalar),
                arithmetic::divide(vector.z_, scalar)};
    }

private:
    T x_;
    T y_;
    T z_;
};

}  // namespace ondrix
