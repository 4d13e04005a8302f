#include <tests/support/RecordingTest.h>

namespace ondrix {
namespace {

constexpr auto fit = ContentMode::scaleAspectFit;
constexpr auto fill = ContentMode::scaleAspectFill;
constexpr auto stretch = ContentMode::scaleToFill;

class PresentTransformTest : public test::RecordingTest {
protected:
    std::shared_ptr<PresentTextureEffect> present(const std::shared_ptr<Texture>& input,
                                                  const std::shared_ptr<Texture>& output, ContentMode mode) {
        auto effect = PresentTextureEffect::create(device, input, output, bgra, mode, ImageRotation::degrees0, false);
        matrix = static_cast<float*>(mtlDevice->buffers.back()->contents());
        return effect;
    }
    /// Expects scale and nothing else.
    void expectScale(float x, float y, const std::string& situation) const {
        const float expected[16] = {x, 0, 0, 0, 0, y, 0, 0, 0, 0, 1, 0, 0, 0, 0, 1};
        for (std::size_t i = 0; i < 16; ++i) EXPECT_EQ(matrix[i], expected[i]) << situation << ": " << i;
    }

    float* matrix = nullptr;  ///< of the last pass made, in its constant buffer
    std::shared_ptr<Texture> wide = texture(1920, 1080), high = texture(1080, 1920);
};

TEST_F(PresentTransformTest, ATextureWithoutGPUTextureCountsAsOnePixelAtFirstAndAsNothingLater) {
    const auto empty = texture(5, 5);
    empty->cleanup();
    const auto effect = present(empty, high, fit);
    expectScale(1, 0.5625f, "made with it");
    for (const ContentMode mode : {fit, fill}) {
        effect->setContentMode(mode);
        EXPECT_TRUE(effect->prepare());
        effect->setInputTexture(wide);
        effect->setInputTexture(empty);
        expectScale(0, 0, "given it");
    }
    effect->setContentMode(stretch);
    EXPECT_TRUE(effect->prepare());
    expectScale(1, 1, "stretched, whatever the sizes");

    effect->setContentMode(fit);
    EXPECT_TRUE(effect->prepare());
    effect->getPass<PresentTexturePass>("present")->texture(*empty, Size2<Int>{-9, 16});
    expectScale(-1, 1, "a width below 1 is used as it is");
}

TEST_F(PresentTransformTest, ThePassFollowsTheTexturesItUsesAndLeavesThemBehind) {
    auto effect = present(wide, high, fit);
    EXPECT_TRUE(high->resize(1920, 1920));
    expectScale(1, 0.5625f, "output resized");
    EXPECT_TRUE(wide->resize(1920, 960));
    expectScale(1, 0.5f, "input resized");
    effect->setInputTexture(texture(10, 10));
    expectScale(1, 1, "input replaced");
    EXPECT_TRUE(wide->resize(7, 900));
    expectScale(1, 1, "former input resized");
    EXPECT_TRUE(high->resize(1920, 960));
    expectScale(0.5f, 1, "output resized again");
    EXPECT_TRUE(effect->apply(nullptr));
    EXPECT_THAT(takeCalls(), testing::Contains("setFragmentTexture(10x10, 0)"));

    const std::weak_ptr<Pass> pass = effect->getPass("present");
    effect.reset();
    EXPECT_TRUE(pass.expired()) << "kept by a texture";
    EXPECT_TRUE(high->resize(100, 100));
    effect = present(high, high, fit);
    EXPECT_TRUE(high->resize(200, 100));
    expectScale(1, 0.5f, "heard as the input only");
}

// A marker in the buffer shows whether it was written.
TEST_F(PresentTransformTest, NothingIsWrittenWithoutAChange) {
    const auto effect = present(wide, high, fit);
    const auto pass = effect->getPass<PresentTexturePass>("present");
    const auto wasWritten = [this] { return std::exchange(matrix[0], 77.0f) != 77.0f; };
    const auto isWrittenByPrepare = [&] { return !wasWritten() && effect->prepare() && wasWritten(); };
    ASSERT_TRUE(wasWritten());

    effect->setContentMode(fit);
    effect->setRotation(ImageRotation::degrees0);
    effect->setFlipHorizontally(false);
    EXPECT_TRUE(effect->prepare());
    pass->texture(*wide, Size2<Int>{1920, 1080});
    pass->texture(*high, Size2<Int>{1080, 1920});
    pass->texture(*texture(1, 1), Size2<Int>{3, 3});
    EXPECT_FALSE(wasWritten());

    effect->setRotation(ImageRotation::degrees180);
    EXPECT_TRUE(isWrittenByPrepare());
    EXPECT_TRUE(effect->prepare());
    effect->setFlipHorizontally(true);
    EXPECT_TRUE(isWrittenByPrepare());
    effect->setContentMode(stretch);
    EXPECT_TRUE(isWrittenByPrepare());
    pass->set(stretch, ImageRotation::degrees180, true);
    EXPECT_TRUE(wasWritten()) << "the pass itself doesn't compare";
}

}  // namespace
}  // namespace ondrix
