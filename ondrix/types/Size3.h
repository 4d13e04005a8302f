#pragma once

#include <ondrix/types/Arithmetic.h>

namespace ondrix {

/// Width, height and depth of one numeric type. A plain value; every operator applies one scalar to each side. Overflow
/// of integers wraps; integer division truncates toward zero.
template <Numeric T>
class Size3 {
public:
    constexpr Size3(T width, T height, T depth) : width_(width), height_(height), depth_(depth) {}

    [[nodiscard]] static constexpr Size3 zero() { return {T{0}, T{0}, T{0}}; }
    [[nodiscard]] static constexpr Size3 one() { return {T{1}, T{1}, T{1}}; }

    [[nodiscard]] constexpr T width() const noexcept { return width_; }
    [[nodiscard]] constexpr T height() const noexcept { return height_; }
    [[nodiscard]] constexpr T depth() const noexcept { return depth_; }

    [[nodiscard]] friend constexpr bool operator==(Size3 a, Size3 b) {
        return a.width_ == b.width_ && a.height_ == b.height_ && a.depth_ == b.depth_;
    }
    template <ScalarFor<T> Scalar>
    [[nodiscard]] friend constexpr Size3 operator+(Size3 size, Scalar scalar) {
        return {arithmetic::add(size.width_, scalar), arithmetic::add(size.height_, scalar),
                arithmetic::add(size.depth_, scalar)};
    }
    template <ScalarFor<T> Scalar>
    [[nodiscard]] friend constexpr Size3 operator-(Size3 size, Scalar scalar) {
        return {arithmetic::subtract(size.width_, scalar), arithmetic::subtract(size.height_, scalar),
                arithmetic::subtract(size.depth_, scalar)};
    }
    template <ScalarFor<T> Scalar>
    [[nodiscard]] friend constexpr Size3 operator*(Size3 size, Scalar scalar) {
        return {arithmetic::multiply(size.width_, scalar), arithmetic::multiply(size.height_, scalar),
                arithmetic::multiply(size.depth_, scalar)};
    }
    template <ScalarFor<T> Scalar>
    [[nodiscard]] friend constexpr Size3 operator/(Size3 size, Scalar scalar) {
        return {arithmetic::divide(size.width_, scalar), arithmetic::divide(size.height_, scalar),
                arithmetic::divide(size.depth_, scalar)};
    }

private:
    T width_;
    T height_;
    T depth_;
};

}  // namespace ondrix
