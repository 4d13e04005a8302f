#include <cmath>
#include <concepts>
#include <functional>
#include <limits>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include <ondrix/Ondrix.h>
#include <ondrix/video/MulticastDelegate.h>

namespace ondrix {
namespace {

constexpr Int smallest = std::numeric_limits<Int>::min();
constexpr Int largest = std::numeric_limits<Int>::max();

template <class Value, class Scalar>
concept Multiplies = requires(Value value, Scalar scalar) {
    value* scalar;
};

static_assert(std::same_as<decltype(Size2(640, 480)), Size2<Int>>);
static_assert(Multiplies<Size2<Int>, int> && Multiplies<Vector2<float>, double> && Multiplies<Vector2<double>, int>);
static_assert(!Multiplies<Size2<Int>, double> && !Multiplies<Vector3<int>, float> && !Multiplies<Size2<Int>, bool>);

TEST(Sizes, OperatorsLookAtEverySide) {
    EXPECT_EQ((Size2<Int>{5, -7} / 2), (Size2<Int>{2, -3})) << "integer division truncates toward zero";
    EXPECT_EQ((Size3<int>{1, 2, 3} * 3), (Size3<int>{3, 6, 9}));
    EXPECT_EQ((Vector2{1.0, 3.0} / 2.0), (Vector2{0.5, 1.5}));
    EXPECT_EQ((Vector3{1, 2, 3} + 1), (Vector3{2, 3, 4}));
    EXPECT_EQ((Vector3{1, 2, 3} - 4), (Vector3{-3, -2, -1}));
    EXPECT_NE((Vector3{1, 2, 3} - 4), (Vector3{-3, -2, 0}));
    EXPECT_NE((Vector4{1, 2, 3, 4} * 1), (Vector4{0, 2, 3, 4}));
    EXPECT_FALSE((Size2<Int>{0, 1}.isZero()) || (Size2<Int>{1, 0}.isZero()));
    EXPECT_EQ((Vector4{1, 2, 3, 4} * 0), (Vector4<int>::zero()));
    EXPECT_EQ((Vector4<float>::one() / 4.0f), (Vector4{0.25f, 0.25f, 0.25f, 0.25f}));
}

TEST(Sizes, IntegersOutOfRangeWrap) {
    EXPECT_EQ((Size2<Int>{largest, smallest} + 1), (Size2<Int>{smallest, smallest + 1}));
    EXPECT_EQ((Size2<Int>{smallest, 0} - 1), (Size2<Int>{largest, -1}));
    EXPECT_EQ((Size2<Int>{largest, 2} * 2), (Size2<Int>{-2, 4}));
    EXPECT_EQ((Size2<Int>{smallest, 6} / -1), (Size2<Int>{smallest, -6}));
    using Vector = Vector2<unsigned short>;
    EXPECT_EQ((Vector{65535, 1} * static_cast<unsigned short>(65535)), (Vector{1, 65535}));
}

TEST(Sizes, DividingIntegersByZeroIsAPrecondition) {
#ifdef NDEBUG
    EXPECT_EQ((Size2<Int>{5, -5} / 0), (Size2<Int>{0, 0}));
#else
    EXPECT_DEATH((void)(Size2<Int>{5, -5} / 0), "b != 0");
#endif
}

TEST(Sizes, PlatformSizesTruncateAndSaturate) {
    EXPECT_EQ(Size2<Int>(CGSize{639.9, -0.5}), (Size2<Int>{639, 0}));
    EXPECT_EQ(Size2<Int>(CGSize{1e300, -INFINITY}), (Size2<Int>{largest, smallest}));
    EXPECT_EQ(Size2<Int>(CGSize{0x1p63, -0x1p63}), (Size2<Int>{largest, smallest}));
    EXPECT_EQ(Size2<Int>(CGSize{NAN, 3}), (Size2<Int>{0, 3}));
}

TEST(DebugPrinting, VectorsAreOneLineAndMatricesOnePerColumn) {
    testing::internal::CaptureStdout();
    printVector(simd_float2{0, 0}, "%g");
    printVector(simd_float3{1, 2.5f, 3}, "%.1f");
    printVector(simd_float4{1, 2, 3, 4}, "<%4.1f>");
    printMatrix(simd_float2x2{{{1, 2}, {3, 4}}}, "%g");
    printMatrix(simd_float3x3{{{1, 2, 3}, {4, 5, 6}, {7, 8, 9}}}, "%g");
    printMatrix(simd_float4x4{{{1, 2, 3, 4}, {5, 6, 7, 8}, {9, 10, 11, 12}, {13, 14, 15, 16}}}, "%g");
    EXPECT_EQ(testing::internal::GetCapturedStdout(),
              "0, 0\n1.0, 2.5, 3.0\n< 1.0>, < 2.0>, < 3.0>, < 4.0>\n"
              "1, 2\n3, 4\n1, 2, 3\n4, 5, 6\n7, 8, 9\n1, 2, 3, 4\n5, 6, 7, 8\n9, 10, 11, 12\n13, 14, 15, 16\n");
}

TEST(Enumerations, TextsAreTakenByteForByte) {
    EXPECT_EQ(makeShaderType("vertex shader"), ShaderType::vertexShader);
    EXPECT_EQ(makeShaderType("compute shader"), ShaderType::computeShader);
    for (const char* text : {"Vertex shader", "vertex shader ", "vertexShader", "", "vertex"}) {
        EXPECT_EQ(makeShaderType(text), std::nullopt) << text;
    }
    EXPECT_EQ(makePassType("compute pass"), PassType::computePass);
    EXPECT_EQ(makePassType("computePass"), std::nullopt);
    EXPECT_EQ(rawValue(PassType::computePass), "compute pass");
    EXPECT_EQ(makeShaderResourceType("constant buffer"), ShaderResourceType::constantBuffer);
    EXPECT_EQ(makeShaderResourceType("constantBuffer"), std::nullopt);
    EXPECT_EQ(rawValue(ShaderResourceType::uniformBuffer), "uniform buffer");
}

TEST(Enumerations, RotationsComeFromFourDegreeCountsOnly) {
    for (const Int degrees : {0, 90, 180, 270}) EXPECT_EQ(rawValue(makeImageRotation(degrees).value()), degrees);
    for (const Int degrees : {360, -90, 45, 1}) EXPECT_EQ(makeImageRotation(degrees), std::nullopt) << degrees;
}

// With another rounding of pi, or a constant folded in higher precision, the small entries change size or sign.
TEST(Enumerations, RotationMatricesKeepTheResiduesOfTheirRoundedAngles) {
    struct Entries {
        float cosine, sine;
    };
    constexpr Entries expected[] = {{1, 0}, {7.54979013e-8f, 1}, {-1, 1.50995803e-7f}, {1.19248806e-8f, -1}};
    for (Int turns = 0; turns < 4; ++turns) {
        const auto [cosine, sine] = expected[turns];
        const simd_float2x2 turned = matrix(makeImageRotation(turns * 90).value());
        EXPECT_FLOAT_EQ(turned.columns[0].x, cosine) << turns;
        EXPECT_FLOAT_EQ(turned.columns[0].y, -sine) << turns;
        EXPECT_FLOAT_EQ(turned.columns[1].x, sine) << turns;
        EXPECT_FLOAT_EQ(turned.columns[1].y, cosine) << turns;
    }
}

struct Listener {
    virtual ~Listener() = default;
    char name = ' ';
    std::function<void()> onCall = [] {};
};
struct Padding {
    virtual ~Padding() = default;
    int filler = 0;
};
// Its listener part doesn't lie at the object's address.
struct ListenerWithTwoBases : Padding, Listener {};

class MulticastDelegateTest : public testing::Test {
protected:
    static std::shared_ptr<Listener> listener(char name) {
        auto made = std::make_shared<ListenerWithTwoBases>();
        made->name = name;
        return made;
    }
    /// The names of those called.
    std::string invoke() {
        std::string called;
        delegates->invoke([&called](Listener& listener) {
            called.push_back(listener.name);
            std::function(listener.onCall)();
        });
        return called;
    }

    std::shared_ptr<MulticastDelegate<Listener>> delegates = std::make_shared<MulticastDelegate<Listener>>();
    std::shared_ptr<Listener> a = listener('a'), b = listener('b'), c = listener('c');
};

TEST_F(MulticastDelegateTest, ListenersAreCalledOnceInTheOrderOfTheirFirstRegistrationAndNotKept) {
    for (const auto& each : {b, a, b, c, std::shared_ptr<Listener>(c, a.get())}) delegates->add(each);
    EXPECT_EQ(invoke(), "bac") << "an alias of a listener is the same listener";
    delegates->remove(*a);
    delegates->remove(*a);
    EXPECT_EQ(invoke(), "bc");
    b.reset();
    EXPECT_EQ(invoke(), "c");
    delegates->removeAll();
    EXPECT_EQ(invoke(), "");
}

TEST_F(MulticastDelegateTest, ChangesDuringACallConcernTheNextOne) {
    for (const auto& each : {a, b}) delegates->add(each);
    a->onCall = [this] {
        delegates->remove(*a);
        delegates->remove(*b);
        delegates->add(c);
    };
    EXPECT_EQ(invoke(), "ab");
    EXPECT_EQ(invoke(), "c");
}

TEST_F(MulticastDelegateTest, AListenerMayDestroyAnotherItselfAndTheList) {
    for (const auto& each : {a, b, c}) delegates->add(each);
    a->onCall = [this] {
        b.reset();
        a.reset();
        delegates.reset();
    };
    EXPECT_EQ(invoke(), "ac");
}

}  // namespace
}  // namespace ondrix
