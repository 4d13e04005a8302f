// Work that is repeated for every frame asks for no memory once it runs. Counts
// what any thread takes from the heap, so this is a program of its own.
#include <atomic>
#include <cerrno>
#include <cstdlib>
#include <functional>
#include <thread>

#include <gtest/gtest.h>

#include <ondrix/Ondrix.h>

namespace {

std::atomic<bool> counting{false};
std::atomic<int> allocations{0};

void* counted(void* memory) {
    if (counting.load(std::memory_order_relaxed)) ++allocations;
    return memory;
}

}  // namespace

extern "C" {
void* __libc_malloc(std::size_t size);
void* __libc_calloc(std::size_t count, std::size_t size);
void* __libc_realloc(void* memory, std::size_t size);
void* __libc_memalign(std::size_t alignment, std::size_t size);

void* malloc(std::size_t size) {
    return counted(__libc_malloc(size));
}
void* calloc(std::size_t count, std::size_t size) {
    return counted(__libc_calloc(count, size));
}
void* realloc(void* memory, std::size_t size) {
    return counted(__libc_realloc(memory, size));
}
void* aligned_alloc(std::size_t alignment, std::size_t size) {
    return counted(__libc_memalign(alignment, size));
}
int posix_memalign(void** memory, std::size_t alignment, std::size_t size) {
    *memory = counted(__libc_memalign(alignment, size));
    return *memory == nullptr ? ENOMEM : 0;
}
}

namespace ondrix {

namespace {

struct Finished : EffectDelegate {
    void effectDidStartGPUTasks(Effect&) override {}
    void effectDidCompleteGPUTasks(Effect&) override { ++count; }
    std::atomic<int> count{0};
};

class Allocation : public testing::Test {
protected:
    std::shared_ptr<Texture> texture(Int width, Int height) {
        return device->makeTexture(
            width, height, MTLPixelFormat::bgra8Unorm,
            MTLTextureUsage::shaderRead | MTLTextureUsage::shaderWrite | MTLTextureUsage::renderTarget);
    }
    /// How often memory is taken in so many frames, after as many more.
    static int inFrames(int count, const std::function<void()>& frame) {
        for (int turn = 0; turn < count; ++turn) frame();
        allocations = 0;
        counting = true;
        for (int turn = 0; turn < count; ++turn) frame();
        counting = false;
        return allocations;
    }
    /// Memory is kept for as many frames as have existed at once, and how many do depends on how threads happen to run:
    /// here are more than there are when it is counted. A large one lets all threads of the device start.
    void makeFramesAtOnce(Effect& effect) {
        ASSERT_TRUE(BlitEffect::create(device, texture(1500, 1000), texture(1500, 1000), PassType::computePass,
                                       MTLPixelFormat::bgra8Unorm)
                        ->apply(nullptr));
        ASSERT_TRUE(effect.apply(nullptr));
        const auto queue = device->mtlDevice()->makeCommandQueue();
        std::vector<std::shared_ptr<MTLCommandBuffer>> frames(10);
        for (auto& frame : frames) {
            frame = queue->makeCommandBuffer();
            ASSERT_TRUE(effect.encode(*frame));
            frame->addCompletedHandler([](MTLCommandBuffer&) {});
        }
        for (const auto& frame : frames) frame->commit();
        frames.back()->waitUntilCompleted();
    }

    std::shared_ptr<Device> device = (setenv("ONDRIX_THREADS", "2", 0), DeviceManager::shared().defaultDevice());
    std::shared_ptr<Texture> source = texture(640, 360), middle = texture(320, 500), target = texture(500, 320);
};

}  // namespace

TEST_F(Allocation, IsSeen) {
    EXPECT_GE(inFrames(1, [this] { EXPECT_NE(texture(8, 8), nullptr); }), 1);  // also inside of the framework
}

TEST_F(Allocation, NotForEffects) {
    const auto blit = BlitEffect::create(device, source, middle, PassType::computePass, MTLPixelFormat::bgra8Unorm);
    const auto present = PresentTextureEffect::create(device, middle, target, MTLPixelFormat::bgra8Unorm,
                                                      ContentMode::scaleAspectFit, ImageRotation::degrees90, true);
    const auto resize = ResizeTextureEffect::create(device, middle, target, ResizeFilter::lanczos, nullptr);
    const auto several = Effect::create(device);
    several->add(BlitRenderPass::create(device, source, middle, MTLPixelFormat::bgra8Unorm), "first");
    several->add(BlitRenderPass::create(device, middle, target, MTLPixelFormat::bgra8Unorm), "second");
    for (const auto& effect :
         {std::shared_ptr<Effect>(blit), std::shared_ptr<Effect>(present), std::shared_ptr<Effect>(resize), several}) {
        makeFramesAtOnce(*effect);
        const auto finished = std::make_shared<Finished>();
        effect->setDelegate(finished);
        int started = 0;
        for (const bool wait : {true, false}) {
            effect->setShouldWaitForCompletion(wait);
            const int taken = inFrames(200, [&] {
                ASSERT_TRUE(effect->apply(nullptr));
                ++started;
                while (started - finished->count > 3) std::this_thread::yield();
            });
            EXPECT_EQ(taken, 0) << wait;
        }
    }
}

// NV12 to a texture, drawn into another, and back to NV12. A pool would take one piece of memory for each frame.
TEST_F(Allocation, NotForFrames) {
    constexpr OSType nv12 = kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange;
    const auto input = FrameTexture::create(device, MTLPixelFormat::bgra8Unorm, nullptr);
    const auto writer = FrameWriter::create(device, nv12, {}, nullptr);
    const auto place = PlaceTextureEffect::create(device, input, target, MTLPixelFormat::bgra8Unorm,
                                                  ContentMode::scaleAspectFit, ImageRotation::degrees0, false, nullptr);
    std::shared_ptr<CVPixelBuffer> frame, written;
    ASSERT_EQ(CVPixelBufferCreate(640, 360, nv12, nullptr, &frame), kCVReturnSuccess);
    ASSERT_EQ(CVPixelBufferCreate(500, 320, nv12, nullptr, &written), kCVReturnSuccess);
    const auto queue = device->mtlDevice()->makeCommandQueue();
    const int taken = inFrames(200, [&] {
        const auto commandBuffer = queue->makeCommandBuffer();
        ASSERT_TRUE(input->show(frame, *commandBuffer, nullptr) && place->encode(*commandBuffer));
        ASSERT_TRUE(writer->write(*target, written, *commandBuffer, nullptr));
        commandBuffer->commit();
        commandBuffer->waitUntilCompleted();
    });
    EXPECT_EQ(taken, 0);
}

}  // namespace ondrix
