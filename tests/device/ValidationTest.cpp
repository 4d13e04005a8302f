// A device that validates tells what its functions did, once and the same for every number of threads, and computes
// what others compute.
#include <limits>

#include <gmock/gmock.h>
#include <tests/support/LogCapture.h>

#include "Gpu.h"

using namespace ondrix;
using namespace ondrix::test;
using testing::Contains;
using testing::HasSubstr;

namespace {

using Careless = std::array<float, 5>;  ///< as in TestFunctions.cpp

class Validation : public testing::TestWithParam<int> {
protected:
    /// Runs "careless" twice over 40x70 pixels and a grid of `grid`, perhaps with more bound than it uses.
    std::vector<std::string> run(const Careless& settings, MTLSize grid, bool bindsMore) {
        Gpu gpu(GetParam(), {}, true);
        const LogCapture log;
        const auto pipeline = gpu.compute("careless");
        const auto in = gpu.texture(40, 70), out = gpu.texture(40, 70);
        for (int frame = 0; frame < 2; ++frame) {
            auto commands = gpu.queue->makeCommandBuffer();
            auto encoder = commands->makeComputeCommandEncoder();
            encoder->setComputePipelineState(pipeline);
            encoder->setTexture(in, 0);
            encoder->setTexture(out, 1);
            encoder->setSamplerState(gpu.device->makeSamplerState({}), 0);
            encoder->setBuffer(gpu.buffer(std::vector<Careless>(bindsMore ? 2 : 1, settings)), 0, 3);
            if (bindsMore) encoder->setTexture(gpu.texture(1, 1), 5);
            encoder->dispatchThreadgroups(grid, {1, 1, 1});
            encoder->endEncoding();
            test::run(*commands);
        }
        for (const auto& entry : log.entries()) EXPECT_EQ(entry.category, "validation");
        return log.messages();
    }
};

}  // namespace

TEST_P(Validation, TellsWhatAFunctionDid) {
    const struct {
        Careless settings;
        MTLSize grid;
        std::vector<std::string> messages;  ///< a part of each
        bool bindsMore = false;
    } cases[] = {
        {{0, 0, 0, 0, 0.5f}, {40, 70, 1}, {}},
        {{-3, 2, 0, 0, 0.5f},
         {40, 70, 1},
         {"careless: reads texture slot 0 (40x70) at positions outside, which give zero: 284 times, first (-3, 2) for "
          "pixel (0, 0), at most 3 from its edges"}},
        {{0, 0, 0, 1, 0.5f},
         {40, 70, 1},
         {"careless: leaves 40 pixels of texture slot 1 (40x70) as they were, first (0, 0)",
          "writes texture slot 1 (40x70) at positions outside, which is left out: 40 times",
          "other than its own, so the result depends on threads and SIMD level: 2800 times, first (0, 1) for pixel "
          "(0, 0)"}},
        {{0, 0, 0, 0, std::numeric_limits<float>::infinity()},
         {40, 70, 1},
         {"samples texture slot 0 (40x70) at coordinates that are infinite or not numbers: 2800 times, first for pixel "
          "(0, 0)"}},
        {{0, 0, 0, 0, 0.5f},
         {39, 70, 1},
         {"leaves 70 pixels of texture slot 1 (40x70) as they were, first (39, 0); the grid is 39x70"}},
        {{},
         {40, 70, 1},
         {"careless: buffer slot 3 provides 40 bytes, of which the function reads 20; are both sides' structs the same?",
          "careless: bound texture slots that it doesn't use: 5; it uses 0, 1"},
         true},
    };
    for (const auto& [settings, grid, messages, bindsMore] : cases) {
        std::vector<testing::Matcher<std::string>> parts;
        for (const auto& message : messages) parts.emplace_back(HasSubstr(message));
        EXPECT_THAT(run(settings, grid, bindsMore), testing::ElementsAreArray(parts));
    }
}

TEST_P(Validation, TellsReadsAgainstTheReach) {
    const Gpu gpu(GetParam(), {}, true);
    const LogCapture log;
    auto commands = gpu.queue->makeCommandBuffer();
    gpu.dispatch(*commands, "straying", {gpu.texture(40, 70), gpu.texture(40, 70)}, nullptr);
    test::run(*commands);
    EXPECT_THAT(log.messages(),
                Contains(HasSubstr("reads texture slot 0 (40x70) at positions other than its own, against Reach::own, "
                                   "so the result depends on threads: 2800 times, first (0, 1) for pixel (0, 0)")));
    commands = gpu.queue->makeCommandBuffer();
    gpu.dispatch(*commands, "strayingNear", {gpu.texture(40, 70), gpu.texture(40, 70)}, nullptr);
    test::run(*commands);
    EXPECT_THAT(log.messages(),
                Contains(HasSubstr("reads texture slot 0 (40x70) in rows further away than its NearRows say, so the "
                                   "result depends on threads: 2760 times, first (0, 1) for pixel (0, 0)")));
}

INSTANTIATE_TEST_SUITE_P(Threads, Validation, testing::Values(1, 4));
