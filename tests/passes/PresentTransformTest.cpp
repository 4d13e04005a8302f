#include <memory>
#include <string>

#include <gmock/gmock.h>
#include <tests/support/RecordingDevice.h>

#include <ondrix/Ondrix.h>

namespace ondrix {
namespace {

using test::RecordingDevice;

constexpr auto fit = ContentMode::scaleAspectFit;
constexpr auto fill = ContentMode::scaleAspectFill;
constexpr auto stretch = ContentMode::scaleToFill;

class PresentTransformTest : public testing::Test {
protected:
    std::shared_ptr<Texture> texture(Int width, Int height) {
        return device->makeTexture(width, height, MTLPixelFormat::bgra8Unorm, MTLTextureUsage::unknown);
    }
    std::shared_ptr<PresentTextureEffect> present(std::shared_ptr<Texture> input, std::shared_ptr<Texture> output,
                                                  ContentMode mode, ImageRotation rotation = ImageRotation::degrees0,
                                                  bool flip = false) {
        auto effect = PresentTextureEffect::create(device, std::move(input), std::move(output),
                                                   MTLPixelFormat::bgra8Unorm, mode, rotation, flip);
        buffer = mtlDevice->buffers.back();
        return effect;
    }
    /// Entry of the matrix in the constant buffer.
    float at(std::size_t column, std::size_t row) const { return buffer->at<float>(16 * column + 4 * row); }
    /// Expects scale and nothing else.
    void expectScale(float x, float y, const std::string& situation) const {
        const float expected[4][4] = {{x, 0, 0, 0}, {0, y, 0, 0}, {0, 0, 1, 0}, {0, 0, 0, 1}};
        for (std::size_t column = 0; column < 4; ++column) {
            for (std::size_t row = 0; row < 4; ++row) {
                EXPECT_EQ(at(column, row), expected[column][row]) << situation << ": " << column << ", " << row;
            }
        }
    }

    std::shared_ptr<RecordingDevice> mtlDevice = std::make_shared<RecordingDevice>();
    std::shared_ptr<Device> device = Device::create(mtlDevice);
    std::shared_ptr<test::RecordedBuffer> buffer;  ///< of the last pass made
    std::shared_ptr<Texture> wide = texture(1920, 1080), high = texture(1080, 1920);
};

TEST_F(PresentTransformTest, TheScaleFollowsModeAndSizes) {
    struct Case {
        std::shared_ptr<Texture> input, output;
        ContentMode mode;
        float x, y;
    };
    const auto small = texture(960, 540);
    const Case cases[] = {
        {wide, high, fit, 1, 0.31640625f}, {wide, high, fill, 3.1604939f, 1}, {high, wide, fit, 0.31640625f, 1},
        {high, wide, fill, 1, 3.1604939f}, {small, wide, fit, 1, 1},          {small, wide, fill, 1, 1},
        {wide, high, stretch, 1, 1},
    };
    for (const Case& each : cases) {
        const auto effect = present(each.input, each.output, each.mode);
        expectScale(each.x, each.y, std::to_string(&each - cases));
    }
}

TEST_F(PresentTransformTest, TurnsAndMirrorsComeAfterTheScale) {
    const auto quarter = present(wide, high, fit, ImageRotation::degrees90);
    EXPECT_NEAR(at(0, 0), 7.55e-8, 1e-9);
    EXPECT_EQ(at(0, 1), -1);
    EXPECT_EQ(at(1, 0), 0.31640625f);
    EXPECT_NEAR(at(1, 1), 2.39e-8, 1e-10);
    const auto mirrored = present(wide, high, fill, ImageRotation::degrees90, true);
    EXPECT_NEAR(at(0, 0), -2.39e-7, 1e-9);
    EXPECT_EQ(at(0, 1), -3.1604939f);
    EXPECT_EQ(at(1, 0), -1);
    EXPECT_NEAR(at(1, 1), 7.55e-8, 1e-9);
}

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
}

TEST_F(PresentTransformTest, ThePassFollowsTheTexturesItUses) {
    const auto effect = present(wide, high, fit);
    EXPECT_TRUE(high->resize(1920, 1920));
    expectScale(1, 0.5625f, "output resized");
    EXPECT_TRUE(wide->resize(1920, 960));
    expectScale(1, 0.5f, "input resized");
    const auto square = texture(10, 10);
    effect->setInputTexture(square);
    expectScale(1, 1, "input replaced");
    EXPECT_TRUE(wide->resize(7, 900));
    expectScale(1, 1, "former input resized");
    EXPECT_TRUE(high->resize(1920, 960));
    expectScale(0.5f, 1, "output resized again");
}

TEST_F(PresentTransformTest, ATextureThatIsInputAndOutputIsHeardAsTheInput) {
    const auto both = texture(100, 100);
    const auto effect = present(both, both, fit);
    EXPECT_TRUE(both->resize(200, 100));
    expectScale(1, 0.5f, "only the input's size changed");
}

// A marker in the buffer shows whether it was written.
TEST_F(PresentTransformTest, NothingIsWrittenWithoutAChange) {
    const auto effect = present(wide, high, fit);
    const auto pass = effect->getPass<PresentTexturePass>("present");
    auto* const matrix = static_cast<float*>(buffer->contents());
    const auto wasWritten = [&] { return std::exchange(matrix[0], 77.0f) != 77.0f; };
    ASSERT_TRUE(wasWritten());

    effect->setContentMode(fit);
    effect->setRotation(ImageRotation::degrees0);
    effect->setFlipHorizontally(false);
    EXPECT_TRUE(effect->prepare());
    EXPECT_TRUE(wide->resize(1920, 1080));
    pass->texture(*wide, Size2<Int>{1920, 1080});
    pass->texture(*high, Size2<Int>{1080, 1920});
    pass->texture(*texture(1, 1), Size2<Int>{3, 3});
    EXPECT_FALSE(wasWritten());

    effect->setRotation(ImageRotation::degrees180);
    EXPECT_FALSE(wasWritten()) << "settings wait for prepare";
    EXPECT_TRUE(effect->prepare());
    EXPECT_TRUE(wasWritten());
    EXPECT_TRUE(effect->prepare());
    EXPECT_FALSE(wasWritten());
    effect->setFlipHorizontally(true);
    EXPECT_TRUE(effect->prepare());
    EXPECT_TRUE(wasWritten());
    effect->setContentMode(stretch);
    EXPECT_TRUE(effect->prepare());
    EXPECT_TRUE(wasWritten());
    pass->set(stretch, ImageRotation::degrees180, true);
    EXPECT_TRUE(wasWritten()) << "the pass itself doesn't compare";
}

TEST_F(PresentTransformTest, TexturesDontKeepThePassAlive) {
    auto effect = present(wide, high, fit);
    const std::weak_ptr<Pass> pass = effect->getPass("present");
    effect.reset();
    EXPECT_TRUE(pass.expired());
    EXPECT_TRUE(wide->resize(3, 3));
}

TEST_F(PresentTransformTest, ThePassBindsItsParts) {
    const auto effect = present(wide, high, fit);
    mtlDevice->calls.clear();
    EXPECT_TRUE(effect->apply(nullptr));
    ASSERT_EQ(mtlDevice->calls.size(), 10u);
    EXPECT_EQ(mtlDevice->calls[2], "setVertexBuffer(64 bytes, 0, 1)");
    EXPECT_THAT(
        std::vector(mtlDevice->calls.begin() + 3, mtlDevice->calls.begin() + 5),
        testing::UnorderedElementsAre("setFragmentSamplerState(sampler, 0)", "setFragmentTexture(1920x1080, 0)"));
}

}  // namespace
}  // namespace ondrix
