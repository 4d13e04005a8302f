// Takes frames from the application's own memory through an effect and back: raw NV12 frames come in at standard input,
// are converted to RGB and mirrored, and leave as raw BGRA frames at standard output. The framework takes NV12 for
// BT.709, here in video range; movies of this size are mostly BT.601, so ffmpeg is told to convert them.
//
//     ffmpeg -i clip.mp4 -vf scale=640:360:out_color_matrix=bt709:out_range=tv -pix_fmt nv12 -f rawvideo - |
//         example-own-memory 640 360 | ffplay -f rawvideo -pixel_format bgra -video_size 640x360 -
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <vector>

#include <ondrix/Ondrix.h>
#include <ondrix/platform/corevideo/PixelBufferLock.h>

using namespace ondrix;

namespace {

// Copies between rows of the application, which lie without gaps, and a plane, whose rows have their own distance.
void copyPlane(const PixelBufferLock& pixels, Int plane, char* rows, std::size_t bytesPerRow, bool toBuffer) {
    for (Int y = 0; y < pixels.height(plane); ++y, rows += bytesPerRow) {
        auto* row = pixels.row(y, plane);
        toBuffer ? std::memcpy(row, rows, bytesPerRow) : std::memcpy(rows, row, bytesPerRow);
    }
}

}  // namespace

int main(int argc, char** argv) {
    const Int width = argc == 3 ? std::atoi(argv[1]) : 0, height = argc == 3 ? std::atoi(argv[2]) : 0;
    if (width < 1 || height < 1) {
        std::fprintf(stderr, "usage: %s WIDTH HEIGHT <FRAMES.nv12 >FRAMES.bgra\n", argv[0]);
        return 2;
    }
    // What fails says why in the log, which is standard error.
    const auto device = DeviceManager::shared().defaultDevice();
    if (!device) return 1;
    const auto converter = device->textureConverter();
    const auto inputs = converter->makePixelBufferPool(width, height, kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange);
    const auto outputs = converter->makePixelBufferPool(width, height, kCVPixelFormatType_32BGRA);
    if (!inputs || !outputs) return 1;

    const auto source = CMSampleBufferFrameSource::create();
    const auto video = device->makeVideoTexture(nullptr);
    video->set(source);  // converts each frame that the source is given
    const auto mirrored = device->makeTexture(width, height, MTLPixelFormat::bgra8Unorm, MTLTextureUsage::unknown);
    const auto effect = PresentTextureEffect::create(device, video, mirrored, MTLPixelFormat::bgra8Unorm,
                                                     ContentMode::scaleToFill, ImageRotation::degrees0, true);

    const auto lumaRow = static_cast<std::size_t>(width), chromaRow = 2 * ((lumaRow + 1) / 2);
    const std::size_t luma = lumaRow * static_cast<std::size_t>(height);
    std::vector<char> nv12(luma + chromaRow * ((static_cast<std::size_t>(height) + 1) / 2)), bgra(4 * luma);
    while (const std::size_t count = std::fread(nv12.data(), 1, nv12.size(), stdin)) {
        if (count != nv12.size()) {
            std::fprintf(stderr, "the last frame is cut off\n");
            return 1;
        }
        std::shared_ptr<CVPixelBuffer> frame;  // goes back to its pool when nobody holds it
        if (CVPixelBufferPoolCreatePixelBuffer(*inputs, &frame) != kCVReturnSuccess) return 1;
        {
            const PixelBufferLock pixels(*frame);
            copyPlane(pixels, 0, nv12.data(), lumaRow, true);
            copyPlane(pixels, 1, nv12.data() + luma, chromaRow, true);
        }
        std::shared_ptr<CMFormatDescription> format;
        std::shared_ptr<CMSampleBuffer> sample;
        CMVideoFormatDescriptionCreateForImageBuffer(frame, &format);
        if (CMSampleBufferCreateReadyWithImageBuffer(frame, format, {}, &sample) != 0) return 1;
        source->processFrame(sample);

        const auto result = effect->apply(nullptr) ? converter->makePixelBuffer(*mirrored, *outputs) : nullptr;
        if (!result) return 1;
        copyPlane(PixelBufferLock(result, kCVPixelBufferLock_ReadOnly), 0, bgra.data(), 4 * lumaRow, false);
        if (std::fwrite(bgra.data(), 1, bgra.size(), stdout) != bgra.size()) return 1;
    }
    return std::fflush(stdout) == 0 ? 0 : 1;
}
