#include <functional>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>

#include <ondrix/video/MulticastDelegate.h>

namespace ondrix {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

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
    std::vector<char> invoke() {
        std::vector<char> called;
        delegates->invoke([&called](Listener& listener) {
            called.push_back(listener.name);
            const auto action = listener.onCall;
            action();
        });
        return called;
    }

    std::shared_ptr<MulticastDelegate<Listener>> delegates = std::make_shared<MulticastDelegate<Listener>>();
    std::shared_ptr<Listener> a = listener('a'), b = listener('b'), c = listener('c');
};

TEST_F(MulticastDelegateTest, ListenersAreCalledOnceInTheOrderOfTheirFirstRegistration) {
    for (const auto& each : {b, a, b, c}) delegates->add(each);
    EXPECT_THAT(invoke(), ElementsAre('b', 'a', 'c'));
}

TEST_F(MulticastDelegateTest, AnAliasOfAListenerIsTheSameListener) {
    delegates->add(a);
    delegates->add(std::shared_ptr<Listener>(b, a.get()));
    EXPECT_THAT(invoke(), ElementsAre('a'));
    delegates->remove(*a);
    EXPECT_THAT(invoke(), IsEmpty());
}

TEST_F(MulticastDelegateTest, ListenersAreNotKeptAlive) {
    delegates->add(a);
    delegates->add(b);
    a.reset();
    delegates->add(c);
    EXPECT_THAT(invoke(), ElementsAre('b', 'c'));
}

TEST_F(MulticastDelegateTest, RemovingLeavesTheOrderOfTheOthers) {
    for (const auto& each : {a, b, c}) delegates->add(each);
    delegates->remove(*b);
    delegates->remove(*b);
    EXPECT_THAT(invoke(), ElementsAre('a', 'c'));
    delegates->removeAll();
    EXPECT_THAT(invoke(), IsEmpty());
}

TEST_F(MulticastDelegateTest, ChangesDuringACallConcernTheNextOne) {
    for (const auto& each : {a, b}) delegates->add(each);
    a->onCall = [this] {
        delegates->remove(*a);
        delegates->remove(*b);
        delegates->add(c);
    };
    EXPECT_THAT(invoke(), ElementsAre('a', 'b'));
    EXPECT_THAT(invoke(), ElementsAre('c'));
}

TEST_F(MulticastDelegateTest, AListenerThatDiesDuringACallIsSkipped) {
    for (const auto& each : {a, b, c}) delegates->add(each);
    a->onCall = [this] { b.reset(); };
    EXPECT_THAT(invoke(), ElementsAre('a', 'c'));
}

TEST_F(MulticastDelegateTest, AListenerMayDestroyTheListAndItself) {
    for (const auto& each : {a, b}) delegates->add(each);
    a->onCall = [this] {
        a.reset();
        delegates.reset();
    };
    EXPECT_THAT(invoke(), ElementsAre('a', 'b'));
}

}  // namespace
}  // namespace ondrix
