#include <algorithm>
#include <cassert>
#include <charconv>
#include <cstring>
#include <mutex>
#include <new>
#include <string_view>

#include <stdlib.h>

#include <ondrix/platform/foundation/NSBundle.h>
#include <ondrix/platform/os/OutOfMemory.h>
#include <ondrix/platform/software/Buffer.h>
#include <ondrix/platform/software/CommandQueue.h>
#include <ondrix/platform/software/Device.h>
#include <ondrix/platform/software/Executor.h>
#include <ondrix/platform/software/Library.h>
#include <ondrix/platform/software/LibraryAccess.h>
#include <ondrix/platform/software/Pipeline.h>
#include <ondrix/platform/software/ProblemLog.h>
#include <ondrix/platform/software/Sampler.h>
#include <ondrix/platform/software/SimdLevel.h>
#include <ondrix/platform/software/Texture.h>
#include <ondrix/platform/software/Threads.h>

namespace ondrix {

namespace {

constexpr int mostThreads = 256;

std::string_view environment(const char* name) {
    const char* value = secure_getenv(name);
    return value == nullptr ? std::string_view() : value;
}

int threadsToUse() {
    const int processors = std::min(software::processorCount(), mostThreads);
    const std::string_view text = environment("ONDRIX_THREADS");
    if (text.empty()) return processors;
    int count = 0;
    const auto [end, status] = std::from_chars(text.data(), text.data() + text.size(), count);
    if (status == std::errc() && end == text.data() + text.size() && count >= 1 && count <= mostThreads) return count;
    software::deviceLogger().error("ONDRIX_THREADS is \"%s\", but must be a number from 1 to %d. Using %d threads.",
                                   text.data(), mostThreads, processors);
    return processors;
}

/// The value of a variable that is 1 or 0; for others `consequence` is logged.
bool flag(const char* name, const char* consequence, bool usual = false) {
    const std::string_view text = environment(name);
    if (!text.empty() && text != "0" && text != "1") {
        software::deviceLogger().error("%s is \"%s\", but must be 1 or 0. %s", name, text.data(), consequence);
    }
    return usual ? text != "0" : text == "1";
}

}  // namespace

namespace software {

std::shared_ptr<Device> Device::create() {
    return os::orAbsent([] {
        (void)flag("ONDRIX_TRUST_LIBRARIES", "Libraries that others may change are refused.");
        return create(threadsToUse(), std::string(environment("ONDRIX_SIMD")),
                      flag("ONDRIX_VALIDATE", "Nothing is validated."));
    });
}

std::shared_ptr<Device> Device::create(int threadCount, std::string levelName, bool validates) {
    assert(threadCount >= 1 && threadCount <= mostThreads);
    return os::orAbsent([&] {
        prepareToDistrust();
        const bool fuses = flag("ONDRIX_FUSION", "Commands run together.", true);
        auto executor = std::make_shared<Executor>(threadCount, validates, fuses);
        return std::shared_ptr<Device>(new Device(std::move(executor), threadCount, std::move(levelName)));
    });
}

Device::Device(std::shared_ptr<Executor> executor, int threadCount, std::string levelName)
    : executor_(std::move(executor)), threadCount_(threadCount), levelName_(std::move(levelName)) {}

std::string Device::name() const {
    return os::orAbsent([&] {
        std::string level = executor_->validates() ? std::string(Module::checkedLevel) : levelName_;
        for (const SimdLevel& candidate : simdLevels()) {
            if (level.empty() && candidate.supported()) level = candidate.name;
        }
        return "Ondrix CPU device (" + level + ", " + std::to_string(threadCount_) +
               (threadCount_ == 1 ? " thread)" : " threads)");
    });
}

std::shared_ptr<MTLCommandQueue> Device::makeCommandQueue() {
    return os::orAbsent([&] {
        return std::allocate_shared<CommandQueue>(RecyclingAllocator<CommandQueue>(executor_->memory()), executor_);
    });
}

std::shared_ptr<MTLTexture> Device::makeTexture(const MTLTextureDescriptor& descriptor) {
    return Texture::create(executor_->memory(), descriptor);
}

std::shared_ptr<MTLTexture> Device::makeTexture(const MTLTextureDescriptor& descriptor,
                                                std::shared_ptr<IOSurface> iosurface, std::uint64_t plane) {
    return Texture::create(executor_->memory(), descriptor, std::move(iosurface), plane);
}

std::shared_ptr<MTLBuffer> Device::makeBuffer(std::int64_t length, MTLResourceOptions) {
    return Buffer::create(length);
}

std::shared_ptr<MTLBuffer> Device::makeBuffer(const void* bytes, std::int64_t length, MTLResourceOptions) {
    assert(bytes || length < 1);
    auto buffer = Buffer::create(length);
    if (buffer) std::memcpy(buffer->contents(), bytes, static_cast<std::size_t>(length));
    return buffer;
}

std::shared_ptr<MTLSamplerState> Device::makeSamplerState(const MTLSamplerDescriptor& descriptor) {
    return Sampler::create(descriptor);
}

std::shared_ptr<MTLLibrary> Device::makeLibrary(const URL& URL, NSError* error) {
    return Library::create(URL, levelName_, executor_->validates(), error);
}

std::shared_ptr<MTLLibrary> Device::makeDefaultLibrary() {
    const auto bundle = NSBundle::mainBundle();
    return bundle != nullptr ? makeDefaultLibrary(*bundle, nullptr) : nullptr;
}

std::shared_ptr<MTLLibrary> Device::makeDefaultLibrary(const NSBundle& bundle, NSError* error) {
    return os::orAbsent(error, [&]() -> std::shared_ptr<MTLLibrary> {
        const auto url = os::orThrow([&] { return bundle.URLForResource("default", "oxlib"); });
        if (url) return makeLibrary(*url, error);
        if (error != nullptr) *error = NSError("'" + bundle.bundlePath().string() + "' holds no 'default.oxlib'");
        return nullptr;
    });
}

std::shared_ptr<MTLRenderPipelineState> Device::makeRenderPipelineState(const MTLRenderPipelineDescriptor& descriptor,
                                                                        NSError* error) {
    return RenderPipeline::create(descriptor, error);
}

std::shared_ptr<MTLComputePipelineState> Device::makeComputePipelineState(std::shared_ptr<MTLFunction> function,
                                                                          NSError* error) {
    return ComputePipeline::create(function, error);
}

}  // namespace software

std::shared_ptr<MTLDevice> MTLCreateSystemDefaultDevice() {
    return os::orAbsent([]() -> std::shared_ptr<MTLDevice> {
        const std::string_view wanted = environment("ONDRIX_DEVICE");
        if (wanted == "none") return nullptr;
        if (!wanted.empty() && wanted != "cpu") {
            software::deviceLogger().error(
                "ONDRIX_DEVICE is \"%s\", but must be \"cpu\" or \"none\". There is no device.", wanted.data());
            return nullptr;
        }
        static std::mutex mutex;
        static auto& existing = *new std::weak_ptr<software::Device>;  // outlives whoever asks while the process ends
        const std::scoped_lock lock(mutex);
        auto device = existing.lock();
        if (!device) existing = device = software::Device::create();
        return device;
    });
}

}  // namespace ondrix
