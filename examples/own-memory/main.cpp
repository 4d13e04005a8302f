// Takes frames from the application's own memory through an effect and back: raw NV12 frames come in at standard input,
// are converted to RGB and mirrored, and leave as raw BGRA frames at standard output. The framework takes NV12 for
// BT.709, here in video range; movies of this size are mostly BT.601, so ffmpeg is told to convert them.
//
//     ffmpeg -i clip.mp4 -vf scale=640:360:out_color_matrix=bt709:out_range=tv -pix_fmt nv12 -f rawvideo - |
//         example-own-memory 640 360 | ffplay -f rawvideo -pixel_format bgra -video_size 640x360 -
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <ondrix/Ondrix.h>

using namespace ondrix;

static int fail(const std::string& reason) {
    std::fprintf(stderr, "%s\n", reason.c_str());
    return 1;
}

int main(int argc, char** argv) {
    const Int width = argc == 3 ? std::atoi(argv[1]) : 0, height = argc == 3 ? std::atoi(argv[2]) : 0;
    if (width < 1 || height < 1) {
        std::fprintf(stderr, "usage: %s WIDTH HEIGHT <FRAMES.nv12 >FRAMES.bgra\n", argv[0]);
        return 2;
    }
    const Int chromaRow = 2 * ((width + 1) / 2), luma = width * height;
    std::vector<char> nv12(static_cast<std::size_t>(luma + chromaRow * ((height + 1) / 2)));

    const auto device = DeviceManager::shared().defaultDevice();
    if (!device) return fail("there is no device");
    NSError error;
    const auto source = CMSampleBufferFrameSource::create();
    bool isTaken = false;  // not called for a frame that can't be made a texture; the log then says why
    const auto video = device->makeVideoTexture([&](VideoTexture&) { isTaken = true; });
    video->set(source);  // converts each frame that the source is given
    constexpr auto format = MTLPixelFormat::bgra8Unorm;
    const auto mirrored = device->makeTexture(width, height, format, MTLTextureUsage::renderTarget, &error);
    const auto effect = mirrored
                            ? PresentTextureEffect::create(device, video, mirrored, format, ContentMode::scaleToFill,
                                                           ImageRotation::degrees0, true, &error)
                            : nullptr;
    if (!effect) return fail(error.localizedDescription());

    while (const std::size_t count = std::fread(nv12.data(), 1, nv12.size(), stdin)) {
        if (count != nv12.size()) return fail("the last frame is cut off");
        // Lies around the bytes, which aren't copied. They may change when the frame is converted, which the source
        // waits for.
        const std::vector<CVPixelBufferPlane> planes{{nv12.data(), width}, {nv12.data() + luma, chromaRow}};
        std::shared_ptr<CVPixelBuffer> frame;
        std::shared_ptr<CMFormatDescription> description;
        std::shared_ptr<CMSampleBuffer> sample;
        if (CVPixelBufferCreateWithPlanarBytes(width, height, kCVPixelFormatType_420YpCbCr8BiPlanarVideoRange, planes,
                                               nullptr, &frame) != kCVReturnSuccess ||
            CMVideoFormatDescriptionCreateForImageBuffer(frame, &description) != noErr ||
            CMSampleBufferCreateReadyWithImageBuffer(frame, description, {}, &sample) != noErr)
            return fail("no frame can be made of the bytes");
        isTaken = false;
        source->processFrame(sample);
        if (!isTaken) return fail("the frame can't be converted");

        const auto bgra = effect->applyAndWait(&error) ? readPixels(*mirrored, &error) : std::nullopt;
        if (!bgra) return fail(error.localizedDescription());
        if (std::fwrite(bgra->bytes.data(), 1, bgra->bytes.size(), stdout) != bgra->bytes.size())
            return fail("standard output can't be written");
    }
    return std::fflush(stdout) == 0 ? 0 : fail("standard output can't be written");
}
