// Whatever allocation fails, on whatever thread: every operation returns its absent result and says so, nothing leaks,
// and the next round comes out right. Fails operator new and calloc, so this is a program of its own.
#include <atomic>
#include <chrono>
#include <functional>
#include <new>
#include <numeric>
#include <string>
#include <thread>
#include <vector>

#include <gtest/gtest.h>
#include <sys/resource.h>
#include <tests/support/FailingMemory.h>
#include <tests/support/OutOfMemory.h>

#include <ondrix/Ondrix.h>

namespace ondrix {
namespace {

using test::FailingMemory;
using test::tryAll;

std::atomic<int> messages{0};

void countMessages() {
    os::setLogSink([](const os::LogMessage&) { ++messages; });
}

struct Finished : EffectDelegate {
    void effectDidStartGPUTasks(Effect&) override {}
    void effectDidCompleteGPUTasks(Effect&) override { ++count; }
    std::atomic<int> count{0};
};

/// A program that uses most of the framework. The application's own memory is taken beforehand.
class Program {
public:
    Program() {
        input_.resize(std::size_t{width} * height * 4);
        std::iota(input_.begin(), input_.end(), std::uint8_t{0});
        expected.reserve(1 << 16);
        result.reserve(1 << 16);
    }

    /// Makes everything, and drops it again. False when something was absent.
    bool run() {
        result.clear();
        error = NSError();
        if (withDefaultDevice && !use(DeviceManager::shared().defaultDevice())) return false;
        auto mtlDevice = MTLCreateSystemDefaultDevice();
        return mtlDevice != nullptr ? use(Device::create(std::move(mtlDevice), &error)) : lacked();
    }

    std::vector<std::uint8_t> result, expected;  ///< bytes of all that was drawn
    NSError error;
    bool withDefaultDevice = true;

private:
    static constexpr Int width = 40, height = 22;
    static constexpr auto bgra = MTLPixelFormat::bgra8Unorm;

    bool use(const std::shared_ptr<Device>& device) {
        return device != nullptr && draw(*device, device) && convert(*device) && show(device) && compute(*device);
    }
    std::shared_ptr<Texture> texture(Device& device) {
        return device.makeTexture(width, height, bgra, MTLTextureUsage::unknown, &error);
    }
    bool add(const Texture& texture) {
        const auto pixels = readPixels(texture, &error);
        if (!pixels) return false;
        const auto* bytes = reinterpret_cast<const std::uint8_t*>(pixels->bytes.data());
        result.insert(result.end(), bytes, bytes + pixels->bytes.size());
        return true;
    }
    bool draw(Device& device, const std::shared_ptr<Device>& owner) {
        const auto source = texture(device), middle = texture(device), target = texture(device);
        if (!source || !middle || !target || !writePixels(*source, input_.data(), width * 4, &error)) return false;
        const auto blit = BlitEffect::create(owner, source, middle, PassType::computePass, bgra);
        const auto present = PresentTextureEffect::create(owner, middle, target, bgra, ContentMode::scaleAspectFit,
                                                          ImageRotation::degrees90, true);
        const auto chain = Effect::create(owner);
        const auto pass = BlitRenderPass::create(owner, target, source, bgra);
        if (!blit || !present || !chain || !pass) return false;
        blit->setDelegate(finished_);
        chain->add(pass, "blit");
        if (chain->getPass("blit") != pass || !blit->apply(nullptr) || !present->applyAndWait(&error)) return false;
        if (!chain->applyAndWait(&error) || !add(*middle) || !add(*target)) return false;
        return target->resize(Size2<Int>(5, 4), &error) && present->applyAndWait(&error) && add(*target);
    }
    bool convert(Device& device) {
        const auto converter = device.textureConverter();
        std::shared_ptr<CVPixelBuffer> frame;
        if (CVPixelBufferCreate(width, height, kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange, nullptr, &frame) != 0) {
            return lacked();
        }
        {
            const PixelBufferLock lock(*frame);
            for (Int plane = 0; plane < 2; ++plane) {
                auto* bytes = static_cast<std::uint8_t*>(CVPixelBufferGetBaseAddressOfPlane(*frame, plane));
                std::iota(bytes, bytes + CVPixelBufferGetBytesPerRowOfPlane(*frame, plane) * height / (plane + 1), 0);
            }
        }
        const auto pool = converter->makePixelBufferPool(width, height, kCVPixelFormatType_32BGRA, &error);
        std::shared_ptr<CMFormatDescription> format;
        std::shared_ptr<CMSampleBuffer> sample;
        if (!pool) return false;
        if (CMVideoFormatDescriptionCreateForImageBuffer(frame, &format) != noErr) return lacked();
        if (CMSampleBufferCreateReadyWithImageBuffer(frame, format, {}, &sample) != noErr) return lacked();
        const auto frames = CMSampleBufferFrameSource::create();
        bool delivered = false;
        const auto video = device.makeVideoTexture([&delivered](VideoTexture&) { delivered = true; });
        if (!frames || !video) return false;
        video->set(frames);
        frames->processFrame(sample);
        if (!delivered || !add(*video)) return false;
        const auto copy = converter->makePixelBuffer(*video, *pool, &error);
        return copy && converter->makeSampleBuffer(copy, *sample, &error) && converter->texture(copy, &error);
    }
    bool show(const std::shared_ptr<Device>& device) {
        const auto view = HeadlessView::create({width, height}, device->mtlDevice());
        if (!view) return lacked();
        const auto output = device->makeRenderViewTexture(view);
        const auto source = texture(*device);
        if (!output || !source || !writePixels(*source, input_.data(), width * 4, &error)) return false;
        const auto effect = PresentTextureEffect::create(device, source, output, bgra, ContentMode::scaleToFill,
                                                         ImageRotation::degrees0, false);
        if (!effect) return false;
        const auto drawable = view->currentDrawable();
        if (!drawable) return lacked();
        if (!effect->applyAndWait(drawable, &error)) return false;
        view->setDrawableSize({20, 20});
        return view->shownFrameCount() == 1;
    }
    bool compute(Device& device) {
        const auto library = device.makeFrameworkShaderLibrary(&error);
        const auto names = library ? library->functionNames(ShaderType::computeShader) : std::vector<std::string>();
        const auto bundle = NSBundle::bundleForClass(MetalTextureConverter::anyClass());
        if (!library || !bundle || names.empty()) return lacked();
        const auto runner = MetalComputeCommandRunner::create(device.mtlDevice(), *bundle, blitName_, &error);
        return runner && runner->makeConstantBuffer(input_.data(), 16, 3, &error);
    }
    /// For operations of the platform, which say so by their result alone.
    bool lacked() {
        error = NSError("status");
        return false;
    }
    const std::shared_ptr<Finished> finished_ = std::make_shared<Finished>();
    const std::string blitName_ = "Ondrix::Blit::CS_Main";
    std::vector<std::uint8_t> input_;
};

/// One round in which memory lacks, and one in which it doesn't; an empty text when both are right.
std::string tryRound(Program& program, long n, bool allThatFollow) {
    messages = 0;
    bool complete = false;
    {
        const FailingMemory failing(n, allThatFollow);
        try {
            complete = program.run();
        } catch (const std::exception& exception) {
            FailingMemory::stop();
            return std::string("an exception left an operation: ") + exception.what();
        }
    }
    // Work that nobody waits for may fail when its operation is over; the device then says so.
    const bool isRight = complete && program.result == program.expected;
    if (!isRight && messages == 0 && program.error.localizedDescription().empty()) return "nobody was told";
    if (!program.run()) return "the next round fails: " + program.error.localizedDescription();
    return program.result == program.expected ? "" : "the next round drew wrong pixels";
}

// Before anything of the framework was used: each in a process of its own. Must be the first.
TEST(OutOfMemory, InTheFirstRound) {
    const auto inChild = [](const std::function<std::string(Program&)>& run) {
        return test::inChild([&] {
            countMessages();
            Program program;
            return run(program);
        });
    };
    std::vector<std::uint8_t> expected;
    const std::string right = inChild([](Program& program) {
        const FailingMemory counted(0, false);
        program.run();
        const std::string count = std::to_string(FailingMemory::count()) + '\n';
        return count + std::string(program.result.begin(), program.result.end());
    });
    ASSERT_GT(right.size(), 1000u) << right;
    expected.assign(right.begin() + static_cast<std::ptrdiff_t>(right.find('\n')) + 1, right.end());
    tryAll("first round", std::atol(right.c_str()), [&](long n, bool allThatFollow) {
        return inChild([&](Program& program) {
            program.expected = expected;
            return tryRound(program, n, allThatFollow);
        });
    });
}

TEST(OutOfMemory, InALaterRound) {
    countMessages();
    Program program;
    program.withDefaultDevice = false;  // nothing lives on from one round to the next
    for (int round = 0; round < 3; ++round) ASSERT_TRUE(program.run()) << program.error.localizedDescription();
    program.expected = program.result;
    long count = 0;
    {
        const FailingMemory counted(0, false);
        program.run();
        count = FailingMemory::count();
    }
    tryAll("later round", count, [&](long n, bool allThatFollow) -> std::string {
        long before = 0;
        for (int attempt = 0; attempt < 3; ++attempt) {  // whatever is made once is made in the first
            before = FailingMemory::live();
            const std::string problem = tryRound(program, n, allThatFollow);
            if (!problem.empty()) return problem;
            // The device's threads end by themselves where they were the last to hold it.
            const auto patience = std::chrono::steady_clock::now() + std::chrono::seconds(1);
            while (FailingMemory::live() > before && std::chrono::steady_clock::now() < patience) {
                std::this_thread::yield();
            }
            if (FailingMemory::live() <= before) return "";
        }
        return "it leaks " + std::to_string(FailingMemory::live() - before) + " blocks";
    });
}

// An address space that ends: no operator new is asked for the pixels of a texture.
TEST(OutOfMemory, OfTexturesAsLargeAsTheAddressSpace) {
    countMessages();
    const auto device = DeviceManager::shared().defaultDevice();
    rlimit all{};
    ASSERT_EQ(getrlimit(RLIMIT_AS, &all), 0);
    const rlimit little{rlim_t{800} << 20, all.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_AS, &little), 0);
    NSError error;
    const auto large = device->makeTexture(16384, 16384, MTLPixelFormat::rgba32Float, MTLTextureUsage::unknown, &error);
    const auto small = device->makeTexture(64, 64, MTLPixelFormat::rgba32Float, MTLTextureUsage::unknown, &error);
    std::shared_ptr<CVPixelBuffer> frame;
    const CVReturn status = CVPixelBufferCreate(16384, 16384, kCVPixelFormatType_32BGRA, nullptr, &frame);
    setrlimit(RLIMIT_AS, &all);
    EXPECT_EQ(large, nullptr);
    EXPECT_NE(error.localizedDescription().find("16384x16384"), std::string::npos) << error.localizedDescription();
    EXPECT_NE(small, nullptr);
    EXPECT_EQ(status, kCVReturnAllocationFailed);
}

}  // namespace
}  // namespace ondrix
