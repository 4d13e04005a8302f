// Functions of numbers: the plain level against the C library in double precision, every other level against it.
#include <array>
#include <bit>
#include <cmath>
#include <limits>

#include <gtest/gtest.h>
#include <tests/support/SimdLevels.h>

#include "Modules.h"

using namespace modules;

namespace {

using Numbers = std::array<float, 4>;
constexpr int width = 512, height = 512;
constexpr float infinity = std::numeric_limits<float>::infinity(), nan = std::numeric_limits<float>::quiet_NaN();

/// All pairs of special numbers, numbers of every size with each other, and numbers whose powers are in range.
Numbers input(int i) {
    constexpr float special[] = {0,     -0.0f,       1,          -1,       infinity, -infinity, nan,    0.5f,
                                 -0.5f, 0.49999997f, 2,          -2.5f,    3,        -3,        1e-40f, -1e-45f,
                                 1e38f, -1e38f,      8388607.5f, 16777218, -150,     128};
    constexpr int count = std::size(special);
    if (i < count * count) return {special[i % count], special[i / count], 0, 0};
    const auto bits = static_cast<std::uint32_t>(i) * 2654435761u;
    const float any = std::bit_cast<float>(bits), other = std::bit_cast<float>(bits * 1664525 + 1013904223);
    const float small = static_cast<float>(bits >> 8) * 0x1p-20f;
    switch (i % 3) {
        case 0:
            return {any, other, 0, 0};
        case 1:
            return {small, 40 * std::sin(static_cast<float>(i)), 0, 0};
        default:
            return {1 + (small - 8) * 0x1p-5f, static_cast<float>(i % 4001 - 2000) * 0.1f, 0, 0};
    }
}

/// The distance of `result` from the exact number, in steps between floats there; signs of zeros count.
double error(float result, double exact) {
    const auto nearest = static_cast<float>(exact);
    if (std::isnan(exact)) return std::bit_cast<std::uint32_t>(result) == 0x7fc00000 ? 0 : HUGE_VAL;
    if (result == nearest && (result == 0 || std::isinf(result))) return std::signbit(result) != std::signbit(nearest);
    const auto limited = [](double value) { return std::copysign(std::fmin(std::abs(value), 0x1p128), value); };
    const int exponent = std::ilogb(std::fmin(std::abs(exact), 0x1p127));
    return std::abs(limited(result) - limited(exact)) / std::ldexp(1.0, std::max(exponent, -126) - 23);
}

struct Function {
    const char* name;
    std::array<double (*)(double, double), 4> exact;
    Numbers most;            ///< errors
    float limit = infinity;  ///< of the numbers that these hold for
};
const Function functions[] = {
    {"Powers",
     {[](double x, double) { return std::exp2(x); }, [](double x, double) { return std::exp(x); },
      [](double x, double) { return std::log2(x); }, [](double x, double) { return std::log(x); }},
     {1.2f, 1.2f, 0.6f, 0.6f}},
    {"Angles",
     {[](double x, double) { return std::sin(x); }, [](double x, double) { return std::cos(x); },
      [](double x, double) { return std::tan(x); }, [](double y, double x) { return std::atan2(y, x); }},
     {1.2f, 1.2f, 3, 2},
     1e5f},
    {"Rest",
     {[](double x, double y) { return std::pow(x, y); }, [](double x, double) { return std::round(x); },
      [](double, double y) { return std::round(y); }, [](double x, double) { return double(x > 0) - double(x < 0); }},
     {1.5f, 0, 0, 0}},
};

class MathTest : public testing::TestWithParam<std::string> {};

}  // namespace

// Rounding twice, a coefficient or a limit gone wrong, a step that a compiler fuses at one level.
TEST_P(MathTest, IsAsExactAsItSaysAndTheSameAtEveryLevel) {
    if (!ondrix::test::runsHere(GetParam())) GTEST_SKIP() << "this processor lacks " << GetParam();
    Image numbers(width, height, Format::rgba32f, 0);
    for (int i = 0; i < width * height; i++) std::memcpy(numbers.pixel(i % width, i / width), input(i).data(), 16);
    for (const Function& function : functions) {
        Image plain(width, height, Format::rgba32f, 0), result(width, height, Format::rgba32f, 0);
        dispatch(open(TEST_LIBRARY, "plain"), function.name, {numbers.view(), plain.view()}, width, height, nullptr);
        dispatch(open(TEST_LIBRARY, GetParam()), function.name, {numbers.view(), result.view()}, width, height,
                 nullptr);
        ASSERT_TRUE(plain.bytes() == result.bytes()) << function.name;
        for (int i = 0; i < width * height; i++) {
            const auto [x, y, unusedZ, unusedW] = input(i);
            Numbers got;
            std::memcpy(got.data(), plain.pixel(i % width, i / width), 16);
            for (std::size_t f = 0; f < 4 && !(std::abs(x) > function.limit && std::isfinite(x) && f < 3); f++) {
                const double exact = function.exact[f](x, y);
                ASSERT_LE(error(got[f], exact), function.most[f])
                    << function.name << " " << f << " of " << x << ", " << y << ": " << got[f] << ", not " << exact;
            }
        }
    }
}

// A wrong sign or component, and a zero vector that is divided by its length.
TEST_P(MathTest, DirectionsAreAsTheyShouldBe) {
    if (!ondrix::test::runsHere(GetParam())) GTEST_SKIP() << "this processor lacks " << GetParam();
    Image numbers(33, 9, Format::rgba32f, 5), result(33, 9, Format::rgba32f, 0);
    std::memset(numbers.pixel(0, 0), 0, 16);
    dispatch(open(TEST_LIBRARY, GetParam()), "Directions", {numbers.view(), result.view()}, 33, 9, nullptr);
    for (int i = 0; i < 33 * 9; i++) {
        Numbers got;
        std::memcpy(got.data(), result.pixel(i % 33, i / 33), 16);
        for (std::size_t k = 0; k < 4; k++) EXPECT_NEAR(got[k], k == 0 && i > 0 ? 1 : 0, 1e-5) << i << " " << k;
    }
}

INSTANTIATE_TEST_SUITE_P(Levels, MathTest, testing::ValuesIn(ondrix::test::builtLevels()),
                         [](const auto& test) { return ondrix::test::testName(test.param); });
