#include <algorithm>

#include <tests/support/RecordingTest.h>
#include <tests/video/Frames.h>

namespace ondrix {
namespace {

using test::PictureTexture;
using testing::ElementsAre;

/// Shows what the framework alone sees.
struct OpenVideoTexture : VideoTexture {
    OpenVideoTexture(std::shared_ptr<Device> device, FrameAvailable frameAvailable)
        : VideoTexture(std::move(device), std::move(frameAvailable)) {}
    using Texture::mtlTexture;
};

/// A source that writes down what is done to it.
struct RecordingSource : VideoFrameSource {
    explicit RecordingSource(std::vector<std::string>& e) : events(e) {}
    void destroy() override { events.push_back("destroy"); }
    void add(const std::shared_ptr<VideoFrameSourceDelegate>&) override { events.push_back("add"); }
    void remove(const VideoFrameSourceDelegate&) override { events.push_back("remove"); }
    std::vector<std::string>& events;
};

class VideoTextureTest : public testing::Test {
protected:
    VideoTextureTest() {
        texture->set(source);
        texture->add(sizes);
    }
    void deliver(const std::shared_ptr<CVPixelBuffer>& frame) { source->processFrame(test::sample(frame)); }
    std::vector<std::string> takeEvents() { return std::exchange(events, {}); }

    std::vector<std::string> events;
    std::shared_ptr<Device> device = DeviceManager::shared().defaultDevice();
    std::shared_ptr<CMSampleBufferFrameSource> source = CMSampleBufferFrameSource::create();
    std::shared_ptr<test::SizeListener> sizes = std::make_shared<test::SizeListener>(events);
    std::shared_ptr<OpenVideoTexture> texture = std::make_shared<OpenVideoTexture>(device, [this](VideoTexture& from) {
        events.push_back("frame " + std::to_string(from.width()) + "x" + std::to_string(from.height()));
    });
};

TEST_F(VideoTextureTest, TellsOfAnotherSizeAndThenOfTheFrame) {
    EXPECT_EQ(texture->width(), 0);
    deliver(test::frame(1, 1));
    EXPECT_THAT(takeEvents(), ElementsAre("frame 1x1"));
    sizes->onSize = [](Texture& changed) { EXPECT_EQ(changed.width(), 6); };
    deliver(test::frame(6, 4));
    deliver(test::frame(6, 4, kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange));
    EXPECT_THAT(takeEvents(), ElementsAre("size 6x4", "frame 6x4", "frame 6x4"));
    deliver(test::frame(6, 5));
    EXPECT_THAT(takeEvents(), ElementsAre("size 6x5", "frame 6x5"));
}

TEST_F(VideoTextureTest, ABGRAFrameIsTheImageItselfAndAnNV12FrameTheSharedOne) {
    const auto frame = test::frame(33, 5);
    deliver(frame);
    test::forEachElement(*frame, 0, 4, [](std::uint8_t* element, Int, Int) { element[1] = 77; });
    const auto image = texture->mtlTexture();
    EXPECT_EQ(PictureTexture::read(*image).at(32, 4, 1), 77) << "copied";
    deliver(frame);
    EXPECT_NE(texture->mtlTexture(), image);

    const auto planes = test::frame(33, 5, kCVPixelFormatType_420YpCbCr8BiPlanarFullRange);
    deliver(planes);
    const auto converted = texture->mtlTexture();
    for (const Int plane : {0, 1}) {
        test::forEachElement(*planes, plane, 1 + plane, [plane](std::uint8_t* element, Int, Int) {
            std::fill_n(element, 1 + plane, static_cast<std::uint8_t>(plane == 0 ? 201 : 128));
        });
    }
    deliver(planes);
    EXPECT_EQ(texture->mtlTexture(), converted);
    for (const int colour : {0, 1, 2}) EXPECT_NEAR(PictureTexture::read(*converted).at(32, 4, colour), 201, 1);
}

TEST_F(VideoTextureTest, ASourceIsDestroyedForAllItsListenersWhenItIsReplacedOrReleased) {
    const auto listener = std::make_shared<test::FrameListener>();
    source->add(listener);
    source->add(texture);
    deliver(test::frame(2, 2));
    EXPECT_THAT(takeEvents(), ElementsAre("size 2x2", "frame 2x2")) << "added twice, told once";
    const auto second = std::make_shared<RecordingSource>(events);
    texture->set(second);
    deliver(test::frame(2, 2));
    EXPECT_EQ(listener->frames.size(), 1u);
    texture->set(second);
    texture->clearFrameSource();
    texture->clearFrameSource();
    EXPECT_THAT(takeEvents(), ElementsAre("add", "destroy", "add", "destroy"));
    EXPECT_EQ(texture->width(), 2) << "the image stays";

    texture->set(second);
    texture->prepareForRelease();
    EXPECT_EQ(texture->mtlTexture(), nullptr);
    texture->set(source);
    deliver(test::frame(2, 2));
    EXPECT_THAT(takeEvents(), ElementsAre("add", "destroy")) << "a callback, or a size that was known";
}

TEST_F(VideoTextureTest, ACallbackMayReleaseOrDropItsTexture) {
    sizes->onSize = [](Texture& changed) { changed.prepareForRelease(); };
    deliver(test::frame(2, 2));
    EXPECT_THAT(takeEvents(), ElementsAre("size 2x2")) << "there is no callback any more";
    sizes->onSize = nullptr;

    const std::weak_ptr<VideoTexture> observer = texture;
    texture->setOnFrameAvailable([this, canary = std::make_shared<int>(5)](VideoTexture& from) {
        texture.reset();
        from.prepareForRelease();
        events.push_back("frame " + std::to_string(*canary));
    });
    texture->videoFrameSource(*source, test::frame(2, 2));
    EXPECT_THAT(takeEvents(), ElementsAre("frame 5"));
    EXPECT_TRUE(observer.expired());
}

using VideoTextureFailureTest = test::RecordingTest;

TEST_F(VideoTextureFailureTest, AFrameThatFailsIsReportedAndLeftOut) {
    std::vector<std::string> events;
    const auto sizes = std::make_shared<test::SizeListener>(events);
    const auto texture = device->makeVideoTexture([&](VideoTexture&) { events.push_back("frame"); });
    const auto source = CMSampleBufferFrameSource::create();
    texture->set(source);
    texture->add(sizes);
    source->processFrame(test::sample(test::frame(4, 2)));
    mtlDevice->refused = {"wrapPlane"};
    source->processFrame(test::sample(test::frame(6, 2)));
    EXPECT_EQ(texture->width(), 4);
    mtlDevice->refused = {};
    source->processFrame(test::sample(test::frame(4, 2)));
    EXPECT_THAT(events, ElementsAre("size 4x2", "frame", "frame")) << "the failed frame left something";

    struct BareDevice : Device {
        explicit BareDevice(std::shared_ptr<MTLDevice> mtlDevice) : Device(std::move(mtlDevice)) {}
    };
    std::make_shared<BareDevice>(mtlDevice)->makeVideoTexture(nullptr)->videoFrameSource(*source, test::frame(4, 2));
    EXPECT_THAT(
        takeMessages(),
        ElementsAre("Failed creating texture from the pixel buffer acquired from the latest video frame.",
                    "Failed to get the texture converter from GFX device to convert pixel buffers to Metal textures."));
}

}  // namespace
}  // namespace ondrix
