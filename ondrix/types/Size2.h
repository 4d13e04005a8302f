#pragma once

#include <ondrix/platform/foundation/CGSize.h>
#include <ondrix/types/Arithmetic.h>
#include <ondrix/types/Int.h>

namespace ondrix {

/// Width and height of one numeric type; `Size2<Int>` counts pixels. A plain value; every operator applies one scalar
/// to each side, an integer where the sides are integers. Overflow of integers wraps; integer division truncates toward
/// zero.
template <Numeric T>
class Size2 {
public:
    constexpr Size2(T width, T height) : width_(width), height_(height) {}
    /// Both sides truncated toward zero; values beyond the range of `Int` become its nearest end, NaN becomes 0.
    constexpr explicit Size2(CGSize size) requires std::same_as<T, Int> : width_(arithmetic::truncate(size.width)),
                                                                          height_(arithmetic::truncate(size.height)) {}

    [[nodiscard]] static constexpr Size2 zero() { return {T{0}, T{0}}; }
    [[nodiscard]] static constexpr Size2 one() { return {T{1}, T{1}}; }

    [[nodiscard]] constexpr T width() const noexcept { return width_; }
    [[nodiscard]] constexpr T height() const noexcept { return height_; }
    [[nodiscard]] constexpr bool isZero() const noexcept { return width_ == T{0} && height_ == T{0}; }

    [[nodiscard]] friend constexpr bool operator==(Size2 a, Size2 b) {
        return a.width_ == b.width_ && a.height_ == b.height_;
    }
    template <ScalarFor<T> Scalar>
    [[nodiscard]] friend constexpr Size2 operator+(Size2 size, Scalar scalar) {
        return {arithmetic::add(size.width_, scalar), arithmetic::add(size.height_, scalar)};
    }
    template <ScalarFor<T> Scalar>
    [[nodiscard]] friend constexpr Size2 operator-(Size2 size, Scalar scalar) {
        return {arithmetic::subtract(size.width_, scalar), arithmetic::subtract(size.height_, scalar)};
    }
    template <ScalarFor<T> Scalar>
    [[nodiscard]] friend constexpr Size2 operator*(Size2 size, Scalar scalar) {
        return {arithmetic::multiply(size.width_, scalar), arithmetic::multiply(size.height_, scalar)};
    }
    template <ScalarFor<T> Scalar>
    [[nodiscard]] friend constexpr Size2 operator/(Size2 size, Scalar scalar) {
        return {arithmetic::divide(size.width_, scalar), arithmetic::divide(size.height_, scalar)};
    }

private:
    T width_;
    T height_;
};

/// `Size2(640, 480)` is a size in pixels.
Size2(int, int)->Size2<Int>;

}  // namespace ondrix
