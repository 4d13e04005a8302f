// movie INPUT OUTPUT: scales a movie to 640x360 and keeps the times of its frames.
#include <cstdio>

#include <ondrix/Ondrix.h>
#include <ondrix/platform/ffmpeg/MovieReader.h>
#include <ondrix/platform/ffmpeg/MovieWriter.h>
using namespace ondrix;

int main(int argc, char** argv) {
    const auto device = DeviceManager::shared().defaultDevice();
    if (!device || argc != 3) return 1;
    NSError error;
    const auto reader = MovieReader::open(URL(argv[1]), MovieFrameFormat::native, &error);
    MovieWriterSettings settings;
    settings.width = 640;
    settings.height = 360;
    settings.copyOthersFrom = URL(argv[1]);
    if (reader) settings.timescale = reader->information().timescale;
    const auto writer = reader ? MovieWriter::create(URL(argv[2]), settings, &error) : nullptr;
    if (!writer) {
        std::fprintf(stderr, "%s\n", error.localizedDescription().c_str());
        return 1;
    }

    const auto converter = device->textureConverter();
    const auto pool = converter->makePixelBufferPool(640, 360, kCVPixelFormatType_32BGRA);
    const auto output = device->makeTexture(640, 360, MTLPixelFormat::bgra8Unorm, MTLTextureUsage::unknown);
    const auto source = CMSampleBufferFrameSource::create();
    const auto video = device->makeVideoTexture(nullptr);
    const auto effect = BlitEffect::create(device, video, output, PassType::renderPass, MTLPixelFormat::bgra8Unorm);
    video->setOnFrameAvailable([&](VideoTexture&) {
        effect->apply(nullptr);  // draws the frame into the output
        const auto pixels = converter->makePixelBuffer(*output, *pool);
        const auto sample = pixels ? converter->makeSampleBuffer(pixels, *source->sampleBuffer()) : nullptr;
        if (sample && !writer->append(*sample)) reader->cancel();
    });
    video->set(source);
    while (const auto frame = reader->copyNextSampleBuffer()) source->processFrame(frame);

    if (const auto failure = writer->finish() ? reader->error() : writer->error()) {
        std::fprintf(stderr, "%s\n", failure->localizedDescription().c_str());
        return 1;
    }
}
