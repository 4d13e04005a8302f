#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <vector>

#include <ondrix/platform/ffmpeg/FFmpegPointers.h>
#include <ondrix/platform/foundation/URL.h>

namespace ondrix {

/// Copies sound, subtitles, data and descriptions of one movie into another, packet by packet, unchanged and with their
/// times. Operations throw std::bad_alloc and `WritingFailure`. Internal: not installed.
class StreamCopier {
public:
    using Write = std::function<void(AVPacket& packet)>;

    /// Adds streams to `target`, after its pictures, for all that it can hold; logs what it can't. `target` outlives
    /// this.
    StreamCopier(const URL& source, AVFormatContext& target);

    /// Hertz of the copied sound, for each of its streams.
    [[nodiscard]] std::vector<int> sampleRates() const;

    /// Ticks of `timeBase` by which all later packets are moved.
    void setShift(std::int64_t ticks, AVRational timeBase);
    /// Hands out, in the target's ticks, what is decoded before `time`, as the source says it.
    void copyBefore(std::int64_t time, AVRational timeBase, const Write& write);
    /// The same for the end of the pictures; for everything that is left if the source has no later picture either.
    void finish(std::int64_t lastPicture, std::int64_t end, AVRational timeBase, const Write& write);

private:
    struct Track {
        int target = -1;  ///< index of the target's stream; -1 when not copied
        bool isSound = false;
        bool isPast = false;  ///< the end of the pictures
    };

    void addStreams();
    void copyDescriptions();
    /// The next packet of a copied stream or of the pictures into `packet_`, unless one is there. False at the end.
    bool read();
    [[nodiscard]] AVRational timeBase() const;  ///< of `packet_`
    [[nodiscard]] bool isBefore(std::int64_t time, AVRational timeBase) const;
    [[nodiscard]] bool isPicture() const { return packet_->stream_index == pictures_; }
    [[nodiscard]] bool isAllPast() const;
    void writePacket(AVPacket& packet, const Write& write) const;
    /// Those that begin before `end`.
    void copyChapters(std::int64_t end, AVRational timeBase);

    InputFormatPointer source_;
    AVFormatContext& target_;
    std::vector<Track> tracks_;  ///< one for each stream of the source
    int pictures_ = -1;          ///< index of the source's stream of pictures; -1 without one
    PacketPointer packet_;       ///< read, not handed out, if `hasPacket_`
    bool hasPacket_ = false;
    std::int64_t newestPicture_ = AV_NOPTS_VALUE;  ///< latest time of a picture so far, in its stream's ticks
    std::int64_t shift_ = 0;
    AVRational shiftTimeBase_{1, 1};
};

}  // namespace ondrix
