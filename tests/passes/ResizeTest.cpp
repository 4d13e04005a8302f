// Resized pictures beside double precision and the plain level, between guard pages.
#include <cmath>
#include <numbers>

#include <tests/support/GuardedMemory.h>
#include <tests/support/Picture.h>
#include <tests/support/RecordingTest.h>
#include <tests/support/SimdLevels.h>

namespace ondrix {
namespace {

using test::GuardedEnd;

struct Format {
    OSType type;
    MTLPixelFormat pixelFormat;
    int components;
    bool isFloat;
};
constexpr Format bgra{kCVPixelFormatType_32BGRA, MTLPixelFormat::bgra8Unorm, 4, false},
    grey{kCVPixelFormatType_OneComponent8, MTLPixelFormat::r8Unorm, 1, false},
    floats{kCVPixelFormatType_128RGBAFloat, MTLPixelFormat::rgba32Float, 4, true};

struct Case {
    Int width, height, toWidth, toHeight;
    std::optional<ResizeRectangle> rectangle = std::nullopt;
};
const Case cases[] = {{1, 1, 1, 1},
                      {1, 1, 5, 3},
                      {7, 1, 3, 1},
                      {1, 13, 4, 2},
                      {97, 31, 13, 7},
                      {64, 64, 32, 16},
                      {300, 201, 64, 43},
                      {53, 37, 160, 101},
                      {3001, 5, 2, 3},   // more texels than are summed at once
                      {40, 1100, 5, 2},  // more rows than 16 bits hold the sum of
                      {61, 23, 30, 20, ResizeRectangle{-3.5, 2.25, 20.5, 19.75}},
                      {8, 8, 9, 9, ResizeRectangle{20, 0, 4, 4}}};

/// Weights of texels for a pixel of an axis, straight from the filters' definitions; empty outside the span.
std::vector<std::pair<Int, double>> weightsOf(ResizeFilter filter, Int pixel, Int size, double start, double length) {
    const double ratio = double(size) / length, centre = (double(pixel) + 0.5 - start) * ratio;
    if (centre < 0 || centre >= double(size)) return {};
    const double wide = std::max(ratio, 1.0);
    std::vector<std::pair<Int, double>> weights;
    double sum = 0;
    for (Int i = std::lround(centre - 4 * wide); i <= std::lround(centre + 4 * wide); ++i) {
        const double x = double(i) + 0.5 - centre, angle = std::numbers::pi * x / wide;
        double weight = std::floor(centre) == double(i) ? 1 : 0;
        if (filter == ResizeFilter::linear) weight = std::max(0.0, 1 - std::abs(x));
        if (filter == ResizeFilter::area)
            weight = std::max(0.0, std::min(x + 0.5, ratio / 2) - std::max(x - 0.5, -ratio / 2));
        if (filter == ResizeFilter::lanczos) {
            const bool isInside = std::abs(angle) < 3 * std::numbers::pi;
            weight = angle == 0 ? 1 : isInside ? 3 * std::sin(angle) * std::sin(angle / 3) / (angle * angle) : 0;
        }
        if (weight == 0) continue;
        weights.emplace_back(std::clamp<Int>(i, 0, size - 1), weight);
        sum += weight;
    }
    for (auto& each : weights) each.second /= sum;
    return weights;
}

class ResizeAtEveryLevel : public testing::TestWithParam<std::tuple<std::string, GuardedEnd>> {
protected:
    static std::shared_ptr<Device> deviceOf(const std::string& level) {
        setenv("ONDRIX_SIMD", level.c_str(), 1);
        const auto device = Device::create(MTLCreateSystemDefaultDevice());
        unsetenv("ONDRIX_SIMD");
        return device;
    }

    /// The result of a case; compared with double precision where `isCompared`.
    static std::vector<std::byte> resized(const std::shared_ptr<Device>& device, const Case& with, const Format& format,
                                          ResizeFilter filter, bool isCompared) {
        const auto end = std::get<1>(GetParam());
        const int bytes = format.components * (format.isFloat ? 4 : 1);
        const Int row = with.width * bytes, toRow = with.toWidth * bytes;
        const test::GuardedMemory from(static_cast<std::size_t>(row * with.height), end);
        const test::GuardedMemory to(static_cast<std::size_t>(toRow * with.toHeight), end);
        std::mt19937 random(static_cast<unsigned>(with.width));
        for (Int i = 0; i < row * with.height; i += format.isFloat ? 4 : 1) {
            const float number = float(random()) * 0x1p-31f - 0.5f;
            format.isFloat ? void(std::memcpy(from.bytes() + i, &number, 4))
                           : void(from.bytes()[i] = random() % 4 == 0 ? 255 : static_cast<std::uint8_t>(random()));
        }
        const auto value = [&](const test::GuardedMemory& memory, Int index) -> double {
            float number = memory.bytes()[format.isFloat ? 0 : index];
            if (format.isFloat) std::memcpy(&number, memory.bytes() + 4 * index, 4);
            return number;
        };
        const auto texture = [&](const test::GuardedMemory& memory, Int width, Int height) {
            std::shared_ptr<CVPixelBuffer> buffer;
            CVPixelBufferCreateWithBytes(width, height, format.type, memory.bytes(), width * bytes, {}, &buffer);
            auto descriptor = MTLTextureDescriptor::texture2DDescriptor(
                format.pixelFormat, static_cast<std::uint64_t>(width), static_cast<std::uint64_t>(height), false);
            descriptor.usage = MTLTextureUsage::unknown;
            return device->makeTexture(
                device->mtlDevice()->makeTexture(descriptor, CVPixelBufferGetIOSurface(buffer), 0));
        };
        NSError error;
        const auto effect = ResizeTextureEffect::create(device, texture(from, with.width, with.height),
                                                        texture(to, with.toWidth, with.toHeight), filter, &error);
        if (effect == nullptr) throw std::runtime_error(error.localizedDescription());
        effect->pass()->set(with.rectangle);
        EXPECT_TRUE(effect->applyAndWait(&error)) << error.localizedDescription();

        const ResizeRectangle place =
            with.rectangle.value_or(ResizeRectangle{0, 0, double(with.toWidth), double(with.toHeight)});
        for (Int y = 0; isCompared && y < with.toHeight; ++y) {
            const auto rows = weightsOf(filter, y, with.height, place.y, place.height);
            for (Int x = 0; x < with.toWidth; ++x) {
                const auto columns = weightsOf(filter, x, with.width, place.x, place.width);
                for (int c = 0; c < format.components; ++c) {
                    double sum = rows.empty() || columns.empty() ? (c == 3 ? (format.isFloat ? 1 : 255) : 0) : 0;
                    for (const auto& [line, down] : rows) {
                        for (const auto& [column, across] : columns)
                            sum += value(from, (line * with.width + column) * format.components + c) * down * across;
                    }
                    if (!format.isFloat) sum = std::clamp(sum, 0.0, 255.0);
                    EXPECT_NEAR(value(to, (y * with.toWidth + x) * format.components + c), sum,
                                format.isFloat ? 1e-5 : 0.501)
                        << x << "," << y << " of " << with.width << "x" << with.height << " by " << int(filter);
                    if (HasFailure()) return {};
                }
            }
        }
        const auto* result = reinterpret_cast<const std::byte*>(to.bytes());
        return {result, result + toRow * with.toHeight};
    }
};

TEST_P(ResizeAtEveryLevel, IsExact) {
    const std::string& level = std::get<0>(GetParam());
    if (!test::runsHere(level)) GTEST_SKIP() << "this processor lacks " << level;
    const auto allOf = [](const std::shared_ptr<Device>& device, bool isCompared) {
        std::vector<std::vector<std::byte>> all;
        for (const Format& format : {bgra, grey, floats}) {
            for (const Case& each : cases) {
                for (int filter = 0; filter < 4; ++filter)
                    all.push_back(resized(device, each, format, static_cast<ResizeFilter>(filter), isCompared));
            }
        }
        return all;
    };
    const auto expected = allOf(deviceOf("plain"), true);  // devices are the system's one by one
    EXPECT_EQ(allOf(deviceOf(level), false), expected);
}

INSTANTIATE_TEST_SUITE_P(Levels, ResizeAtEveryLevel,
                         testing::Combine(testing::ValuesIn(test::builtLevels()),
                                          testing::Values(GuardedEnd::first, GuardedEnd::last)),
                         [](const auto& level) {
                             return test::testName(std::get<0>(level.param)) +
                                    (std::get<1>(level.param) == GuardedEnd::first ? "_first" : "_last");
                         });

class ResizeFailureTest : public test::RecordingTest {};

// Weights that stay behind when sizes change, and what can't be resized.
TEST_F(ResizeFailureTest, SizesAreFollowedAndFailuresTold) {
    const auto real = Device::create(MTLCreateSystemDefaultDevice());
    const auto input = test::textureOf(real, test::Picture::noise(60, 40, 1));
    const auto output = real->makeTexture(6, 4, bgra, MTLTextureUsage::unknown);
    const auto effect = ResizeTextureEffect::create(real, input, output, ResizeFilter::area, nullptr);
    const auto once = [&](const std::shared_ptr<Texture>& from, ContentMode mode, ResizeFilter filter) {
        const auto fresh = real->makeTexture(output->size(), bgra, MTLTextureUsage::unknown);
        const auto other = ResizeTextureEffect::create(real, from, fresh, filter, nullptr);
        other->pass()->set(mode);
        EXPECT_TRUE(other->applyAndWait(nullptr));
        return test::pictureOf(*fresh);
    };
    EXPECT_TRUE(effect->applyAndWait(nullptr));
    EXPECT_EQ(test::pictureOf(*output), once(input, ContentMode::scaleToFill, ResizeFilter::area));
    const auto taller = test::textureOf(real, test::Picture::noise(60, 90, 2));
    effect->pass()->set(taller);
    effect->pass()->set(ContentMode::scaleAspectFit);
    EXPECT_TRUE(output->resize(11, 7));
    EXPECT_TRUE(effect->applyAndWait(nullptr));
    EXPECT_EQ(test::pictureOf(*output), once(taller, ContentMode::scaleAspectFit, ResizeFilter::area));
    EXPECT_EQ(test::pictureOf(*output).at(2, 3, 1), 0) << "the bar beside it";
    effect->pass()->set(ResizeFilter::lanczos);
    EXPECT_TRUE(effect->applyAndWait(nullptr));
    EXPECT_EQ(test::pictureOf(*output), once(taller, ContentMode::scaleAspectFit, ResizeFilter::lanczos));

    const auto queue = mtlDevice->makeCommandQueue();
    const auto from = texture(8, 8), to = texture(4, 4);
    const auto pass = ResizeTexturePass::create(device, from, to, ResizeFilter::area, nullptr);
    const auto encode = [&] { return pass->encode(*queue->makeCommandBuffer()); };
    expectErrors({"makeTexture"}, encode, {"Failed to make the weights of the ResizeTexturePass."});
    EXPECT_TRUE(encode());
    pass->set(ResizeRectangle{0, 0, 0, 4});
    expectErrors({}, encode, {"Failed to encode the ResizeTexturePass: the rectangle has no area."});
    from->cleanup();
    expectErrors({}, encode, {"Failed to encode the ResizeTexturePass: no input texture."});
    expectErrors({"Ondrix::Resize"},
                 [&] { return ResizeTexturePass::create(device, from, to, ResizeFilter::area, nullptr); },
                 {"Failed to load shader function 'Ondrix::Resize' from library.",
                  "Failed to load the shader of the ResizeTexturePass."});
}

}  // namespace
}  // namespace ondrix
