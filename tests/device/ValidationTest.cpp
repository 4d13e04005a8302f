// A device that validates tells what its functions did, once and the same for every number of threads, and computes
// what others compute.
#include <limits>

#include <gmock/gmock.h>
#include <tests/support/LogCapture.h>

#include "Gpu.h"

using namespace ondrix;
using namespace ondrix::test;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;

namespace {

/// As in TestFunctions.cpp.
struct Careless {
    int readX, readY, writeX, writeY;
    float coordinate;
};

class Validation : public testing::TestWithParam<int> {
protected:
    /// Runs "careless" twice over 40x70 pixels and a grid of `grid`; `encodeMore` binds more.
    std::vector<std::string> run(const Careless& settings, MTLSize grid = {40, 70, 1},
                                 const std::function<void(Gpu&, MTLComputeCommandEncoder&)>& encodeMore = {}) {
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
            encoder->setBuffer(gpu.buffer(std::vector{settings}), 0, 3);
            if (encodeMore) encodeMore(gpu, *encoder);
            encoder->dispatchThreadgroups(grid, {1, 1, 1});
            encoder->endEncoding();
            test::run(*commands);
        }
        for (const auto& entry : log.entries()) EXPECT_EQ(entry.category, "validation");
        return log.messages();
    }
};

}  // namespace

TEST_P(Validation, TellsNothingOfProperWork) {
    EXPECT_THAT(run({0, 0, 0, 0, 0.5f}), ElementsAre());
}

TEST_P(Validation, TellsPositionsOutside) {
    EXPECT_THAT(run({-3, 2, 0, 0, 0.5f}),
                ElementsAre("careless: reads texture slot 0 (40x70) at positions outside, which give zero: 284 times, "
                            "first (-3, 2) for pixel (0, 0), at most 3 from its edges"));
}

TEST_P(Validation, TellsWritesThatAreNotTheFunctionsOwn) {
    EXPECT_THAT(
        run({0, 0, 0, 1, 0.5f}),
        ElementsAre(HasSubstr("careless: leaves 40 pixels of texture slot 1 (40x70) as they were, first (0, 0)"),
                    HasSubstr("writes texture slot 1 (40x70) at positions outside, which is left out: 40 times"),
                    HasSubstr("other than its own, so the result depends on threads and SIMD level: 2800 times, "
                              "first (0, 1) for pixel (0, 0)")));
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
}

TEST_P(Validation, TellsCoordinatesThatAreNoNumbers) {
    EXPECT_THAT(run({0, 0, 0, 0, std::numeric_limits<float>::infinity()}),
                ElementsAre(HasSubstr("samples texture slot 0 (40x70) at coordinates that are infinite or not numbers: "
                                      "2800 times, first for pixel (0, 0)")));
}

TEST_P(Validation, TellsGridsThatAreTooSmall) {
    EXPECT_THAT(
        run({0, 0, 0, 0, 0.5f}, {39, 70, 1}),
        ElementsAre(HasSubstr("leaves 70 pixels of texture slot 1 (40x70) as they were, first (39, 0); the grid "
                              "is 39x70")));
}

TEST_P(Validation, TellsBindingsThatLookWrong) {
    const auto more = [](Gpu& gpu, MTLComputeCommandEncoder& encoder) {
        encoder.setTexture(gpu.texture(1, 1), 5);
        encoder.setBuffer(gpu.buffer(std::vector<float>(6)), 0, 3);
    };
    EXPECT_THAT(
        run({}, {40, 70, 1}, more),
        ElementsAre("careless: buffer slot 3 provides 24 bytes, of which the function reads 20; are both sides' "
                    "structs the same?",
                    "careless: bound texture slots that it doesn't use: 5; it uses 0, 1"));
}

INSTANTIATE_TEST_SUITE_P(Threads, Validation, testing::Values(1, 4));

// Draws are watched, too, and neither kind of work comes out differently.
TEST(ValidatedWork, HasTheSamePixels) {
    std::vector<std::uint8_t> pictures[2];
    for (const bool validates : {false, true}) {
        const Gpu gpu(2, {}, validates);
        const auto target = gpu.texture(31, 17);
        gpu.draw(target, {at(*target, 0, 0), at(*target, 31, 0, {1, 0, 1, 0}), at(*target, 3, 17, {0, 1, 0, 1})},
                 {0, 1, 2}, MTLPrimitiveType::triangle);
        auto commands = gpu.queue->makeCommandBuffer();
        const auto scaled = gpu.texture(31, 17);
        gpu.dispatch(*commands, "scaleAndAdd", {target, scaled}, gpu.buffer(std::vector<float>{0.3f, 0.1f}));
        run(*commands);
        pictures[validates] = bytes(*scaled);
    }
    EXPECT_EQ(pictures[0], pictures[1]);
}
