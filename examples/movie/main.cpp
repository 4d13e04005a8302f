// movie INPUT OUTPUT: scales a movie to 640x360 and keeps the times of its frames. A failure, of which a lost frame is
// one, ends with a line on standard error and status 1; where the line doesn't say why, the log before it does.
#include <cstdio>

#include <ondrix/Ondrix.h>
#include <ondrix/platform/ffmpeg/MovieReader.h>
#include <ondrix/platform/ffmpeg/MovieWriter.h>
using namespace ondrix;

static int fail(const char* what, const std::string& reason) {
    std::fprintf(stderr, "%s: %s\n", what, reason.c_str());
    return 1;
}

int main(int argc, char** argv) {
    if (argc != 3) return fail("usage", "movie INPUT OUTPUT");
    const auto device = DeviceManager::shared().defaultDevice();
    if (!device) return fail(argv[0], "there is no device");
    const auto converter = device->textureConverter();
    const auto pool = converter->makePixelBufferPool(640, 360, kCVPixelFormatType_32BGRA);
    const auto output = device->makeTexture(640, 360, MTLPixelFormat::bgra8Unorm,
                                            MTLTextureUsage::renderTarget | MTLTextureUsage::shaderRead);
    if (!pool || !output) return fail(argv[0], "no memory for frames");
    NSError error;
    const auto reader = MovieReader::open(URL(argv[1]), MovieFrameFormat::native, &error);
    if (!reader) return fail(argv[1], error.localizedDescription());
    MovieWriterSettings settings;
    settings.width = 640;
    settings.height = 360;
    settings.timescale = reader->information().timescale;
    settings.copyOthersFrom = URL(argv[1]);
    const auto writer = MovieWriter::create(URL(argv[2]), settings, &error);
    if (!writer) return fail(argv[2], error.localizedDescription());

    const auto source = CMSampleBufferFrameSource::create();
    const auto video = device->makeVideoTexture(nullptr);
    const auto effect =
        BlitEffect::create(device, video, output, PassType::renderPass, MTLPixelFormat::bgra8Unorm, &error);
    if (!effect) return fail(argv[0], error.localizedDescription());
    bool isWritten = true;  // the newest frame; the callback isn't called for one that can't be made a texture
    video->setOnFrameAvailable([&](VideoTexture&) {
        const auto pixels = effect->apply(nullptr) ? converter->makePixelBuffer(*output, *pool) : nullptr;
        const auto sample = pixels ? converter->makeSampleBuffer(pixels, *source->sampleBuffer()) : nullptr;
        isWritten = sample && writer->append(*sample);
    });
    video->set(source);
    for (auto frame = reader->copyNextSampleBuffer(); frame && isWritten; frame = reader->copyNextSampleBuffer()) {
        isWritten = false;
        source->processFrame(frame);
    }

    const bool isFinished = writer->finish();
    if (const auto failure = reader->error()) return fail(argv[1], failure->localizedDescription());
    if (const auto failure = writer->error()) return fail(argv[2], failure->localizedDescription());
    if (!isWritten || !isFinished) return fail(argv[2], "a frame can't be processed");
    const auto lost = reader->lostFrameCount();
    return lost == 0 ? 0 : fail(argv[1], "frames that can't be decoded: " + std::to_string(lost));
}
