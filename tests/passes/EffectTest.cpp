#include <any>
#include <chrono>
#include <map>
#include <semaphore>

#include <tests/support/RecordingTest.h>

namespace ondrix {

/// Records its encoding under its name; has the properties that it is given.
struct NamedPass : Pass {
    NamedPass(test::Calls& c, std::string n) : calls(c), name(std::move(n)) {}
    void set(const std::string& property, const std::any& value) override { properties[property] = value; }
    std::any get(const std::string& property) const override { return properties.at(property); }
    bool has(const std::string& property) const override { return properties.contains(property); }
    bool encode(MTLCommandBuffer&) override {
        calls.push_back(name);
        return onEncode();
    }
    void sourceResolutionDidChange(Int, Int) override {}
    void outputResolutionDidChange(Int, Int) override {}

    test::Calls& calls;
    std::string name;
    std::map<std::string, std::any> properties;
    std::function<bool()> onEncode = [] { return true; };
};

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

struct Drawable : MTLDrawable {
    void present() override {}
};

struct RecordingDelegate : EffectDelegate {
    explicit RecordingDelegate(test::Calls& c) : calls(c) {}
    void effectDidStartGPUTasks(Effect&) override { calls.push_back("started"); }
    void effectDidCompleteGPUTasks(Effect&) override { calls.push_back("completed"); }
    void effectDidFailGPUTasks(Effect&, const NSError& reason) override {
        calls.push_back("failed: " + reason.localizedDescription());
    }
    test::Calls& calls;
};

struct UnpreparedEffect : Effect {
    explicit UnpreparedEffect(std::shared_ptr<Device> device) : Effect(std::move(device)) {}
    bool prepare() override { return false; }
};

class EffectTest : public test::RecordingTest {
protected:
    std::shared_ptr<NamedPass> add(const std::string& pass, const std::string& named) {
        auto made = std::make_shared<NamedPass>(calls, pass);
        effect->add(made, named);
        return made;
    }
    void SetUp() override { effect->setDelegate(delegate); }

    std::shared_ptr<Effect> effect = Effect::create(device);
    std::shared_ptr<RecordingDelegate> delegate = std::make_shared<RecordingDelegate>(calls);
};

TEST_F(EffectTest, OneRunGoesInThisOrder) {
    add("a", "x");
    const auto second = add("b", "x");
    effect->add(second, "y");
    EXPECT_EQ(effect->getPass<NamedPass>("x"), second) << "a name used twice means the second pass";
    EXPECT_EQ(effect->getPass<RenderPass>("x"), nullptr);
    EXPECT_EQ(effect->getPass("z"), nullptr);
    EXPECT_THAT(callsOf([&] { return effect->apply(std::make_shared<Drawable>()); }),
                ElementsAre("a", "b", "b", "present()", "addCompletedHandler()", "started", "commit()"));
    mtlDevice->complete();
    EXPECT_EQ(calls.back(), "completed");

    effect->setShouldWaitForCompletion(true);
    effect->removeAllPasses();
    EXPECT_EQ(effect->getPass("x"), nullptr);
    EXPECT_THAT(callsOf([&] { return effect->apply(nullptr); }),
                ElementsAre("addCompletedHandler()", "started", "commit()", "waitUntilCompleted()", "completed"));
    EXPECT_THAT(takeMessages(), IsEmpty());
}

TEST_F(EffectTest, PropertiesReachEveryPassThatHasThemAndComeFromTheFirst) {
    const auto a = add("a", "1"), b = add("b", "2"), c = add("c", "3");
    b->properties["strength"] = 1;
    c->properties["strength"] = 2;
    EXPECT_EQ(std::any_cast<int>(effect->get("strength")), 1);
    effect->set("strength", 7.5);
    effect->set("unknown", 1);
    EXPECT_TRUE(a->properties.empty());
    for (const auto& pass : {b, c}) EXPECT_EQ(std::any_cast<double>(pass->properties["strength"]), 7.5);
    EXPECT_FALSE(effect->get("unknown").has_value());
}

TEST_F(EffectTest, WithoutPreparationCommandBufferOrAPassTheRunStops) {
    add("a", "1");
    takeCalls();
    expectErrors({"makeCommandBuffer"}, [&] { return effect->apply(nullptr); },
                 {"Failed to create the command buffer for the effect."});
    expectErrors({}, [&] { return std::make_shared<UnpreparedEffect>(device)->apply(nullptr); },
                 {"Failed to prepare the effect before apply."});
    EXPECT_THAT(takeCalls(), ElementsAre("makeCommandQueue()"));
    add("b", "2")->onEncode = [] { return false; };
    add("c", "3");
    expectErrors({}, [&] { return effect->apply(std::make_shared<Drawable>()); },
                 {"Failed encoding NamedPass in the effect.", "Failed to encode the effect."});
    EXPECT_THAT(takeCalls(), ElementsAre("a", "b"));
}

TEST_F(EffectTest, CompletionIsToldToTheDelegateOfThatMomentAndKeepsNobody) {
    test::Calls others;
    EXPECT_TRUE(effect->apply(nullptr));
    auto other = std::make_shared<RecordingDelegate>(others);
    effect->setDelegate(other);
    mtlDevice->complete();
    EXPECT_TRUE(effect->apply(nullptr));
    other.reset();
    EXPECT_EQ(effect->delegate(), nullptr);
    mtlDevice->complete();
    EXPECT_THAT(others, ElementsAre("completed", "started"));

    effect->setDelegate(delegate);
    EXPECT_TRUE(effect->apply(nullptr));
    effect.reset();
    takeCalls();
    mtlDevice->complete();
    EXPECT_THAT(calls, IsEmpty());
}

TEST_F(EffectTest, WorkThatFailsIsToldToTheDelegateAndToWhoWaitsForIt) {
    takeCalls();
    mtlDevice->nextError = NSError("the GPU is gone");
    EXPECT_TRUE(effect->apply(nullptr));
    mtlDevice->complete();
    EXPECT_THAT(takeCalls(),
                ElementsAre("addCompletedHandler()", "started", "commit()", "failed: the GPU is gone", "completed"));

    const std::string message = "The GPU work of the effect failed: the GPU is gone";
    NSError error;
    mtlDevice->nextError = NSError("the GPU is gone");
    EXPECT_FALSE(effect->applyAndWait(&error));
    EXPECT_EQ(error.localizedDescription(), message);
    EXPECT_THAT(takeMessages(), IsEmpty());
    mtlDevice->nextError = NSError("the GPU is gone");
    EXPECT_FALSE(effect->applyAndWait(std::make_shared<Drawable>(), nullptr));
    EXPECT_THAT(takeMessages(), ElementsAre(message));
    takeCalls();
    EXPECT_TRUE(effect->applyAndWait(nullptr));
    EXPECT_THAT(takeCalls(),
                ElementsAre("addCompletedHandler()", "started", "commit()", "waitUntilCompleted()", "completed"));
}

struct CountingDelegate : EffectDelegate {
    void effectDidStartGPUTasks(Effect&) override {}
    void effectDidCompleteGPUTasks(Effect&) override { completed.release(); }
    std::counting_semaphore<> completed{0};
};

TEST(EffectOnTheDeviceTest, AWaitedForEffectThatIsDroppedStillTellsItsDelegate) {
    const auto device = DeviceManager::shared().defaultDevice();
    const auto delegate = std::make_shared<CountingDelegate>();
    for (int run = 0; run < 300; ++run) {
        auto effect = Effect::create(device);
        effect->setDelegate(delegate);
        EXPECT_TRUE(effect->applyAndWait(nullptr));
        effect.reset();
        ASSERT_TRUE(delegate->completed.try_acquire_for(std::chrono::seconds(60))) << run;
    }
}

TEST_F(EffectTest, APassMayChangeTheChainAndDropTheEffect) {
    const auto first = add("a", "1");
    add("b", "2");
    first->onEncode = [this] {
        effect->removeAllPasses();
        effect.reset();
        return true;
    };
    Effect& running = *effect;
    EXPECT_THAT(callsOf([&] { return running.apply(nullptr); }),
                ElementsAre("a", "b", "addCompletedHandler()", "started", "commit()"));
}

}  // namespace
}  // namespace ondrix
