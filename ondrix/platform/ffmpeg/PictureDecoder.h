#pragma once

#include <cstdint>
#include <deque>
#include <memory>
#include <optional>
#include <string>

#include <ondrix/platform/ffmpeg/FFmpegPointers.h>
#include <ondrix/platform/ffmpeg/MovieInput.h>

namespace ondrix {

/// A picture as it was stored, with its times in ticks of the stream's time base.
struct DecodedPicture {
    FramePointer frame;
    std::int64_t time = 0;        ///< later than that of the picture before
    std::int64_t decodeTime = 0;  ///< AV_NOPTS_VALUE: not known
    std::int64_t duration = 0;    ///< of its packet; 0: not known
};

/// Decodes the packets of an input to pictures in the order in which they are shown. Internal; for one thread at a
/// time, while the decoder uses threads of its own. Throws std::bad_alloc.
class PictureDecoder {
public:
    /// Null with the reason.
    [[nodiscard]] static std::unique_ptr<PictureDecoder> create(std::unique_ptr<MovieInput> input, std::string& reason);

    [[nodiscard]] const MovieInput& input() const { return *input_; }
    [[nodiscard]] AVRational timeBase() const { return input_->stream().time_base; }

    /// Nothing at the end, when cancelled, and after a failure of the input. Damaged pictures are left out and counted.
    /// Times that go back, as in joined files, go on from the picture before.
    [[nodiscard]] std::optional<DecodedPicture> next();
    [[nodiscard]] std::int64_t lostCount() const { return lostCount_ + input_->lostCount(); }

    /// Goes to a key frame that is stored at `ticks` or before, or to the first packet, and forgets what it had of the
    /// old place. False where that can't be done.
    [[nodiscard]] bool seek(std::int64_t ticks);
    [[nodiscard]] bool rewind();

private:
    struct PacketTimes {
        std::int64_t presentation, decode, duration;
    };

    PictureDecoder(std::unique_ptr<MovieInput> input, CodecPointer codec)
        : input_(std::move(input)), codec_(std::move(codec)), packet_(makePacket()) {}
    void feed();
    [[nodiscard]] DecodedPicture describe(FramePointer frame);
    [[nodiscard]] std::int64_t continuous(std::int64_t time);
    void restart();

    std::unique_ptr<MovieInput> input_;
    CodecPointer codec_;
    PacketPointer packet_;
    std::deque<PacketTimes> packetTimes_;  ///< of packets whose picture hasn't come yet
    std::optional<std::int64_t> lastTime_;
    std::int64_t step_ = 0;  ///< between the last two pictures; 0: not known
    std::int64_t lastPacketTime_ = AV_NOPTS_VALUE;
    std::int64_t shift_ = 0;                   ///< ticks added to all times since they last went back
    bool isAwaitingKey_ = false;               ///< after a seek: packets before the first key frame can't be decoded
    std::int64_t wholeFrom_ = AV_NOPTS_VALUE;  ///< pictures before that key frame lack what they are made from
    bool isSettling_ = false;  ///< since a seek no whole picture has come; what lacks its references isn't lost
    std::int64_t lostCount_ = 0;
};

}  // namespace ondrix
