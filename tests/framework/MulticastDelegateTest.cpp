#include <functional>
#include <memory>
#include <string>

#include <gtest/gtest.h>

#include <ondrix/video/MulticastDelegate.h>

namespace ondrix {
namespace {

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
