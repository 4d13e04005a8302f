#include <cmath>
#include <limits>

#include <gtest/gtest.h>

#include <ondrix/Ondrix.h>

namespace ondrix {
namespace {

using testing::internal::CaptureStdout;
using testing::internal::GetCapturedStdout;

constexpr Int smallest = std::numeric_limits<Int>::min();
constexpr Int largest = std::numeric_limits<Int>::max();

TEST(Sizes, AnOperatorAppliesOneScalarToEverySide) {
    EXPECT_EQ((Size2<Int>{640, 480} / 2), (Size2<Int>{320, 240}));
    EXPECT_EQ((Size2<Int>{5, -7} / 2), (Size2<Int>{2, -3})) << "integer division truncates toward zero";
    EXPECT_EQ((Size3<int>{1, 2, 3} * 3), (Size3<int>{3, 6, 9}));
    EXPECT_EQ((Vector2{1.0, 3.0} / 2.0), (Vector2{0.5, 1.5}));
    EXPECT_EQ((Vector3{1, 2, 3} + 1), (Vector3{2, 3, 4}));
    EXPECT_EQ((Vector3{1, 2, 3} - 4), (Vector3{-3, -2, -1}));
    EXPECT_EQ((Vector4{1, 2, 3, 4} * 0), (Vector4<int>::zero()));
    EXPECT_EQ((Vector4<float>::one() / 4.0f), (Vector4{0.25f, 0.25f, 0.25f, 0.25f}));
}

TEST(Sizes, EqualityLooksAtEveryField) {
    EXPECT_NE((Size3<int>{1, 2, 3}), (Size3<int>{1, 2, 4}));
    EXPECT_NE((Vector4{1, 2, 3, 4}), (Vector4{0, 2, 3, 4}));
    EXPECT_NE((Vector2{1, 2}), (Vector2{1, 3}));
    EXPECT_TRUE(Size2<Int>::zero().isZero());
    EXPECT_FALSE((Size2<Int>{0, 1}.isZero()));
    EXPECT_FALSE((Size2<Int>{1, 0}.isZero()));
}

TEST(Sizes, IntegersOutOfRangeWrap) {
    EXPECT_EQ((Size2<Int>{largest, smallest} + 1), (Size2<Int>{smallest, smallest + 1}));
    EXPECT_EQ((Size2<Int>{smallest, 0} - 1), (Size2<Int>{largest, -1}));
    EXPECT_EQ((Size2<Int>{largest, 2} * 2), (Size2<Int>{-2, 4}));
    EXPECT_EQ((Size2<Int>{smallest, 6} / -1), (Size2<Int>{smallest, -6}));
    EXPECT_EQ((Vector2<unsigned short>{65535, 1} * static_cast<unsigned short>(65535)),
              (Vector2<unsigned short>{1, 65535}));
}

TEST(Sizes, DividingIntegersByZeroIsAPrecondition) {
#ifdef NDEBUG
    EXPECT_EQ((Size2<Int>{5, -5} / 0), (Size2<Int>{0, 0}));
#else
    EXPECT_DEATH((void)(Size2<Int>{5, -5} / 0), "b != 0");
#endif
}

TEST(Sizes, PlatformSizesTruncateAndSaturate) {
    EXPECT_EQ(Size2<Int>(CGSize{639.9, 480.2}), (Size2<Int>{639, 480}));
    EXPECT_EQ(Size2<Int>(CGSize{-0.5, 1.5}), (Size2<Int>{0, 1}));
    EXPECT_EQ(Size2<Int>(CGSize{1e300, -INFINITY}), (Size2<Int>{largest, smallest}));
    EXPECT_EQ(Size2<Int>(CGSize{0x1p63, -0x1p63}), (Size2<Int>{largest, smallest}));
    EXPECT_EQ(Size2<Int>(CGSize{NAN, 3}), (Size2<Int>{0, 3}));
}

TEST(DebugPrinting, VectorsAreOneLine) {
    CaptureStdout();
    printVector(simd_float2{0, 0}, "%g");
    printVector(simd_float3{1, 2.5f, 3}, "%.1f");
    printVector(simd_float4{1, 2, 3, 4}, "<%4.1f>");
    EXPECT_EQ(GetCapturedStdout(), "0, 0\n1.0, 2.5, 3.0\n< 1.0>, < 2.0>, < 3.0>, < 4.0>\n");
}

TEST(DebugPrinting, MatricesAreOneLinePerColumn) {
    CaptureStdout();
    printMatrix(simd_float2x2{{{1, 2}, {3, 4}}}, "%g");
    printMatrix(simd_float3x3{{{1, 2, 3}, {4, 5, 6}, {7, 8, 9}}}, "%g");
    printMatrix(simd_float4x4{{{1, 2, 3, 4}, {5, 6, 7, 8}, {9, 10, 11, 12}, {13, 14, 15, 16}}}, "%g");
    EXPECT_EQ(GetCapturedStdout(),
              "1, 2\n3, 4\n1, 2, 3\n4, 5, 6\n7, 8, 9\n1, 2, 3, 4\n5, 6, 7, 8\n9, 10, 11, 12\n13, 14, 15, 16\n");
}

}  // namespace
}  // namespace ondrix
