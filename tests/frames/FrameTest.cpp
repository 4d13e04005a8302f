// Frames of every format to textures and back, beside double precision and the plain level, between guard pages.
#include <tests/frames/EveryLevel.h>
#include <tests/support/RecordingTest.h>

namespace ondrix {
namespace {

using namespace test;

using FramesAtEveryLevel = EveryLevel;

TEST_P(FramesAtEveryLevel, AreShownAsTheStandardsSay) {
    onBoth([&](const std::shared_ptr<Device>& device, bool isCompared) {
        const auto exact = FrameTexture::create(device, MTLPixelFormat::rgba32Float, nullptr);
        const auto rounded = FrameTexture::create(device, MTLPixelFormat::bgra8Unorm, nullptr);
        const auto queue = device->mtlDevice()->makeCommandQueue();
        std::vector<std::byte> results;
        forEach([&](const Format& format, Int width, Int height, const FrameColours& colours) {
            const GuardedFrame frame(format, width, height, end, static_cast<unsigned>(width));
            EXPECT_EQ(colours.attachTo(*frame.buffer), kCVReturnSuccess);
            const auto commandBuffer = queue->makeCommandBuffer();
            NSError error;
            ASSERT_TRUE(exact->show(frame.buffer, *commandBuffer, &error)) << error.localizedDescription();
            ASSERT_TRUE(rounded->show(frame.buffer, *commandBuffer, &error)) << error.localizedDescription();
            ASSERT_TRUE(run(commandBuffer)) << commandBuffer->error()->localizedDescription();
            const auto floats = readPixels(*exact, nullptr), bytes = readPixels(*rounded, nullptr);
            results.insert(results.end(), floats->bytes.begin(), floats->bytes.end());
            results.insert(results.end(), bytes->bytes.begin(), bytes->bytes.end());
            if (!isCompared) return;
            const Equations equations(colours, format.bits);
            const bool isCentred = colours.siting == ChromaSiting::centre;
            for (Int y = 0; y < height; ++y) {
                for (Int x = 0; x < width; ++x) {
                    const auto chroma = [&](int component) {
                        return format.planes == grey ? equations.grey : frame.chromaAt(component, x, y, isCentred);
                    };
                    const auto expected = equations.colour(frame.sample(0, x, y), chroma(1), chroma(2));
                    for (std::size_t i = 0; i < 3; ++i) {
                        float value;
                        std::memcpy(&value, floats->bytes.data() + 16 * (y * width + x) + 4 * i, 4);
                        const int byte = static_cast<int>(bytes->bytes[4 * (y * width + x) + 2 - i]);
                        ASSERT_NEAR(value, expected[i], 1e-5)
                            << format.type << " at " << x << "," << y << " of " << width;
                        ASSERT_NEAR(byte, std::clamp(expected[i], 0.0, 1.0) * 255, 0.56);
                    }
                }
            }
        });
        return results;
    });
}

TEST_P(FramesAtEveryLevel, AreWrittenAsTheStandardsSay) {
    onBoth([&](const std::shared_ptr<Device>& device, bool isCompared) {
        const auto queue = device->mtlDevice()->makeCommandQueue();
        std::vector<std::uint8_t> results;
        forEach([&](const Format& format, Int width, Int height, const FrameColours& colours) {
            const auto picture = Picture::noise(width, height, 7);
            const GuardedFrame frame(format, width, height, end, 1);
            NSError error;
            const auto writer = FrameWriter::create(device, format.type, colours, &error);
            ASSERT_NE(writer, nullptr) << error.localizedDescription();
            const auto commandBuffer = queue->makeCommandBuffer();
            const auto texture = textureOf(device, picture);
            ASSERT_TRUE(writer->write(*texture, frame.buffer, *commandBuffer, &error)) << error.localizedDescription();
            ASSERT_TRUE(run(commandBuffer)) << commandBuffer->error()->localizedDescription();
            const auto bytes = frame.bytes();
            results.insert(results.end(), bytes.begin(), bytes.end());
            if (!isCompared) return;
            const Equations equations(colours, format.bits);
            const auto colourAt = [&](Int x, Int y) {
                x = std::clamp<Int>(x, 0, width - 1);
                y = std::clamp<Int>(y, 0, height - 1);
                return std::array{picture.at(x, y, 2) / 255.0, picture.at(x, y, 1) / 255.0,
                                  picture.at(x, y, 0) / 255.0};
            };
            const auto near = [&](double actual, double expected) {
                ASSERT_NEAR(actual, std::clamp(expected, 0.0, equations.largest), 0.52)
                    << format.type << " of " << width;
            };
            for (Int y = 0; y < height; ++y) {
                for (Int x = 0; x < width; ++x) near(frame.sample(0, x, y), equations.samples(colourAt(x, y))[0]);
            }
            if (format.planes == grey) return;
            const double left[] = {0.25, 0.5, 0.25}, centre[] = {0, 0.5, 0.5}, own[] = {0, 1, 0};
            const auto& weights = format.columns == 1 ? own : colours.siting == ChromaSiting::left ? left : centre;
            for (Int y = 0; y < (height + format.rows - 1) / format.rows; ++y) {
                for (Int x = 0; x < (width + format.columns - 1) / format.columns; ++x) {
                    std::array<double, 3> mean{};
                    for (Int row = 0; row < format.rows; ++row) {
                        for (int column = 0; column < 3; ++column) {
                            const auto colour = colourAt(x * format.columns + column - 1, y * format.rows + row);
                            for (std::size_t i = 0; i < 3; ++i) mean[i] += colour[i] * weights[column] / format.rows;
                        }
                    }
                    const auto expected = equations.samples(mean);
                    near(frame.sample(1, x, y), expected[1]);
                    near(frame.sample(2, x, y), expected[2]);
                }
            }
        });
        return results;
    });
}

// Frames that overwrite each other on their way, in one video or in two; what a frame states lost or kept too long.
TEST(FrameTexture, FramesOnTheirWayKeepTheirPictures) {
    constexpr OSType nv12 = kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange;
    const auto device = DeviceManager::shared().defaultDevice();
    const auto queue = device->mtlDevice()->makeCommandQueue();
    const auto writer = FrameWriter::create(device, nv12, {.matrix = YCbCrMatrix::BT601}, nullptr);
    const std::shared_ptr<FrameTexture> videos[] = {FrameTexture::create(device, MTLPixelFormat::bgra8Unorm, nullptr),
                                                    FrameTexture::create(device, MTLPixelFormat::bgra8Unorm, nullptr)};
    const auto sizes = std::make_shared<SizeListener>();
    videos[0]->add(sizes);
    std::vector<std::pair<std::shared_ptr<CVPixelBuffer>, std::shared_ptr<CVPixelBuffer>>> frames;
    std::vector<std::shared_ptr<MTLCommandBuffer>> commandBuffers;
    for (unsigned number = 0; number < 24; ++number) {
        auto frame = noise(number < 20 ? 16 : 8, 6, nv12, number);
        // Grey, so that luma comes back whatever the matrix.
        forEachElement(*frame, 0, 1, [](std::uint8_t* luma, Int, Int) { *luma = *luma % 219 + 16; });
        forEachElement(*frame, 1, 2, [](std::uint8_t* chroma, Int, Int) { chroma[0] = chroma[1] = 128; });
        commandBuffers.push_back(queue->makeCommandBuffer());
        ASSERT_TRUE(videos[number % 2]->show(frame, *commandBuffers.back(), nullptr));
        frames.emplace_back(frame, writer->write(*videos[number % 2], *commandBuffers.back(), nullptr));
        ASSERT_NE(frames.back().second, nullptr);
    }
    for (const auto& commandBuffer : commandBuffers) commandBuffer->commit();
    commandBuffers.back()->waitUntilCompleted();
    for (const auto& [from, to] : frames) {
        EXPECT_EQ(bytesOf(to, 0), bytesOf(from, 0));
        EXPECT_EQ(bytesOf(to, 1), bytesOf(from, 1));
        EXPECT_EQ(FrameColours::of(*to), (FrameColours{.matrix = YCbCrMatrix::BT601}));
    }
    EXPECT_THAT(sizes->events, testing::ElementsAre("size 16x6", "size 8x6"));

    const auto bgra = noise(3, 2, kCVPixelFormatType_32BGRA);
    ASSERT_TRUE(videos[0]->show(bgra, *queue->makeCommandBuffer(), nullptr));
    const auto shown = pictureOf(*videos[0]).bytes;
    EXPECT_EQ(std::vector<int>(shown.begin(), shown.end()), bytesOf(bgra, 0)) << "the frame's own memory";
}

class FrameFailureTest : public RecordingTest {};

TEST_F(FrameFailureTest, IsToldAndLeavesTheFrameBefore) {
    constexpr OSType nv12 = kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange;
    const auto queue = mtlDevice->makeCommandQueue();
    const auto texture = FrameTexture::create(device, MTLPixelFormat::bgra8Unorm, nullptr);
    const auto writer = FrameWriter::create(device, nv12, {}, nullptr);
    ASSERT_TRUE(texture->show(frame(8, 4, nv12), *queue->makeCommandBuffer(), nullptr));
    const auto strange = frame(8, 4, nv12);
    CVBufferSetAttachment(*strange, CVAttachment::YCbCrMatrix, "FCC");
    const auto show = [&](const std::shared_ptr<CVPixelBuffer>& frame) {
        return [&texture, &queue, frame] { return texture->show(frame, *queue->makeCommandBuffer(), nullptr); };
    };
    expectErrors({"wrapPlane 1"}, show(frame(8, 4, nv12)), {"Failed to wrap a plane of the frame as a texture."});
    expectErrors({"makeTexture"}, show(frame(10, 4, nv12)), {"Failed to make an image for the frame."});
    expectErrors({"Ondrix::Frames::ReadI420"}, show(frame(8, 4, kCVPixelFormatType_420YpCbCr8Planar)),
                 {"Failed to make the function 'Ondrix::Frames::ReadI420' for frames."});
    EXPECT_EQ(texture->size(), (Size2<Int>{8, 4}));
    for (int times = 0; times < 2; ++times) EXPECT_TRUE(show(strange)());
    EXPECT_EQ(log.entries().size(), 1u) << "told for each frame";
    EXPECT_EQ(FrameColours::of(*strange), FrameColours{});

    const auto write = [&](const Texture& picture, const std::shared_ptr<CVPixelBuffer>& frame) {
        return writer->write(picture, frame, *queue->makeCommandBuffer(), nullptr);
    };
    expectErrors({}, [&] { return write(*texture, frame(8, 6, nv12)); },
                 {"Failed to write a frame of another size or format than the texture and the writer."});
    expectErrors({}, [&] { return FrameWriter::create(device, kCVPixelFormatType_32RGBA, {}, nullptr); },
                 {"Failed to make a writer of frames for a pixel format that can't be written."});
}

INSTANTIATE_TEST_SUITE_P(Levels, FramesAtEveryLevel, everyLevel, levelName);

}  // namespace
}  // namespace ondrix
