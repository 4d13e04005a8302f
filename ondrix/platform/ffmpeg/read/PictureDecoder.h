#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>

#include <ondrix/platform/ffmpeg/read/MovieInput.h>
#include <ondrix/platform/ffmpeg/read/PictureMemory.h>

namespace ondrix::ffmpeg {

/// A picture as it was stored, neither turned nor converted, with its times in ticks of the stream's time base.
struct DecodedPicture {
    FramePointer frame;
    std::int64_t time = 0;        ///< later than that of the picture before
    std::int64_t decodeTime = 0;  ///< AV_NOPTS_VALUE: not known
    std::int64_t duration = 0;    ///< as its packet says; 0: not known
};

/// Decodes the packets of an input to pictures in the order in which they are shown. For one thread at a time, though
/// the decoder has threads of its own. Throws std::bad_alloc.
class PictureDecoder {
public:
    /// Null with the reason.
    [[nodiscard]] static std::unique_ptr<PictureDecoder> create(std::unique_ptr<MovieInput> input, std::string& reason);

    [[nodiscard]] const MovieInput& input() const { return *input_; }
    [[nodiscard]] AVRational timeBase() const { return input_->stream().time_base; }

    /// Nothing at the end, when cancelled, and after a failure of the input. Damaged pictures are left out and counted.
    /// Where a file's times go back, as in joined files, they are moved to go on from the picture before.
    [[nodiscard]] std::optional<DecodedPicture> next();
    /// Why there was no next picture before the end; empty when there was.
    [[nodiscard]] std::string failure() const;
    /// Pictures and packets that were left out.
    [[nodiscard]] std::int64_t lostCount() const { return lostCount_ + input_->lostCount(); }

    /// Goes on at a key frame that is stored at `ticks` or before; false where that can't be done.
    [[nodiscard]] bool seek(std::int64_t ticks);
    /// Goes on at the first packet; false where that can't be done.
    [[nodiscard]] bool rewind();

private:
    struct PacketTimes {
        std::int64_t presentation, decode, duration;
    };

    PictureDecoder(std::unique_ptr<MovieInput> input, CodecPointer codec)
        : input_(std::move(input)),
          memory_(input_->options().maximumDecodingMemory),
          codec_(std::move(codec)),
          packet_(makePacket()) {}
    void feed();
    [[nodiscard]] DecodedPicture describe(FramePointer frame);
    [[nodiscard]] std::int64_t continuous(std::int64_t time);
    void restart();

    std::unique_ptr<MovieInput> input_;
    PictureMemory memory_;
    CodecPointer codec_;
    PacketPointer packet_;
    std::deque<PacketTimes> packetTimes_;  ///< of packets whose picture hasn't come yet
    std::optional<std::int64_t> lastTime_;
    std::int64_t step_ = 0;  ///< between the last two pictures; 0: not known
    std::int64_t lastPacketTime_ = AV_NOPTS_VALUE;
    std::int64_t shift_ = 0;      ///< ticks added to all times since they last went back
    bool isAwaitingKey_ = false;  ///< since a seek no key frame has come; packets before it can't be decoded
    /// Time of the first key frame since a seek. Pictures that are shown before it refer to what came before the seek.
    std::int64_t wholeFrom_ = AV_NOPTS_VALUE;
    bool isSettling_ = false;  ///< since a seek no whole picture has come; those that lack others don't count as lost
    std::int64_t lostCount_ = 0;
};

}  // namespace ondrix::ffmpeg
