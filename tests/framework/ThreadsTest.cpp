// What the headers and docs/concepts.md call safe for any thread, from several threads at once: for sanitizers, and
// each thread must find its own results. What isn't among the promises below stands behind other tests:
//
//     MTLCommandQueue, MTLCommandBuffer  Order.HoldsWithManyWaitingThreads
//     CVPixelBuffer: the last holder     PixelBuffer.OverForeignMemoryReleasesItOnceWhenTheLastHolderLetsGo
//     AVPlayerItem                       PlayerTest.AnItemServesSeveralThreads
//     MovieReader::cancel                ReaderTest.AnotherThreadMayCancel
//     LiveSource                         LiveSourceTest.CancelEndsAWaitForAFrame
//     NSRunLoop::perform, stop           RunLoop.WakesForOtherThreadsAndStopsTheInnermostRun
//     os::Logger, os::setLogSink         LoggerTest.SinksMayBeReplacedWhileOthersLog
//     ResourceTracker                    ResourceTrackerTest.ADestructorMayUntrackWhileOthersReport
#include <atomic>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <thread>
#include <vector>

#include <tests/support/Frames.h>
#include <tests/support/TemporaryFolder.h>

#include <ondrix/platform/avfoundation/AVPlayerItemVideoOutput.h>
#include <ondrix/platform/quartzcore/CADisplayLink.h>

namespace ondrix::test {
namespace {

constexpr int threadCount = 4, rounds = 25;
constexpr auto bgra = MTLPixelFormat::bgra8Unorm;

const std::shared_ptr<Device>& device() {
    static const auto instance = DeviceManager::shared().defaultDevice();
    return instance;
}

/// What threads do at the same time; `mark` is another one for each thread and round. Statics are shared by all.
struct Promise {
    const char* name;
    void (*work)(int mark);
};

Picture noise(int mark) {
    return Picture::noise(17, 9, static_cast<unsigned>(mark));
}

std::shared_ptr<MTLTexture> bareTexture(const Picture& content) {
    auto texture = device()->mtlDevice()->makeTexture({bgra, 17, 9, false, MTLTextureUsage::unknown});
    texture->replace(MTLRegionMake2D(0, 0, 17, 9), 0, content.bytes.data(), 68);
    return texture;
}

void useFactories(int mark) {
    const float value[4] = {static_cast<float>(mark)};
    EXPECT_NE(device()->makeConstantBuffer(value, sizeof value), nullptr);
    EXPECT_NE(device()->makeQuadMesh(), nullptr);
    EXPECT_NE(device()->mtlDevice()->makeSamplerState({}), nullptr);
    EXPECT_NE(device()->defaultQuadMesh(), nullptr);
    EXPECT_NE(Device::create(device()->mtlDevice()), nullptr);
    EXPECT_EQ(pictureOf(*textureOf(device(), noise(mark))), noise(mark));
}

void useManager(int) {
    EXPECT_EQ(&DeviceManager::shared(), &DeviceManager::shared());
    EXPECT_NE(MTLCreateSystemDefaultDevice(), nullptr);
}

std::shared_ptr<MTLLibrary> frameworkLibrary() {
    return device()->mtlDevice()->makeDefaultLibrary(*NSBundle::bundleForClass(MetalTextureConverter::anyClass()),
                                                     nullptr);
}

void useLibraries(int mark) {
    static const auto shared = frameworkLibrary();
    const auto library = mark % 2 == 0 ? shared : frameworkLibrary();
    const auto names = library->functionNames();
    ASSERT_FALSE(names.empty());
    for (const std::string& name : names) EXPECT_EQ(library->makeFunction(name)->name(), name);
}

void usePipelines(int mark) {
    static const auto pipeline = device()->mtlDevice()->makeComputePipelineState(
        frameworkLibrary()->makeFunction("Ondrix::Blit::CS_Main"), nullptr);
    static const auto queue = device()->mtlDevice()->makeCommandQueue();
    const auto source = bareTexture(noise(mark)), target = bareTexture(Picture(17, 9));
    const auto commands = queue->makeCommandBuffer();
    const auto encoder = commands->makeComputeCommandEncoder();
    encoder->setComputePipelineState(pipeline);
    encoder->setTexture(source, 0);
    encoder->setTexture(target, 1);
    encoder->dispatchThreadgroups({2, 1, 1}, {16, 16, 1});
    encoder->endEncoding();
    commands->commit();
    std::jthread other([&] { commands->waitUntilCompleted(); });
    commands->waitUntilCompleted();
    EXPECT_EQ(commands->status(), MTLCommandBufferStatus::completed);
    EXPECT_EQ(pictureOf(*target), noise(mark));
}

void useRunner(int mark) {
    static const auto runner =
        MetalComputeCommandRunner::create(device()->mtlDevice(), frameworkLibrary(), "Ondrix::Blit::CS_Main");
    const auto source = bareTexture(noise(mark)), target = bareTexture(Picture(17, 9));
    EXPECT_TRUE(runner->run({{0, source}, {1, target}}, 17, 9, nullptr, true));
    EXPECT_EQ(pictureOf(*target), noise(mark));
}

void useEffects(int mark) {
    const auto output = textureOf(device(), Picture(17, 9)), turned = textureOf(device(), Picture(9, 17));
    const auto there = PresentTextureEffect::create(device(), textureOf(device(), noise(mark)), turned, bgra,
                                                    ContentMode::scaleToFill, ImageRotation::degrees90, false);
    const auto back = PresentTextureEffect::create(device(), turned, output, bgra, ContentMode::scaleToFill,
                                                   ImageRotation::degrees270, false);
    EXPECT_TRUE(there->apply(nullptr));
    EXPECT_TRUE(back->applyAndWait(nullptr));
    EXPECT_EQ(pictureOf(*output), noise(mark));
}

/// Replaces the delegate of a common effect while others are told, and applies effects from what it is told.
void useDelegates(int mark) {
    struct Delegate : EffectDelegate {
        void effectDidStartGPUTasks(Effect&) override {}
        void effectDidCompleteGPUTasks(Effect&) override { ++told; }
        std::atomic<int> told{0};
    };
    static const auto common = BlitEffect::create(device(), textureOf(device(), noise(1)),
                                                  textureOf(device(), noise(2)), PassType::computePass, bgra);
    static std::mutex oneAtATime;  // for all but the delegate
    static std::vector<std::shared_ptr<Delegate>> delegates;
    const auto delegate = std::make_shared<Delegate>();
    {
        const std::scoped_lock lock(oneAtATime);
        delegates.push_back(delegate);  // there is one for the check below, whichever thread comes last
    }
    common->setDelegate(delegate);
    if (mark % 2 == 0) {
        const std::scoped_lock lock(oneAtATime);
        EXPECT_TRUE(common->apply(nullptr));
    }
    (void)common->delegate();  // which others have replaced, or let go of
}

void usePixels(int mark) {
    static const auto common = textureOf(device(), noise(0));
    EXPECT_EQ(readPixels(*common, nullptr)->bytes.size(), 17u * 9 * 4);
    const auto own = textureOf(device(), noise(0));
    EXPECT_TRUE(writePixels(*own, noise(mark).bytes.data(), 68, nullptr));
    EXPECT_EQ(pictureOf(*own), noise(mark));
}

void usePictures(int mark) {
    static const TemporaryFolder folder;
    static const auto common = textureOf(device(), noise(0));
    const auto file = folder.path() / (std::to_string(mark) + ".png");
    EXPECT_TRUE(savePicture(*common, mark % 2 == 0 ? file : folder.path() / "common.png", nullptr));
    if (mark % 2 != 0) return;
    EXPECT_EQ(pictureOf(*device()->makeTexture(URL(file), false)), noise(0));
}

void useConverter(int mark) {
    const auto converter = device()->textureConverter();
    const auto pool = converter->makePixelBufferPool(17, 9, kCVPixelFormatType_32BGRA);
    const auto pixels = converter->makePixelBuffer(*textureOf(device(), noise(mark)), *pool);
    ASSERT_NE(pixels, nullptr);
    EXPECT_EQ(pictureOf(*converter->texture(pixels)), noise(mark));
    constexpr OSType ranges[] = {kCVPixelFormatType_420YpCbCr8BiPlanarFullRange,
                                 kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange};
    EXPECT_NE(converter->texture(test::noise(20, 10, ranges[mark / threadCount % 2])), nullptr);
}

/// No two holders may ever have the same buffer: each writes its own mark and must find it again.
void usePools(int mark) {
    static const auto pool = device()->textureConverter()->makePixelBufferPool(128, 1, kCVPixelFormatType_32BGRA);
    for (int round = 0; round < 30; ++round) {
        std::shared_ptr<CVPixelBuffer> buffer;
        ASSERT_EQ(CVPixelBufferPoolCreatePixelBuffer(*pool, &buffer), kCVReturnSuccess);
        auto* const bytes = CVPixelBufferGetIOSurface(buffer)->baseAddressOfPlane(0);
        std::memset(bytes, mark, 512);
        std::this_thread::yield();
        EXPECT_TRUE(bytes[0] == mark && bytes[511] == mark);
    }
}

std::shared_ptr<CMSampleBuffer> sampleOf(int mark) {
    return sample(frame(8, 8), {CMTimeMake(1, 30), CMTimeMake(mark, 30), CMTimeMake(mark, 30)});
}

void useSamples(int mark) {
    static const auto common = sampleOf(5);
    for (const auto& [sample, ticks] : {std::pair{common, 5}, {sampleOf(mark), mark}}) {
        EXPECT_EQ(CMSampleBufferGetPresentationTimeStamp(*sample).value, ticks);
        EXPECT_EQ(CVPixelBufferGetWidth(*CMSampleBufferGetImageBuffer(*sample)), 8);
    }
}

void useOutputs(int mark) {
    static const auto output = AVPlayerItemVideoOutput::create({});
    static std::atomic<int> space{0};
    output->setOnSpace([] { ++space; });
    const CMTime end = CMTimeMake(1 << 20, 1);
    const auto picture = CMSampleBufferGetImageBuffer(*sampleOf(mark));
    {
        static std::mutex appending;  // frames come in the order of their times
        static std::int64_t time = 0;
        const std::lock_guard lock(appending);
        if (output->append(picture, CMTimeMake(++time, 1))) output->dropFramesBefore(CMTimeMake(time - 2, 1));
    }
    (void)output->hasNewPixelBuffer(end);
    (void)output->copyPixelBuffer(end, nullptr);
    if (mark % 5 == 0) output->flush();
}

void useClocks(int mark) {
    const double before = CACurrentMediaTime();
    CADisplayLink::setRefreshRate(50 + mark % 2);
    EXPECT_GT(CADisplayLink::refreshInterval(), 0);
    EXPECT_GE(CACurrentMediaTime(), before);
}

class Threads : public testing::TestWithParam<Promise> {};

TEST_P(Threads, MayAllUse) {
    const LogCapture log;
    std::vector<std::jthread> threads;
    for (int thread = 0; thread < threadCount; ++thread) {
        threads.emplace_back([thread] {
            for (int round = 0; round < rounds; ++round) GetParam().work(round * threadCount + thread);
        });
    }
    threads.clear();
    EXPECT_THAT(log.messages(), testing::IsEmpty());
    CADisplayLink::setRefreshRate(60);
}

constexpr Promise promises[] = {{"factories", useFactories}, {"manager", useManager}, {"libraries", useLibraries},
                                {"pipelines", usePipelines}, {"runner", useRunner},   {"effects", useEffects},
                                {"delegates", useDelegates}, {"pixels", usePixels},   {"pictures", usePictures},
                                {"converter", useConverter}, {"pools", usePools},     {"samples", useSamples},
                                {"outputs", useOutputs},     {"clocks", useClocks}};
INSTANTIATE_TEST_SUITE_P(AtOnce, Threads, testing::ValuesIn(promises),
                         [](const auto& test) { return std::string(test.param.name); });

}  // namespace
}  // namespace ondrix::test
