#include "Clip.h"

#include <algorithm>
#include <cstring>
#include <random>
#include <stdexcept>

extern "C" {
#include <libavutil/pixdesc.h>
}

#include <ondrix/platform/ffmpeg/FFmpeg.h>

namespace ondrix::test {
using namespace ffmpeg;

namespace {

void check(int status, const char* what) {
    if (status < 0) throw std::runtime_error(std::string("clip: ") + what + ": " + std::to_string(status));
}

AVFormatContext& makeFile(const std::filesystem::path& path) {
    AVFormatContext* file = nullptr;
    check(avformat_alloc_output_context2(&file, nullptr, nullptr, path.c_str()), "container");
    check(avio_open(&file->pb, path.c_str(), AVIO_FLAG_WRITE), "file");
    return *file;
}

void finish(AVFormatContext& file) {
    check(av_write_trailer(&file), "trailer");
    avio_closep(&file.pb);
    avformat_free_context(&file);
}

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
    const int bytes = format.comp[0].depth > 8 ? 2 : 1;
    for (int plane = 0; plane < format.nb_components; ++plane) {
        const int width = plane == 0 ? clip.width : AV_CEIL_RSHIFT(clip.width, format.log2_chroma_w);
        const int height = plane == 0 ? clip.height : AV_CEIL_RSHIFT(clip.height, format.log2_chroma_h);
        for (int i = 0; i < width * height; ++i) {
            const int x = i % width, y = i / width, value = clip.value(number, plane, x, y);
            std::memcpy(frame->data[plane] + y * frame->linesize[plane] + x * bytes, &value, bytes);
        }
    }
    return frame;
}

}  // namespace

std::filesystem::path Clip::write(const std::filesystem::path& path) const {
    AVFormatContext& file = makeFile(path);
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
    codec->strict_std_compliance = FF_COMPLIANCE_EXPERIMENTAL;
    if ((file.oformat->flags & AVFMT_GLOBALHEADER) != 0) codec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    check(avcodec_open2(codec.get(), kind, nullptr), "encoder");
    AVStream& stream = *avformat_new_stream(&file, nullptr);
    check(avcodec_parameters_from_context(stream.codecpar, codec.get()), "parameters");
    stream.time_base = timeBase;
    if (displayMatrix) {
        const auto& [a, b, c, d] = *displayMatrix;
        const std::array<std::int32_t, 9> numbers = {a * 65536, b * 65536, 0, c * 65536, d * 65536, 0, 0, 0, 1 << 30};
        std::memcpy(av_stream_new_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, sizeof numbers), &numbers,
                    sizeof numbers);
    }
    file.avoid_negative_ts = AVFMT_AVOID_NEG_TS_DISABLED;
    check(avformat_write_header(&file, nullptr), "header");
    const PacketPointer packet = makePacket();
    int packetCount = 0;
    for (std::size_t index = 0; index <= times.size(); ++index) {
        const FramePointer frame = index < times.size() ? paint(*this, static_cast<int>(index)) : nullptr;
        check(avcodec_send_frame(codec.get(), frame.get()), "send");
        while (avcodec_receive_packet(codec.get(), packet.get()) == 0) {
            if (packetCount++ == damagedPacket) {
                std::generate(packet->data + packet->size / 2, packet->data + packet->size, std::minstd_rand(1));
            }
            packet->duration = 1;  // without one, some containers drop the last frame
            av_packet_rescale_ts(packet.get(), timeBase, stream.time_base);
            check(av_write_frame(&file, packet.get()), "packet");
        }
    }
    finish(file);
    return path;
}

void writeSound(const std::filesystem::path& path, int count) {
    AVFormatContext& file = makeFile(path);
    AVStream& stream = *avformat_new_stream(&file, nullptr);
    av_dict_set(&stream.metadata, "language", "fra", 0);
    stream.codecpar->codec_type = AVMEDIA_TYPE_AUDIO;
    stream.codecpar->codec_id = AV_CODEC_ID_AAC;
    stream.codecpar->sample_rate = 48000;
    av_channel_layout_default(&stream.codecpar->ch_layout, 1);
    check(avformat_write_header(&file, nullptr), "header");
    const PacketPointer packet = makePacket();
    std::minstd_rand random(1);
    for (int index = 0; index < count; ++index) {
        check(av_new_packet(packet.get(), 200), "packet");
        std::generate_n(packet->data, packet->size, std::ref(random));
        packet->pts = packet->dts = index * 1024;
        packet->duration = 1024;
        check(av_interleaved_write_frame(&file, packet.get()), "packet");
    }
    finish(file);
}

SoundPackets readSound(const std::filesystem::path& path) {
    AVFormatContext* file = nullptr;
    check(avformat_open_input(&file, path.c_str(), nullptr, nullptr), "open");
    const InputFormatPointer owner(file);
    const int index = av_find_best_stream(file, AVMEDIA_TYPE_AUDIO, -1, -1, nullptr, 0);
    if (index < 0) return {};
    const auto* const language = av_dict_get(file->streams[index]->metadata, "language", nullptr, 0);
    if (language == nullptr || language->value != std::string("fra")) throw std::runtime_error("not French");
    SoundPackets packets;
    for (const PacketPointer packet = makePacket(); av_read_frame(file, packet.get()) == 0;) {
        const std::string bytes(packet->data, packet->data + packet->size);
        if (packet->stream_index == index) packets.emplace_back(packet->pts, bytes);
        av_packet_unref(packet.get());
    }
    return packets;
}

}  // namespace ondrix::test
