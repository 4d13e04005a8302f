#pragma once

#include <cstdint>
#include <deque>
#include <functional>
#include <vector>

#include <ondrix/platform/ffmpeg/read/MovieFile.h>
#include <ondrix/platform/foundation/URL.h>

namespace ondrix::ffmpeg {

/// Copies sound, subtitles, data and descriptions of one movie into another, packet by packet, unchanged and with their
/// times. Operations throw std::bad_alloc and `WritingFailure`.
class StreamCopier {
public:
    using Write = std::function<void(AVPacket& packet)>;

    /// Adds streams to `target`, after its pictures, for all that it can hold; logs what it can't. `target` outlives
    /// this.
    StreamCopier(const URL& source, const MovieOptions& options, AVFormatContext& target);

    /// Hertz of the copied sound, for each of its streams.
    [[nodiscard]] std::vector<int> sampleRates() const;

    /// Ticks of `timeBase` by which all later packets are moved.
    void setShift(std::int64_t ticks, AVRational timeBase);
    /// Gives to `write`, with times in the target's ticks, what the source says is decoded before `time`.
    void copyBefore(std::int64_t time, AVRational timeBase, const Write& write);
    /// The same for what is decoded before `end`, where the pictures end, of which the last is at `lastPicture`. If the
    /// source has no later picture either, the same for everything that is left.
    void finish(std::int64_t lastPicture, std::int64_t end, AVRational timeBase, const Write& write);

private:
    struct Track {
        int target = -1;  ///< index of the target's stream; -1 when not copied
        bool isSound = false;
        bool isPast = false;  ///< has come to the end of the pictures
    };

    void addStreams();
    void copyDescriptions();
    /// Reads the next packet of a copied stream or of the pictures into `packet_`, unless one is there. False at the
    /// end.
    bool read();
    [[nodiscard]] AVRational timeBase() const;  ///< of `packet_`
    [[nodiscard]] bool isBefore(std::int64_t time, AVRational timeBase) const;
    [[nodiscard]] bool isPicture() const { return packet_->stream_index == pictures_; }
    [[nodiscard]] bool isAllPast() const;
    void writePacket(AVPacket& packet, const Write& write) const;
    /// Copies those that begin before `end`.
    void copyChapters(std::int64_t end, AVRational timeBase);

    Cancellation cancellation_;
    std::unique_ptr<MovieFile> file_;
    AVFormatContext* source_ = nullptr;  ///< that of `file_`
    AVFormatContext& target_;
    std::vector<Track> tracks_;  ///< one for each stream of the source
    int pictures_ = -1;          ///< index of the source's stream of pictures; -1 without one
    PacketPointer packet_;       ///< read, but not written, if `hasPacket_`
    bool hasPacket_ = false;
    std::int64_t newestPicture_ = AV_NOPTS_VALUE;  ///< latest time of a picture so far, in its stream's ticks
    std::int64_t shift_ = 0;
    AVRational shiftTimeBase_{1, 1};
};

}  // namespace ondrix::ffmpeg
