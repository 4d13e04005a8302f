#include <atomic>
#include <cmath>
#include <future>
#include <limits>

#include <tests/video/Frames.h>

#include <ondrix/platform/metalkit/HeadlessView.h>

namespace ondrix {
namespace {

using test::Picture;
using test::PictureTexture;
using testing::ElementsAre;
using testing::IsEmpty;

/// Hears of the end of two runs, frames shown included.
struct Completion : EffectDelegate {
    void effectDidStartGPUTasks(Effect&) override {}
    void effectDidCompleteGPUTasks(Effect&) override {
        if (--awaited == 0) done.set_value();
    }
    std::atomic<int> awaited = 2;
    std::promise<void> done;
};

class RenderViewTextureTest : public testing::Test {
protected:
    RenderViewTextureTest() { texture->add(sizes); }

    std::vector<std::string> events;
    std::shared_ptr<Device> device = DeviceManager::shared().defaultDevice();
    std::shared_ptr<HeadlessView> view = HeadlessView::create({6, 4}, device->mtlDevice());
    std::shared_ptr<RenderViewTexture> texture = device->makeRenderViewTexture(view);
    std::shared_ptr<test::SizeListener> sizes = std::make_shared<test::SizeListener>(events);
};

TEST_F(RenderViewTextureTest, AVideosFramesAreShown) {
    const auto converter = device->textureConverter();
    const auto pool = converter->makePixelBufferPool(6, 4, kCVPixelFormatType_32BGRA);
    const auto source = CMSampleBufferFrameSource::create();
    const auto video = device->makeVideoTexture(nullptr);
    video->set(source);
    const auto effect = PresentTextureEffect::create(device, video, texture, view->colorPixelFormat(),
                                                     ContentMode::scaleAspectFill, ImageRotation::degrees0, false);
    const auto completion = std::make_shared<Completion>();
    effect->setDelegate(completion);
    Picture frame(6, 4);
    for (const unsigned seed : {1, 2}) {
        frame = Picture::noise(6, 4, seed);
        for (std::size_t alpha = 3; alpha < frame.bytes.size(); alpha += 4) frame.bytes[alpha] = 255;
        source->processFrame(test::sample(converter->makePixelBuffer(*PictureTexture::create(device, frame), *pool)));
        const auto drawable = view->currentDrawable();
        EXPECT_EQ(view->currentDrawable(), drawable);
        EXPECT_TRUE(effect->apply(drawable));
        EXPECT_NE(view->currentDrawable(), drawable) << "would be drawn over on its way to the display";
    }
    completion->done.get_future().wait();
    EXPECT_EQ(view->shownFrameCount(), 2);
    EXPECT_EQ(PictureTexture::read(*converter->texture(view->shownFrame())), frame);
}

TEST_F(RenderViewTextureTest, TellsOfANewSizeInWholePixels) {
    const auto before = view->currentDrawable();
    sizes->onSize = [&](Texture& changed) { EXPECT_EQ(changed.width(), 6) << "the view tells first"; };
    view->setDrawableSize({750.5, 1334});
    view->setDrawableSize({750.5, 1334});
    EXPECT_THAT(std::exchange(events, {}), ElementsAre("size 750x1334"));
    EXPECT_NE(view->currentDrawable(), before);
    EXPECT_EQ(texture->size(), (Size2<Int>{750, 1334}));
    sizes->onSize = nullptr;
    for (const double side : {std::numeric_limits<double>::infinity(), std::nan(""), 0x1p63, -0x1p70}) {
        view->setDrawableSize({side, 5});
        view->setDrawableSize({5, side});
    }
    view->draw();
    EXPECT_THAT(events, IsEmpty());
}

TEST_F(RenderViewTextureTest, ResizeTellsTheDrawablesSize) {
    EXPECT_TRUE(texture->resize(6, 4));
    EXPECT_THAT(events, IsEmpty());
    EXPECT_TRUE(texture->resize(10, 10));
    EXPECT_THAT(events, ElementsAre("size 6x4"));
    EXPECT_EQ(texture->size(), (Size2<Int>{6, 4}));
}

TEST_F(RenderViewTextureTest, HasNoImageWhileTheViewShowsNothing) {
    const auto drawable = view->currentDrawable();
    view->setMinimised(true);
    EXPECT_EQ(view->currentDrawable(), nullptr);
    EXPECT_EQ(texture->width(), 0);
    view->setMinimised(false);
    EXPECT_EQ(view->currentDrawable(), drawable);
    view->setDrawableSize({0.9, 4});
    EXPECT_EQ(texture->height(), 0);
    view->setDrawableSize({6, 4});
    EXPECT_EQ(texture->width(), 6);
    view->setDevice(nullptr);
    EXPECT_EQ(view->currentDrawable(), nullptr);
    view->setDevice(device->mtlDevice());
    EXPECT_EQ(texture->width(), 6);
    view.reset();
    EXPECT_EQ(texture->width(), 0);
}

TEST_F(RenderViewTextureTest, AnObserverMayReleaseTextureAndView) {
    sizes->onSize = [this](Texture& changed) {
        texture.reset();
        changed.prepareForRelease();
        EXPECT_EQ(view->delegate(), nullptr);
        EXPECT_EQ(changed.width(), 0);
        view.reset();
    };
    HeadlessView& resized = *view;
    resized.setDrawableSize({5, 5});
    EXPECT_THAT(events, ElementsAre("size 5x5"));
}

TEST_F(RenderViewTextureTest, FramesAreFewAndPresentedOnce) {
    std::vector<std::shared_ptr<CAMetalDrawable>> drawables;
    while (auto drawable = view->currentDrawable()) {
        drawable->present();
        drawable->present();
        drawables.push_back(std::move(drawable));
        ASSERT_LT(drawables.size(), 10u) << "there is no end of them";
        if (drawables.size() == 2) view->setDrawableSize({5, 5});  // those of the old size count
    }
    EXPECT_EQ(view->shownFrameCount(), 3);
    const auto shown = view->shownFrame();
    EXPECT_EQ(CVPixelBufferGetWidth(*shown), 5);
    drawables.erase(drawables.begin());
    const auto late = view->currentDrawable();
    ASSERT_NE(late, nullptr) << "one has come back";
    view.reset();
    late->present();
    EXPECT_EQ(late->texture()->width(), 5u);
}

}  // namespace
}  // namespace ondrix
