// The textures at both ends: of a video's frames and of a view's drawables.
#include <cmath>

#include <tests/support/Frames.h>
#include <tests/support/RecordingTest.h>

#include <ondrix/platform/metalkit/HeadlessView.h>

namespace ondrix {
namespace {

using test::pictureOf;
using test::textureOf;
using testing::ElementsAre;
using testing::IsEmpty;

class VideoTextureTest : public test::RecordingTest {
protected:
    VideoTextureTest() {
        texture->set(source);
        texture->add(sizes);
    }
    void deliver(const std::shared_ptr<CVPixelBuffer>& frame) { source->processFrame(test::sample(frame)); }
    std::vector<std::string> takeEvents() { return std::exchange(sizes->events, {}); }

    std::shared_ptr<CMSampleBufferFrameSource> source = CMSampleBufferFrameSource::create();
    std::shared_ptr<test::SizeListener> sizes = std::make_shared<test::SizeListener>();
    std::shared_ptr<VideoTexture> texture = device->makeVideoTexture([this](VideoTexture& from) {
        sizes->events.push_back("frame " + std::to_string(from.width()) + "x" + std::to_string(from.height()));
    });
};

TEST_F(VideoTextureTest, TellsOfAnotherSizeAndThenOfTheFrameUnlessItFails) {
    source->add(texture);
    EXPECT_EQ(texture->width(), 0);
    deliver(test::frame(1, 1));
    EXPECT_THAT(takeEvents(), ElementsAre("frame 1x1")) << "a known size, or added twice and told twice";
    sizes->onSize = [](Texture& changed) { EXPECT_EQ(changed.width(), 6); };
    deliver(test::frame(6, 4));
    deliver(test::frame(6, 4, kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange));
    mtlDevice->refused = {"wrapPlane"};
    deliver(test::frame(7, 4));
    EXPECT_EQ(texture->width(), 6);
    mtlDevice->refused = {};
    deliver(test::frame(6, 4));
    deliver(test::frame(6, 5));
    EXPECT_THAT(takeEvents(), ElementsAre("size 6x4", "frame 6x4", "frame 6x4", "frame 6x4", "size 6x5", "frame 6x5"));

    struct BareDevice : Device {
        explicit BareDevice(std::shared_ptr<MTLDevice> mtlDevice) : Device(std::move(mtlDevice)) {}
    };
    std::make_shared<BareDevice>(mtlDevice)->makeVideoTexture(nullptr)->videoFrameSource(*source, test::frame(4, 2));
    EXPECT_THAT(
        takeMessages(),
        ElementsAre("Failed creating texture from the pixel buffer acquired from the latest video frame.",
                    "Failed to get the texture converter from GFX device to convert pixel buffers to Metal textures."));
}

TEST_F(VideoTextureTest, ASourceIsDestroyedForAllItsListenersWhenItIsReplacedOrReleased) {
    const auto listener = std::make_shared<test::FrameListener>();
    const std::function<void()> ends[] = {[this] { texture->set(CMSampleBufferFrameSource::create()); },
                                          [this] { texture->clearFrameSource(); }, [this] { texture->set(source); },
                                          [this] { texture->prepareForRelease(); }};
    deliver(test::frame(1, 1));
    for (const auto& end : ends) {
        texture->set(source);
        source->add(listener);
        EXPECT_EQ(texture->width(), 1) << "the image goes with its source";
        end();
        deliver(test::frame(1, 1));
    }
    EXPECT_THAT(listener->frames, IsEmpty());
    EXPECT_THAT(takeEvents(), ElementsAre("frame 1x1", "frame 1x1")) << "the first, and after it was set again";
    EXPECT_EQ(texture->width(), 0) << "released";
    texture->set(source);
    deliver(test::frame(1, 1));
    EXPECT_THAT(takeEvents(), IsEmpty()) << "a callback, or a size that was known";
}

// A source that is stored only after it was told of its listener could not be let go of from there.
TEST_F(VideoTextureTest, ASourceIsHeldWhenItIsToldOfItsListener) {
    struct Source : VideoFrameSource {
        void destroy() override { isDestroyed = true; }
        void add(const std::shared_ptr<VideoFrameSourceDelegate>& delegate) override {
            std::static_pointer_cast<VideoTexture>(delegate)->clearFrameSource();
        }
        void remove(const VideoFrameSourceDelegate&) override {}
        bool isDestroyed = false;
    };
    const auto refusing = std::make_shared<Source>();
    texture->set(refusing);
    EXPECT_TRUE(refusing->isDestroyed);
}

TEST_F(VideoTextureTest, ACallbackMayReleaseOrDropItsTexture) {
    sizes->onSize = [](Texture& changed) { changed.prepareForRelease(); };
    deliver(test::frame(2, 2));
    EXPECT_THAT(takeEvents(), ElementsAre("size 2x2")) << "there is no callback any more";

    const std::weak_ptr<VideoTexture> observer = texture;
    texture->setOnFrameAvailable([this, canary = std::make_shared<int>(5)](VideoTexture& from) {
        texture.reset();
        from.prepareForRelease();
        sizes->events.push_back("frame " + std::to_string(*canary));
    });
    texture->videoFrameSource(*source, test::frame(2, 2));
    EXPECT_THAT(takeEvents(), ElementsAre("frame 5"));
    EXPECT_TRUE(observer.expired());
}

// Images that are lost to another video or to the next frame, a wait, a frame that is told of but not shown.
TEST_F(VideoTextureTest, OwnImagesKeepTheirPicturesAndNeverWait) {
    for (const OSType format : {kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange, kCVPixelFormatType_420YpCbCr8Planar}) {
        const auto gpu = DeviceManager::shared().defaultDevice();
        int count = 0;
        const std::shared_ptr<VideoTexture> videos[] = {VideoTexture::create(
                                                            gpu, bgra, [&](VideoTexture&) { ++count; }, nullptr),
                                                        VideoTexture::create(
                                                            gpu, bgra, [&](VideoTexture&) { ++count; }, nullptr)};
        for (const int level : {60, 200}) {
            const auto frame = test::frame(6, 4, format);
            for (Int plane = 0; plane < CVPixelBufferGetPlaneCount(*frame); ++plane) {
                const Int size = test::bytesPerElement(frame, plane);
                test::forEachElement(*frame, plane, size, [&](std::uint8_t* element, Int, Int) {
                    std::fill_n(element, size, static_cast<std::uint8_t>(plane == 0 ? level : 128));
                });
            }
            videos[level == 200]->videoFrameSource(*source, frame);
        }
        EXPECT_EQ(count, 2);
        for (const int level : {60, 200})
            EXPECT_NEAR(pictureOf(*videos[level == 200]).at(3, 2, 1), (level - 16) * 255 / 219.0, 1) << level;
    }
    const auto video = VideoTexture::create(device, bgra, nullptr, nullptr);
    const auto nv12 = test::frame(6, 4, kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange);
    takeCalls();
    video->videoFrameSource(*source, nv12);
    const auto made = takeCalls();
    EXPECT_THAT(made, testing::Contains(testing::HasSubstr("commit")));
    EXPECT_THAT(made, testing::Not(testing::Contains(testing::HasSubstr("waitUntilCompleted"))));
    EXPECT_EQ(video->size(), (Size2<Int>{6, 4}));
    mtlDevice->refused = {"makeCommandBuffer"};
    video->videoFrameSource(*source, nv12);
    EXPECT_THAT(takeMessages(), ElementsAre("Failed to create the command buffer for a video's frame."));
    expectErrors({"makeCommandQueue"}, [&] { return VideoTexture::create(device, bgra, nullptr, nullptr); },
                 {"Failed to create the command queue for a video's frames."});
}

class RenderViewTextureTest : public testing::Test {
protected:
    RenderViewTextureTest() { texture->add(sizes); }

    std::shared_ptr<Device> device = DeviceManager::shared().defaultDevice();
    std::shared_ptr<HeadlessView> view = HeadlessView::create({6, 4}, device->mtlDevice());
    std::shared_ptr<RenderViewTexture> texture = device->makeRenderViewTexture(view);
    std::shared_ptr<test::SizeListener> sizes = std::make_shared<test::SizeListener>();
};

TEST_F(RenderViewTextureTest, AVideosFramesAreShown) {
    const auto converter = device->textureConverter();
    const auto pool = converter->makePixelBufferPool(6, 4, kCVPixelFormatType_32BGRA);
    const auto source = CMSampleBufferFrameSource::create();
    const auto video = device->makeVideoTexture(nullptr);
    video->set(source);
    const auto effect = PresentTextureEffect::create(device, video, texture, view->colorPixelFormat(),
                                                     ContentMode::scaleAspectFill, ImageRotation::degrees0, false);
    for (const unsigned seed : {1, 2}) {
        const auto picture = textureOf(device, test::opaqueNoise(6, 4, seed));
        source->processFrame(test::sample(converter->makePixelBuffer(*picture, *pool)));
        const auto drawable = view->currentDrawable();
        EXPECT_EQ(view->currentDrawable(), drawable);
        effect->setShouldWaitForCompletion(seed == 2);  // and for the frame before
        EXPECT_TRUE(effect->apply(drawable));
        EXPECT_NE(view->currentDrawable(), drawable) << "would be drawn over on its way to the display";
    }
    EXPECT_EQ(view->shownFrameCount(), 2);
    EXPECT_EQ(pictureOf(*converter->texture(view->shownFrame())), test::opaqueNoise(6, 4, 2));
}

TEST_F(RenderViewTextureTest, TellsOfANewSizeInWholePixels) {
    EXPECT_TRUE(texture->resize(6, 4) && sizes->events.empty());
    EXPECT_TRUE(texture->resize(10, 10));
    EXPECT_THAT(std::exchange(sizes->events, {}), ElementsAre("size 6x4"))
        << "the drawables' size, whatever was asked for";
    const auto before = view->currentDrawable();
    sizes->onSize = [](Texture& changed) { EXPECT_EQ(changed.width(), 6) << "the view tells first"; };
    view->setDrawableSize({750.5, 1334});
    view->setDrawableSize({750.5, 1334});
    EXPECT_NE(view->currentDrawable(), before);
    EXPECT_EQ(texture->size(), (Size2<Int>{750, 1334}));
    for (const double side : {HUGE_VAL, std::nan(""), 0x1p63, -0x1p70}) {
        view->setDrawableSize({side, 5});
        view->setDrawableSize({5, side});
    }
    view->draw();
    EXPECT_THAT(sizes->events, ElementsAre("size 750x1334"));
}

TEST_F(RenderViewTextureTest, HasNoImageWhileTheViewShowsNothing) {
    const CGSize empty{0.9, 4}, whole{6, 4};
    const std::pair<std::function<void()>, Int> stepsAndWidths[] = {
        {[this] { view->setMinimised(true); }, 0},
        {[this] { view->setMinimised(false); }, 6},
        {[&] { view->setDrawableSize(empty); }, 0},
        {[&] { view->setDrawableSize(whole); }, 6},
        {[this] { view->setDevice(nullptr); }, 0},
        {[this] { view->setDevice(device->mtlDevice()); }, 6},
        {[this] { view.reset(); }, 0}};
    for (const auto& [step, width] : stepsAndWidths) {
        step();
        EXPECT_EQ(texture->width(), width);
    }
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
    EXPECT_THAT(sizes->events, ElementsAre("size 5x5"));
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
    EXPECT_EQ(CVPixelBufferGetWidth(*view->shownFrame()), 5);
    drawables.erase(drawables.begin());
    const auto late = view->currentDrawable();
    ASSERT_NE(late, nullptr) << "one has come back";
    view.reset();
    late->present();
    EXPECT_EQ(late->texture()->width(), 5u);
}

}  // namespace
}  // namespace ondrix
