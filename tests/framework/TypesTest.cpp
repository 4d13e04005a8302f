#include <cmath>
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

TEST(Sizes, IntegersOutOfRangeWrap) {
    EXPECT_EQ((Size2<Int>{largest, smallest} + 1), (Size2<Int>{smallest, smallest + 1}));
    EXPECT_EQ((Size2<Int>{smallest, 0} - 1), (Size2<Int>{largest, -1}));
    EXPECT_EQ((Size2<Int>{largest, 2} * 2), (Size2<Int>{-2, 4}));
    EXPECT_EQ((Size2<Int>{smallest, 6} / -1), (Size2<Int>{smallest, -6}));
    using Vector = Vector2<unsigned short>;
    EXPECT_EQ((Vector{65535, 1} * static_cast<unsigned short>(65535)), (Vector{1, 65535}));
}

TEST(Sizes, PlatformSizesTruncateAndSaturate) {
    EXPECT_EQ(Size2<Int>(CGSize{639.9, -0.5}), (Size2<Int>{639, 0}));
    EXPECT_EQ(Size2<Int>(CGSize{1e300, -INFINITY}), (Size2<Int>{largest, smallest}));
    EXPECT_EQ(Size2<Int>(CGSize{0x1p63, -0x1p63}), (Size2<Int>{largest, smallest}));
    EXPECT_EQ(Size2<Int>(CGSize{NAN, 3}), (Size2<Int>{0, 3}));
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
