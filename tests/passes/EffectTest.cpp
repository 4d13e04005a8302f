#include <any>
#include <memory>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <tests/support/LogCapture.h>
#include <tests/support/RecordingDevice.h>

#include <ondrix/Ondrix.h>

namespace ondrix {

/// Records its encoding under its name; has the properties that it is given.
class NamedPass : public Pass {
public:
    NamedPass(test::Calls& calls, std::string name) : calls_(calls), name_(std::move(name)) {}

    void set(const std::string& property, const std::any& value) override { properties[property] = value; }
    [[nodiscard]] std::any get(const std::string& property) const override { return properties.at(property); }
    [[nodiscard]] bool has(const std::string& property) const override { return properties.contains(property); }
    [[nodiscard]] bool encode(MTLCommandBuffer&) override {
        calls_.push_back(name_);
        onEncode();
        return succeeds;
    }
    void sourceResolutionDidChange(Int, Int) override {}
    void outputResolutionDidChange(Int, Int) override {}

    std::map<std::string, std::any> properties;
    std::function<void()> onEncode = [] {};
    bool succeeds = true;

private:
    test::Calls& calls_;
    std::string name_;
};
class FailingPass : public NamedPass {
public:
    using NamedPass::NamedPass;
};

namespace {

using test::Calls;
using test::RecordingDevice;
using testing::ElementsAre;
using testing::IsEmpty;

struct Drawable : MTLDrawable {
    void present() override {}
};

struct RecordingDelegate : EffectDelegate {
    explicit RecordingDelegate(Calls& c) : calls(c) {}
    void effectDidStartGPUTasks(Effect&) override { calls.push_back("started"); }
    void effectDidCompleteGPUTasks(Effect&) override { calls.push_back("completed"); }
    Calls& calls;
};

class UnpreparedEffect : public Effect {
public:
    explicit UnpreparedEffect(std::shared_ptr<Device> device) : Effect(std::move(device)) {}
    bool prepare() override { return false; }
};

class EffectTest : public testing::Test {
protected:
    std::shared_ptr<NamedPass> add(const std::string& pass, const std::string& named) {
        auto made = std::make_shared<NamedPass>(mtlDevice->calls, pass);
        effect->add(made, named);
        return made;
    }
    void SetUp() override {
        effect->setDelegate(delegate);
        calls.clear();
    }

    test::LogCapture log;
    std::shared_ptr<RecordingDevice> mtlDevice = std::make_shared<RecordingDevice>();
    Calls& calls = mtlDevice->calls;
    std::shared_ptr<Device> device = Device::create(mtlDevice);
    std::shared_ptr<Effect> effect = Effect::create(device);
    std::shared_ptr<RecordingDelegate> delegate = std::make_shared<RecordingDelegate>(calls);
};

TEST_F(EffectTest, OneRunGoesInThisOrder) {
    add("a", "first");
    add("b", "second");
    EXPECT_TRUE(effect->apply(std::make_shared<Drawable>()));
    EXPECT_THAT(calls, ElementsAre("a", "b", "present()", "addCompletedHandler()", "started", "commit()"));
    calls.clear();
    mtlDevice->complete();
    EXPECT_THAT(calls, ElementsAre("completed"));

    calls.clear();
    effect->setShouldWaitForCompletion(true);
    effect->removeAllPasses();
    EXPECT_TRUE(effect->apply(nullptr)) << "an effect without passes commits an empty command buffer";
    EXPECT_THAT(calls,
                ElementsAre("addCompletedHandler()", "started", "commit()", "waitUntilCompleted()", "completed"));
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(EffectTest, ANameUsedTwiceMeansTheSecondPassAndBothAreEncoded) {
    add("a", "x");
    const auto second = add("b", "x");
    effect->add(second, "y");
    EXPECT_EQ(effect->getPass("x"), second);
    EXPECT_EQ(effect->getPass<NamedPass>("x"), second);
    EXPECT_EQ(effect->getPass<FailingPass>("x"), nullptr);
    EXPECT_EQ(effect->getPass("z"), nullptr);
    effect->apply(nullptr);
    EXPECT_THAT(std::vector(calls.begin(), calls.begin() + 3), ElementsAre("a", "b", "b"));
    effect->removeAllPasses();
    EXPECT_EQ(effect->getPass("x"), nullptr);
}

TEST_F(EffectTest, PropertiesReachEveryPassThatHasThemAndComeFromTheFirst) {
    const auto a = add("a", "1");
    const auto b = add("b", "2");
    const auto c = add("c", "3");
    b->properties["strength"] = 1;
    c->properties["strength"] = 2;
    EXPECT_EQ(std::any_cast<int>(effect->get("strength")), 1);
    effect->set("strength", 7.5);
    effect->set("unknown", 1);
    EXPECT_FALSE(a->has("strength"));
    EXPECT_EQ(std::any_cast<double>(b->properties["strength"]), 7.5);
    EXPECT_EQ(std::any_cast<double>(c->properties["strength"]), 7.5);
    EXPECT_FALSE(effect->get("unknown").has_value());
    EXPECT_THAT(log.messages(), IsEmpty());
}

TEST_F(EffectTest, AFailingPassStopsTheRun) {
    add("a", "1");
    const auto failing = std::make_shared<FailingPass>(calls, "b");
    failing->succeeds = false;
    effect->add(failing, "2");
    add("c", "3");
    EXPECT_FALSE(effect->apply(std::make_shared<Drawable>()));
    EXPECT_THAT(calls, ElementsAre("a", "b"));
    EXPECT_THAT(log.messages(),
                ElementsAre("Failed encoding FailingPass in the effect.", "Failed to encode the effect."));
}

TEST_F(EffectTest, WithoutPreparationOrCommandBufferNothingIsRecorded) {
    add("a", "1");
    mtlDevice->refused = {"makeCommandBuffer"};
    EXPECT_FALSE(effect->apply(nullptr));
    EXPECT_FALSE(std::make_shared<UnpreparedEffect>(device)->apply(nullptr));
    EXPECT_THAT(log.messages(), ElementsAre("Failed to create the command buffer for the effect.",
                                            "Failed to prepare the effect before apply."));
    EXPECT_THAT(calls, ElementsAre("makeCommandQueue()"));
}

TEST_F(EffectTest, CompletionIsToldToTheDelegateOfThatMoment) {
    Calls others;
    effect->apply(nullptr);
    const auto other = std::make_shared<RecordingDelegate>(others);
    effect->setDelegate(other);
    mtlDevice->complete();
    EXPECT_THAT(others, ElementsAre("completed"));
    effect->apply(nullptr);
    effect->setDelegate(nullptr);
    mtlDevice->complete();
    EXPECT_THAT(others, ElementsAre("completed", "started"));
}

TEST_F(EffectTest, NeitherEffectNorDelegateIsKeptForCompletion) {
    effect->apply(nullptr);
    effect.reset();
    calls.clear();
    mtlDevice->complete();
    EXPECT_THAT(calls, IsEmpty());

    effect = Effect::create(device);
    effect->setDelegate(delegate);
    delegate.reset();
    EXPECT_EQ(effect->delegate(), nullptr);
    EXPECT_TRUE(effect->apply(nullptr));
    mtlDevice->complete();
}

TEST_F(EffectTest, APassMayChangeTheChainAndDropTheEffect) {
    const auto a = add("a", "1");
    add("b", "2");
    a->onEncode = [this] {
        effect->removeAllPasses();
        effect.reset();
    };
    Effect& running = *effect;
    EXPECT_TRUE(running.apply(nullptr));
    EXPECT_THAT(calls, ElementsAre("a", "b", "addCompletedHandler()", "started", "commit()"));
}

using EffectDeathTest = EffectTest;

TEST_F(EffectDeathTest, WithoutACommandQueueThereIsNoEffect) {
    mtlDevice->refused = {"makeCommandQueue"};
    EXPECT_DEATH((void)Effect::create(device), "Failed to create the command queue for the effect\\.");
}

}  // namespace
}  // namespace ondrix
