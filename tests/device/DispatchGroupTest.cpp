// Dispatches of one command buffer that run strip by strip together give the bytes that they give one by one.
#include <memory_resource>
#include <random>

#include <gtest/gtest.h>

#include <ondrix/platform/corevideo/CVPixelBuffer.h>
#include <ondrix/platform/software/BindingTable.h>
#include <ondrix/platform/software/DispatchGroup.h>
#include <ondrix/platform/software/Library.h>

#include "Gpu.h"

using namespace ondrix;
using namespace ondrix::test;

namespace {

constexpr std::uint64_t width = 331, height = 257, bytesPerRow = 1408;

struct Step {
    const char* function;
    std::size_t from, to;
};

/// Textures of noise. The last two share memory: what is row y of one is row y + 17 of the other.
std::vector<TexturePointer> makeTextures(const Gpu& gpu) {
    const auto memory = std::make_shared<std::vector<std::uint8_t>>((height + 18) * bytesPerRow);
    const MTLTextureDescriptor descriptor{MTLPixelFormat::bgra8Unorm, width, height, false, MTLTextureUsage::unknown};
    const auto texture = [&](std::uint64_t w, std::uint64_t h) { return gpu.texture(w, h, descriptor.pixelFormat); };
    const auto sharing = [&](std::uint64_t firstRow) {
        std::shared_ptr<CVPixelBuffer> buffer;
        CVPixelBufferCreateWithBytes(
            width, height, kCVPixelFormatType_32BGRA, memory->data() + firstRow * bytesPerRow, bytesPerRow,
            [memory](auto&&...) {}, &buffer);
        return gpu.device->makeTexture(descriptor, CVPixelBufferGetIOSurface(buffer), 0);
    };
    std::vector<TexturePointer> textures = {texture(width, height),
                                            texture(width, height),
                                            texture(width, height),
                                            texture(97, 61),
                                            sharing(17),
                                            sharing(0)};
    std::mt19937 random(5);
    for (const auto& each : textures) {
        std::vector<std::uint8_t> noise(each->width() * each->height() * 4);
        for (auto& byte : noise) byte = static_cast<std::uint8_t>(random());
        each->replace(MTLRegionMake2D(0, 0, each->width(), each->height()), 0, noise.data(), each->width() * 4);
    }
    return textures;
}

/// The bytes of all textures after the steps, which share a command buffer or have one each.
std::vector<std::vector<std::uint8_t>> apply(const std::vector<Step>& steps, const Gpu& gpu, bool together) {
    const auto textures = makeTextures(gpu);
    const auto constants = gpu.buffer(std::vector{0.75F, 0.1F});
    auto commands = gpu.queue->makeCommandBuffer();
    for (const Step& step : steps) {
        gpu.dispatch(*commands, step.function, {textures[step.from], textures[step.to]}, constants);
        if (together) continue;
        run(*commands);
        commands = gpu.queue->makeCommandBuffer();
    }
    run(*commands);
    std::vector<std::vector<std::uint8_t>> result;
    for (const auto& texture : textures) result.push_back(bytes(*texture));
    return result;
}

}  // namespace

TEST(DispatchGroups, GiveTheBytesOfSingleDispatches) {
    const Gpu reference(1);
    std::mt19937 random(23);
    for (int chain = 0; chain < 40; ++chain) {
        std::vector<Step> steps;
        while (steps.size() < 6) {
            const Step step{random() % 4 == 0 ? "neighbours" : "scaleAndAdd", random() % 6, random() % 6};
            const bool sharesMemory = step.from == step.to || (step.from >= 4 && step.to >= 4);
            if (!sharesMemory) steps.push_back(step);
        }
        const auto expected = apply(steps, reference, false);
        for (int threads = 1; threads <= 3; ++threads) {
            ASSERT_TRUE(apply(steps, Gpu(threads), true) == expected) << chain << ", " << threads << " threads";
        }
    }
}

TEST(DispatchGroups, AreAsLargeAsTheyMayBe) {
    const Gpu gpu(1);
    const auto textures = makeTextures(gpu);
    const auto sizeOfFirst = [&](const std::vector<Step>& steps) {
        std::pmr::monotonic_buffer_resource memory;
        std::vector<software::DispatchCommand> commands(steps.size());
        const std::array<float, 2> constants{};
        for (std::size_t index = 0; index < steps.size(); ++index) {
            const auto function =
                std::dynamic_pointer_cast<software::Function>(gpu.library->makeFunction(steps[index].function));
            software::BindingTable bindings;
            EXPECT_EQ(bindings.setTexture("", textures[steps[index].from].get(), 0), "");
            EXPECT_EQ(bindings.setTexture("", textures[steps[index].to].get(), 1), "");
            EXPECT_EQ(bindings.setBytes("", constants.data(), 8, 3, memory), "");
            EXPECT_EQ(bindings.resolve(function->entry(), memory, commands[index].function), "");
            commands[index].kind = software::Command::Kind::dispatch;
            commands[index].height = static_cast<std::int32_t>(textures[steps[index].to]->height());
            if (index > 0) commands[index - 1].next = &commands[index];
        }
        return software::DispatchGroup(commands[0]).count;
    };
    constexpr const char *own = "scaleAndAdd", *any = "neighbours";
    EXPECT_EQ(sizeOfFirst({{own, 0, 1}, {own, 1, 2}, {own, 2, 0}}), 3);  // also over the first one's input
    EXPECT_EQ(sizeOfFirst({{any, 0, 1}, {own, 1, 2}, {any, 0, 4}}), 3);  // neighbours of what nobody writes
    EXPECT_EQ(sizeOfFirst({{own, 0, 1}, {any, 1, 2}}), 1);
    EXPECT_EQ(sizeOfFirst({{any, 0, 1}, {own, 1, 0}}), 1);
    EXPECT_EQ(sizeOfFirst({{own, 0, 4}, {own, 5, 1}}), 1);
    EXPECT_EQ(sizeOfFirst({{own, 0, 3}, {own, 3, 1}}), 1);
    EXPECT_EQ(sizeOfFirst({{own, 0, 1}, {own, 2, 4}}), 1);  // nothing in common
}
