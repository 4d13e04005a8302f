#pragma once

#include <algorithm>
#include <csetjmp>
#include <csignal>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <vector>

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <tests/support/GuardedMemory.h>

#include <ondrix/conversion/YUVToRGBConstants.h>
#include <ondrix/shading/Encoding.h>
#include <ondrix/shading/Module.h>

namespace modules {

namespace shading = ondrix::shading;
using shading::Format;

/// The module of one level, opened straight from its file.
inline const shading::ModuleTable& open(const std::string& library, const std::string& level) {
    void* handle = dlopen((library + "/" + level + ".so").c_str(), RTLD_NOW | RTLD_LOCAL);
    if (handle == nullptr) throw std::runtime_error(dlerror());
    return *reinterpret_cast<decltype(&ondrix_shader_module)>(dlsym(handle, "ondrix_shader_module"))();
}

/// Pixels in guarded memory, between guard bytes that nobody may write. Strides are odd, but with a multiple of 16
/// pixels in a row multiples of 64 bytes.
class Image {
public:
    /// Where the guarded end of new images is.
    static inline ondrix::test::GuardedEnd guardedEnd = ondrix::test::GuardedEnd::first;

    Image(int w, int h, Format f, unsigned noise)
        : width(w),
          height(h),
          format(f),
          stride_(w % 16 == 0 ? (w * shading::bytesPerPixel(f) + 63) / 64 * 64
                              : w * shading::bytesPerPixel(f) + 4 * (1 + w % 3)),
          memory_(static_cast<std::size_t>(stride_ * (h - 1) + w * shading::bytesPerPixel(f)), guardedEnd) {
        std::fill_n(memory_.pages(), memory_.usable(), guard);
        unsigned state = noise * 2654435761u + 1;
        for (int i = 0; i < w * h; i++) {
            float colour[4];
            for (float& c : colour) {
                state = state * 1664525 + 1013904223;
                c = static_cast<float>(state >> 8) / (isBytes(f) ? 16777216.0f : 8388608.0f) - (isBytes(f) ? 0 : 0.5f);
            }
            shading::encodePixel(format, colour, pixel(i % w, i / w));
        }
    }

    shading::TextureView view() {
        return {memory_.bytes(), stride_, width, height, static_cast<std::uint32_t>(format)};
    }
    std::uint8_t* pixel(int x, int y) { return memory_.bytes() + stride_ * y + x * shading::bytesPerPixel(format); }
    /// Rows without padding; `guardsIntact` tells whether anything else was written.
    std::vector<std::uint8_t> bytes() {
        std::vector<std::uint8_t> all;
        for (int y = 0; y < height; y++) all.insert(all.end(), pixel(0, y), pixel(width, y));
        return all;
    }
    bool guardsIntact() const {
        const std::int64_t row = width * shading::bytesPerPixel(format), before = memory_.bytes() - memory_.pages();
        for (std::int64_t i = 0; i < static_cast<std::int64_t>(memory_.usable()); i++) {
            const std::int64_t from = i - before;
            const bool isPixel = from >= 0 && from < height * stride_ && from % stride_ < row;
            if (!isPixel && memory_.pages()[i] != guard) return false;
        }
        return true;
    }

    const int width, height;
    const Format format;

private:
    static constexpr std::uint8_t guard = 0xAB;

    std::int64_t stride_;
    ondrix::test::GuardedMemory memory_;
};

/// A straight line of a coordinate over the target: value = base + x * dx + y * dy at pixel centres.
struct Mapping {
    shading::Plane u, v;
};
/// The target shows the texture as a whole.
inline Mapping fill(int width, int height) {
    return {{0.5 / width, 1.0 / width, 0}, {0.5 / height, 0, 1.0 / height}};
}

struct Draw {
    Mapping mapping;
    std::vector<shading::TextureView> textures;
    std::vector<shading::SamplerView> samplers;
    int x0 = 0;  ///< first column that is drawn
    bool streaming = false;
};

/// Those of the framework, then ones with all chroma in all colours, and with what fixed-point numbers can't hold.
inline std::vector<ondrix::YUVToRGBConstants> conversions() {
    constexpr ondrix::simd_float4 middle{0.5f, 0.5f, 0, 0}, far{-20, 7, 0, 0}, none{}, bright{0.9f, 0, 0, 0},
        dark{-2, 0, 0, 0};
    return {ondrix::yuvToRGBConstants(ondrix::YUVFormats::NV12FullRange),
            ondrix::yuvToRGBConstants(ondrix::YUVFormats::NV12VideoRange),
            {{{{2, 2, 2}, {-0.7f, -2, 2.1f}, {1.7f, 1.9f, 1.8f}}}, middle, none},
            {{{{0.5f, 1, 1.5f}, {0, -0.2f, 1.9f}, {1.6f, -0.5f, 0}}}, middle, none},
            {{{{-1, -1, -1}, {0, -0.2f, 1.9f}, {1.6f, -0.5f, 0}}}, middle, bright},
            {{{{3, 3, 3}, {0, -5, 7}, {9, -5, 0}}}, middle, none},
            {{{{2, 2, 2}, {0, -0.2f, -3}, {1.6f, -0.5f, -3}}}, middle, bright},
            {{{{1, 1, 1}, {0, -0.2f, 1.9f}, {1.6f, -0.5f, 0}}}, far, dark}};
}

inline const shading::Entry& entry(const shading::ModuleTable& module, const std::string& name) {
    for (std::uint32_t i = 0; i < module.entryCount; i++) {
        if (module.entries[i].name == name) return module.entries[i];
    }
    throw std::runtime_error("no function " + name);
}

inline std::uint64_t lastSerial = 1000;

inline sigjmp_buf beforeCall;

/// Fails when the call touches memory that can't be touched. Modules hold nothing that would have to be released.
template <class Task>
[[gnu::noinline]] void run(const shading::ModuleTable& module, const std::string& name, void (*function)(const Task*),
                           const Task& task) {
    struct sigaction previous, jump{};
    jump.sa_handler = [](int) { siglongjmp(beforeCall, 1); };
    sigaction(SIGSEGV, &jump, &previous);
    const bool touched = sigsetjmp(beforeCall, 1) != 0;
    if (!touched) function(&task);
    sigaction(SIGSEGV, &previous, nullptr);
    if (touched) ADD_FAILURE() << module.level << ": " << name << " touches memory outside of all images";
}

// Touching memory outside of every image is a failure of the running test.
inline void draw(const shading::ModuleTable& module, const std::string& name, const Draw& draw, Image& target) {
    const shading::Entry& function = entry(module, name);
    shading::FragmentTask task;
    task.bindings = {draw.textures.data(), draw.samplers.data(), nullptr};
    task.target = target.view();
    task.planes[0] = draw.mapping.u;
    task.planes[1] = draw.mapping.v;
    task.serial = ++lastSerial;
    task.streaming = draw.streaming;
    const std::size_t scratchBytes = (function.scratchBytes(&task.bindings, target.width) + 63) / 64 * 64;
    const ondrix::test::GuardedMemory scratch(scratchBytes, ondrix::test::GuardedEnd::last);
    task.scratch = scratch.bytes();
    std::vector<shading::Span> spans;
    for (int y = 0; y < target.height; y++) spans.push_back({y, draw.x0, target.width});
    // Two calls with the scratch of one thread, as a device makes them.
    const auto half = static_cast<std::int32_t>(spans.size() / 2);
    for (const auto& [first, last] : {std::pair{0, half}, {half, target.height}}) {
        task.spans = spans.data() + first;
        task.spanCount = last - first;
        run(module, name, function.runFragment, task);
    }
}

inline void dispatch(const shading::ModuleTable& module, const std::string& name,
                     const std::vector<shading::TextureView>& textures, int width, int height, const void* constants,
                     bool streaming = false) {
    const void* all[] = {constants};
    shading::ComputeTask task;
    task.bindings = {textures.data(), nullptr, all};
    task.width = (width + 31) / 32 * 32;  // whole thread groups reach over the edges
    task.y1 = (height + 31) / 32 * 32;
    task.serial = ++lastSerial;
    task.streaming = streaming;
    run(module, name, entry(module, name).runCompute, task);
}

}  // namespace modules
