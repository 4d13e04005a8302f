#include "Clip.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <random>
#include <stdexcept>

extern "C" {
#include <libavutil/pixdesc.h>
}

#include <ondrix/platform/ffmpeg/FFmpegPointers.h>

namespace ondrix::test {

namespace {

void check(int status, const char* what) {
    if (status < 0) throw std::runtime_error(std::string("clip: ") + what + ": " + std::to_string(status));
}

struct CloseFile {
    void operator()(AVFormatContext* context) const {
        avio_closep(&context->pb);
        avformat_free_context(context);
    }
};
using Container = std::unique_ptr<AVFormatContext, CloseFile>;

FramePointer paint(const Clip& clip, int number) {
    FramePointer frame = makeFrame();
    frame->format = clip.format;
    frame->width = clip.width;
    frame->height = clip.height;
    frame->colorspace = clip.matrix;
    frame->color_range = clip.range;
    frame->pts = clip.times[static_cast<std::size_t>(number)];
    check(av_frame_get_buffer(frame.get(), 0), "frame");
    const AVPixFmtDescriptor& format = *av_pix_fmt_desc_get(clip.format);
    for (int plane = 0; plane < format.nb_components; ++plane) {
        const int width = plane == 0 ? clip.width : AV_CEIL_RSHIFT(clip.width, format.log2_chroma_w);
        const int height = plane == 0 ? clip.height : AV_CEIL_RSHIFT(clip.height, format.log2_chroma_h);
        const int bytes = format.comp[0].depth > 8 ? 2 : 1;
        for (int y = 0; y < height; ++y) {
            for (int x = 0; x < width; ++x) {
                const int value = clip.value(number, plane, x, y);
                std::memcpy(frame->data[plane] + y * frame->linesize[plane] + x * bytes, &value, bytes);
            }
        }
    }
    return frame;
}

}  // namespace

void Clip::write(const std::filesystem::path& file) const {
    AVFormatContext* made = nullptr;
    check(avformat_alloc_output_context2(&made, nullptr, nullptr, file.c_str()), "container");
    const Container container(made);
    const AVCodec* const kind = avcodec_find_encoder_by_name(encoder.c_str());
    if (kind == nullptr) throw std::runtime_error("clip: no encoder " + encoder);
    const CodecPointer codec(avcodec_alloc_context3(kind));
    codec->width = width;
    codec->height = height;
    codec->pix_fmt = format;
    codec->time_base = timeBase;
    codec->max_b_frames = bFrames;
    codec->gop_size = framesPerKey;
    codec->colorspace = matrix;
    if (matrix != AVCOL_SPC_UNSPECIFIED) {  // without these, some containers write no matrix
        codec->color_primaries = AVCOL_PRI_BT709;
        codec->color_trc = AVCOL_TRC_BT709;
    }
    codec->color_range = range;
    codec->bit_rate = 4000000;
    codec->thread_count = 1;
    codec->strict_std_compliance = FF_COMPLIANCE_EXPERIMENTAL;
    if ((container->oformat->flags & AVFMT_GLOBALHEADER) != 0) codec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    check(avcodec_open2(codec.get(), kind, nullptr), "encoder");

    AVStream* const stream = avformat_new_stream(container.get(), nullptr);
    check(avcodec_parameters_from_context(stream->codecpar, codec.get()), "parameters");
    stream->time_base = timeBase;
    if (displayMatrix) {
        const auto& [a, b, c, d] = *displayMatrix;
        const std::array<std::int32_t, 9> numbers = {a * 65536, b * 65536, 0, c * 65536, d * 65536, 0, 0, 0, 1 << 30};
        auto* bytes = av_stream_new_side_data(stream, AV_PKT_DATA_DISPLAYMATRIX, sizeof numbers);
        std::copy(numbers.begin(), numbers.end(), reinterpret_cast<std::int32_t*>(bytes));
    }
    container->avoid_negative_ts = AVFMT_AVOID_NEG_TS_DISABLED;
    check(avio_open(&container->pb, file.c_str(), AVIO_FLAG_WRITE), "file");
    check(avformat_write_header(container.get(), nullptr), "header");

    const PacketPointer packet = makePacket();
    int packetCount = 0;
    const auto writePackets = [&] {
        while (avcodec_receive_packet(codec.get(), packet.get()) == 0) {
            if (packetCount++ == damagedPacket) {
                std::generate(packet->data + packet->size / 2, packet->data + packet->size, std::minstd_rand(1));
            }
            packet->duration = 1;  // without one, some containers drop the last frame
            av_packet_rescale_ts(packet.get(), timeBase, stream->time_base);
            check(av_write_frame(container.get(), packet.get()), "packet");
        }
    };
    for (std::size_t index = 0; index < times.size(); ++index) {
        const FramePointer frame = paint(*this, static_cast<int>(index));
        check(avcodec_send_frame(codec.get(), frame.get()), "send");
        writePackets();
    }
    check(avcodec_send_frame(codec.get(), nullptr), "end");
    writePackets();
    check(av_write_trailer(container.get()), "trailer");
}

}  // namespace ondrix::test
