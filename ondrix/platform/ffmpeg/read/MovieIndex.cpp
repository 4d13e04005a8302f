#include <algorithm>

#include <ondrix/platform/ffmpeg/read/MovieIndex.h>

namespace ondrix::ffmpeg {

namespace {

constexpr int deepestBox = 16;

constexpr std::uint32_t box(const char (&name)[5]) {
    return static_cast<std::uint32_t>(name[0]) << 24 | static_cast<std::uint32_t>(name[1]) << 16 |
           static_cast<std::uint32_t>(name[2]) << 8 | static_cast<std::uint32_t>(name[3]);
}

class IndexCounter {
public:
    IndexCounter(AVIOContext& io, std::int64_t maximumEntries) : io_(io), left_(maximumEntries) {}

    /// Walks through the boxes from here to `end`. False when there are too many entries, or where they can't be
    /// counted.
    bool count(std::int64_t end, int depth) {
        while (avio_tell(&io_) + 8 <= end && !avio_feof(&io_)) {
            const std::int64_t start = avio_tell(&io_);
            std::int64_t size = avio_rb32(&io_);
            const std::uint32_t name = avio_rb32(&io_);
            if (size == 1) size = static_cast<std::int64_t>(avio_rb64(&io_));
            if (size == 0 || size > end - start) size = end - start;
            if (size < 8) return true;  // the library, too, reads no further
            if (!enter(name, start + size, depth)) return false;
            if (avio_seek(&io_, start + size, SEEK_SET) < 0) return true;
        }
        return true;
    }

private:
    bool enter(std::uint32_t name, std::int64_t end, int depth) {
        switch (name) {
            case box("trak"):
                isSound_ = isUniform_ = false;
                samples_ = 0;
                // Sound of uniform pieces is stored in chunks, which the file has to name one by one.
                return depth < deepestBox && count(end, depth + 1) && (isSound_ && isUniform_ ? true : take(samples_));
            case box("moov"):
            case box("mdia"):
            case box("minf"):
            case box("stbl"):
            case box("moof"):
            case box("traf"):
                return depth < deepestBox && count(end, depth + 1);
            case box("cmov"):
                return false;
            case box("hdlr"):
                avio_skip(&io_, 8);
                isSound_ = avio_rb32(&io_) == box("soun");
                return true;
            case box("stts"):
                avio_skip(&io_, 4);
                isUniform_ = avio_rb32(&io_) == 1;
                avio_skip(&io_, 4);
                isUniform_ = isUniform_ && avio_rb32(&io_) == 1;
                return true;
            case box("stsz"):
            case box("stz2"):
                avio_skip(&io_, 8);
                samples_ = std::max<std::int64_t>(samples_, avio_rb32(&io_));
                return true;
            case box("trun"):
                avio_skip(&io_, 4);
                return take(avio_rb32(&io_));
            default:
                return true;
        }
    }

    bool take(std::int64_t entries) {
        left_ -= entries;
        return left_ >= 0;
    }

    AVIOContext& io_;
    std::int64_t left_;
    std::int64_t samples_ = 0;  ///< of the present track, as are the next two
    bool isSound_ = false, isUniform_ = false;
};

}  // namespace

bool isIndexWithinLimit(AVIOContext& io, std::int64_t maximumEntries, std::string& reason) {
    const std::int64_t size = avio_size(&io);
    const bool isWithin = avio_seek(&io, 0, SEEK_SET) < 0 || IndexCounter(io, maximumEntries).count(size, 0);
    if (!isWithin) {
        reason = "the index names more than the limit of " + std::to_string(maximumEntries) +
                 " pictures and pieces of sound, or is compressed";
        return false;
    }
    avio_seek(&io, 0, SEEK_SET);
    return true;
}

}  // namespace ondrix::ffmpeg
