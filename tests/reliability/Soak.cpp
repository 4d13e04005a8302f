// Four video pipelines on threads of their own, for as long as one likes:
//
//     soak SECONDS
//
// Each converts NV12 frames, fits, turns and mirrors them into outputs of changing size, runs effects over the result
// and reads it back. The same rounds of frames come again and again: each frame must have the pixels of the first
// round, and after the first few rounds neither memory nor descriptors nor threads may grow. Prints "soak: N tried, N
// survived" in frames, and what it measured; the exit status is 0 when all survived and nothing grew.
#include <algorithm>
#include <atomic>
#include <barrier>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <future>
#include <iostream>
#include <string_view>
#include <thread>
#include <vector>

#include <malloc.h>
#include <unistd.h>

#include <ondrix/Ondrix.h>
#include <ondrix/effects/EffectCatalog.h>

using namespace ondrix;

namespace {

namespace fs = std::filesystem;

constexpr int pipelineCount = 4, framesPerRound = 24;
constexpr int warmUpRounds = 6;
// What an allocator may keep for itself, for each thread and size.
constexpr std::int64_t heapSlack = 1 << 20, residentSlack = 8 << 20;

/// What the process holds, in bytes and numbers.
struct Holdings {
    std::int64_t resident = 0, heap = 0, descriptors = 0, threads = 0;

    static Holdings now() {
        Holdings holdings;
        std::int64_t pages = 0;
        std::ifstream("/proc/self/statm") >> pages >> holdings.resident;
        holdings.resident *= sysconf(_SC_PAGESIZE);
        const auto heap = mallinfo2();
        holdings.heap = static_cast<std::int64_t>(heap.uordblks + heap.hblkhd);
        const auto count = [](const char* folder) {
            return std::distance(fs::directory_iterator(folder), fs::directory_iterator());
        };
        holdings.descriptors = count("/proc/self/fd");
        holdings.threads = count("/proc/self/task");
        return holdings;
    }
    [[nodiscard]] bool isLevelWith(const Holdings& before) const {
        return resident <= before.resident + residentSlack && heap <= before.heap + heapSlack &&
               descriptors <= before.descriptors && threads <= before.threads;
    }
};

std::ostream& operator<<(std::ostream& out, const Holdings& holdings) {
    return out << holdings.resident / 1024 << " KiB resident, " << holdings.heap / 1024 << " KiB of heap, "
               << holdings.descriptors << " descriptors, " << holdings.threads << " threads";
}

/// Returns when the device has let go of all work that was committed before. It does so on a thread of its own, which
/// may be behind.
void waitForCompletion(MTLDevice& device) {
    for (int turn = 0; turn < 2; ++turn) {  // what the first holds is gone when the second is told
        std::promise<void> told;
        const auto commands = device.makeCommandQueue()->makeCommandBuffer();
        commands->addCompletedHandler([&told](auto&) { told.set_value(); });
        commands->commit();
        told.get_future().wait();
    }
}

/// One source, one output, one chain of effects, all on a device and a converter of its own.
class Pipeline {
public:
    explicit Pipeline(int number)
        : number_(number),
          device_(Device::create(DeviceManager::shared().defaultDevice()->mtlDevice())),
          effectLibrary_(effects::makeEffectLibrary(*device_)),
          output_(makeTexture()),
          result_(makeTexture()),
          expected_(framesPerRound) {}

    /// Returns the number of frames that were wrong.
    int runRound() {
        int wrong = 0;
        for (int frame = 0; frame < framesPerRound; ++frame) {
            const std::size_t checksum = run(frame);
            std::size_t& expected = expected_[static_cast<std::size_t>(frame)];
            if (isFirst_) expected = checksum;
            if (checksum == 0 || checksum != expected) ++wrong;
        }
        isFirst_ = false;
        return wrong;
    }

private:
    [[nodiscard]] std::shared_ptr<Texture> makeTexture() const {
        return device_->makeTexture(8, 8, MTLPixelFormat::bgra8Unorm, MTLTextureUsage::unknown);
    }

    [[nodiscard]] std::shared_ptr<CVPixelBuffer> makeFrame(int frame) const {
        constexpr OSType formats[] = {kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange,
                                      kCVPixelFormatType_420YpCbCr8BiPlanarFullRange};
        std::shared_ptr<CVPixelBuffer> buffer;
        const int sides = 96 + 16 * (frame / 8);
        if (CVPixelBufferCreate(2 * sides, sides, formats[frame % 2], nullptr, &buffer) != kCVReturnSuccess)
            return nullptr;
        const PixelBufferLock lock(buffer);
        for (Int plane = 0; plane < 2; ++plane) {
            for (Int y = 0; y < lock.height(plane); ++y) {
                std::uint8_t* row = lock.row(y, plane);
                for (Int x = 0; x < lock.width(plane) * (plane + 1); ++x) {
                    row[x] = static_cast<std::uint8_t>(x * (3 + number_) + y * 7 + frame * 11);
                }
            }
        }
        return buffer;
    }

    /// Returns a checksum of the result, and 0 when a step failed.
    std::size_t run(int frame) {
        const auto buffer = makeFrame(frame);
        const auto picture = buffer ? device_->textureConverter()->texture(buffer) : nullptr;
        const Int side = 64 + 8 * (frame % 5);
        if (picture == nullptr || !output_->resize(side, side + 5) || !result_->resize(side, side + 5)) return 0;
        const auto source = device_->makeTexture(picture);
        NSError error;
        const auto present = PresentTextureEffect::create(
            device_, source, output_, MTLPixelFormat::bgra8Unorm, static_cast<ContentMode>(frame % 3),
            static_cast<ImageRotation>(frame % 4), frame % 2 == 1, &error);
        const auto& all = effects::allEffects();
        const auto effect =
            std::ranges::find(all, frame % 2 == 0 ? "gaussian-blur" : "vignette", &effects::EffectDescription::name);
        const auto pass = effect->makePass(device_, *effectLibrary_, output_, result_, &error);
        const auto chain = Effect::create(device_, &error);
        if (present == nullptr || pass == nullptr || chain == nullptr) return 0;
        chain->add(pass, "effect");
        if (!present->apply(nullptr) || !chain->applyAndWait(&error)) return 0;
        const auto pixels = readPixels(*result_, &error);
        if (!pixels) return 0;
        return std::hash<std::string_view>()(
            {reinterpret_cast<const char*>(pixels->bytes.data()), pixels->bytes.size()});
    }

    int number_;
    std::shared_ptr<Device> device_;
    std::shared_ptr<ShaderLibrary> effectLibrary_;
    std::shared_ptr<Texture> output_, result_;
    std::vector<std::size_t> expected_;
    bool isFirst_ = true;
};

}  // namespace

int main(int argc, char** argv) {
    const int seconds = argc == 2 ? std::atoi(argv[1]) : 0;
    if (seconds < 1) {
        std::cerr << "usage: soak SECONDS\n";
        return 2;
    }
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    std::atomic<int> wrong{0};
    std::atomic<bool> isOver{false};
    int rounds = 0;
    Holdings before, after;
    const auto measure = [&]() noexcept {  // while all pipelines stand still
        ++rounds;
        waitForCompletion(*DeviceManager::shared().defaultDevice()->mtlDevice());
        after = Holdings::now();
        if (rounds == warmUpRounds) before = after;
        isOver = rounds > 2 * warmUpRounds && std::chrono::steady_clock::now() >= end;
    };
    std::barrier allDone(pipelineCount, measure);
    std::vector<std::jthread> threads;
    for (int number = 0; number < pipelineCount; ++number) {
        threads.emplace_back([&, number] {
            Pipeline pipeline(number);
            while (!isOver) {
                wrong += pipeline.runRound();
                allDone.arrive_and_wait();
            }
        });
    }
    threads.clear();
    const int frames = rounds * pipelineCount * framesPerRound;
    const bool isLevel = after.isLevelWith(before);
    std::cout << "after " << warmUpRounds << " rounds: " << before << "\nafter " << rounds << " rounds: " << after
              << (isLevel ? "" : "\nlost: what the process holds grows") << "\nsoak: " << frames << " tried, "
              << frames - wrong << " survived\n";
    return wrong == 0 && isLevel ? 0 : 1;
}
