#include "MediaFile.h"

#include <random>
#include <stdexcept>
#include <utility>

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
}

#include <tests/support/Picture.h>

namespace ondrix::test {

namespace {

void check(int status) {
    if (status < 0) throw std::runtime_error("media file: " + std::to_string(status));
}

}  // namespace

std::shared_ptr<CMSampleBuffer> frame(std::shared_ptr<CVPixelBuffer> pixels, CMTime time, CMTime duration) {
    std::shared_ptr<CMFormatDescription> description;
    CMVideoFormatDescriptionCreateForImageBuffer(pixels, &description);
    std::shared_ptr<CMSampleBuffer> sample;
    CMSampleBufferCreateReadyWithImageBuffer(std::move(pixels), description, {duration, time, kCMTimeInvalid}, &sample);
    return sample;
}

std::shared_ptr<CVPixelBuffer> noise(std::int64_t width, std::int64_t height, OSType format, unsigned seed) {
    std::shared_ptr<CVPixelBuffer> pixels;
    CVPixelBufferCreate(width, height, format, nullptr, &pixels);
    std::mt19937 random(seed);
    const std::int64_t elementSize = CVPixelBufferIsPlanar(*pixels) ? 1 : 4;
    for (std::int64_t plane = 0; plane < (elementSize == 1 ? 2 : 1); ++plane) {
        forEachElement(*pixels, plane, plane + elementSize, [&](std::uint8_t* element, std::int64_t, std::int64_t) {
            for (int i = 0; i < plane + elementSize; ++i) element[i] = static_cast<std::uint8_t>(random());
        });
    }
    return pixels;
}

int byte(CVPixelBuffer& pixels, std::int64_t plane, std::int64_t x, std::int64_t y) {
    CVPixelBufferLockBaseAddress(pixels, kCVPixelBufferLock_ReadOnly);
    const auto* const bytes = static_cast<const std::uint8_t*>(CVPixelBufferGetBaseAddressOfPlane(pixels, plane));
    const int value = bytes[y * CVPixelBufferGetBytesPerRowOfPlane(pixels, plane) + x];
    CVPixelBufferUnlockBaseAddress(pixels, kCVPixelBufferLock_ReadOnly);
    return value;
}

FileStream readStream(const URL& file, AVMediaType type) {
    AVFormatContext* context = nullptr;
    check(avformat_open_input(&context, file.path().c_str(), nullptr, nullptr));
    check(avformat_find_stream_info(context, nullptr));
    FileStream stream;
    const int index = av_find_best_stream(context, type, -1, -1, nullptr, 0);
    AVPacket* packet = av_packet_alloc();
    while (index >= 0 && av_read_frame(context, packet) >= 0) {
        const auto* const bytes = reinterpret_cast<const char*>(packet->data);
        if (packet->stream_index == index) {
            stream.packets.push_back({packet->pts, packet->dts, std::string(bytes, bytes + packet->size)});
        }
        av_packet_unref(packet);
    }
    const auto* language = index < 0 ? nullptr : av_dict_get(context->streams[index]->metadata, "language", nullptr, 0);
    if (language != nullptr) stream.language = language->value;
    av_packet_free(&packet);
    avformat_close_input(&context);
    return stream;
}

void writeSound(const URL& file, int count) {
    constexpr int rate = 48000, length = 1024, size = 200;
    AVFormatContext* context = nullptr;
    check(avformat_alloc_output_context2(&context, nullptr, nullptr, file.path().c_str()));
    AVStream& stream = *avformat_new_stream(context, nullptr);
    AVCodecParameters& parameters = *stream.codecpar;
    parameters.codec_type = AVMEDIA_TYPE_AUDIO;
    parameters.codec_id = AV_CODEC_ID_AAC;
    parameters.sample_rate = rate;
    parameters.frame_size = length;
    av_channel_layout_default(&parameters.ch_layout, 1);
    parameters.extradata = static_cast<std::uint8_t*>(av_mallocz(2 + AV_INPUT_BUFFER_PADDING_SIZE));
    parameters.extradata_size = 2;
    parameters.extradata[0] = 0x11;  // low complexity, 48000 Hz, one channel
    parameters.extradata[1] = 0x88;
    stream.time_base = {1, rate};
    av_dict_set(&stream.metadata, "language", "fra", 0);
    check(avio_open(&context->pb, file.path().c_str(), AVIO_FLAG_WRITE));
    check(avformat_write_header(context, nullptr));
    AVPacket* packet = av_packet_alloc();
    std::mt19937 random(1);
    for (int i = 0; i < count; ++i) {
        check(av_new_packet(packet, size));
        for (int k = 0; k < size; ++k) packet->data[k] = static_cast<std::uint8_t>(random());
        packet->pts = packet->dts = av_rescale_q(i * length, {1, rate}, stream.time_base);
        packet->duration = av_rescale_q(length, {1, rate}, stream.time_base);
        check(av_interleaved_write_frame(context, packet));
    }
    check(av_write_trailer(context));
    av_packet_free(&packet);
    avio_closep(&context->pb);
    avformat_free_context(context);
}

}  // namespace ondrix::test
