// Files that want more than to be read: other files, the network, or far more memory than they have bytes.
#include <csignal>
#include <thread>

#include <arpa/inet.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/inotify.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <unistd.h>

#include <ondrix/platform/ffmpeg/MovieWriter.h>

#include "Frames.h"

namespace ondrix::test {
namespace {

using testing::HasSubstr;

/// A port of this machine that nobody answers at, with an eye on who comes.
class Port {
public:
    explicit Port(int type) : type_(type), socket_(::socket(AF_INET, type, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t length = sizeof address;
        const bool isBound = ::bind(socket_, reinterpret_cast<sockaddr*>(&address), length) == 0 &&
                             ::getsockname(socket_, reinterpret_cast<sockaddr*>(&address), &length) == 0;
        if (!isBound || (type == SOCK_STREAM && ::listen(socket_, 4) != 0)) throw std::runtime_error("no port");
        number_ = ntohs(address.sin_port);
        if (type == SOCK_DGRAM) ::close(std::exchange(socket_, -1));  // to be taken by the library
    }
    ~Port() { ::close(socket_); }
    Port(const Port&) = delete;

    [[nodiscard]] std::string text() const { return std::to_string(number_); }
    /// Somebody has connected to it, or for datagrams, has bound it.
    [[nodiscard]] bool isUsed() const {
        if (type_ == SOCK_STREAM) {
            pollfd wanted{socket_, POLLIN, 0};
            return ::poll(&wanted, 1, 0) > 0;
        }
        char port[8];
        std::snprintf(port, sizeof port, ":%04X ", number_);
        return contentOf("/proc/net/udp").find(port) != std::string::npos;
    }

    /// Turns away the one who has connected.
    void forget() const { ::close(::accept(socket_, nullptr, nullptr)); }

private:
    int type_, socket_, number_ = 0;
};

class HostileMovieTest : public MediaTest {
protected:
    /// The reason why the file can't be opened, or "opened".
    static std::string reasonOf(const std::filesystem::path& file, const MovieOptions& options) {
        NSError error;
        return MovieReader::open(URL(file), MovieFrameFormat::BGRA, options, &error) ? "opened"
                                                                                     : error.localizedDescription();
    }
    [[nodiscard]] bool soundIsCopiedFrom(const std::filesystem::path& file) const {
        MovieWriterSettings settings;
        settings.width = settings.height = 16;
        settings.timescale = 25;
        settings.copyOthersFrom = URL(file);
        return MovieWriter::create(URL(path("out.mp4")), settings, nullptr) != nullptr;
    }
};

// A picture of another file, or a packet to somebody else, from a "movie" that names them.
TEST_F(HostileMovieTest, APlaylistOpensNothingUnlessAllowed) {
    const Port http(SOCK_STREAM), udp(SOCK_DGRAM);
    (void)numbered("libx264", {1, 25}, evenTimes(10)).write(path("secret.ts"));
    const std::string web = "http://127.0.0.1:" + http.text() + "/secret.ts", local = path("secret.ts");
    const auto hls = [](const std::string& segment) {
        return "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:10\n#EXT-X-MEDIA-SEQUENCE:0\n#EXTINF:10,\n" + segment +
               "\n#EXT-X-ENDLIST\n";
    };
    const auto dash = [](const std::string& base) {
        return "<?xml version=\"1.0\"?><MPD xmlns=\"urn:mpeg:dash:schema:mpd:2011\" type=\"static\" "
               "mediaPresentationDuration=\"PT1S\" profiles=\"urn:mpeg:dash:profile:isoff-on-demand:2011\">"
               "<Period><AdaptationSet mimeType=\"video/mp2t\"><Representation id=\"1\" bandwidth=\"1000\"><BaseURL>" +
               base + "</BaseURL></Representation></AdaptationSet></Period></MPD>";
    };
    const auto concat = [](const std::string& file) { return "ffconcat version 1.0\nfile '" + file + "'\n"; };
    const std::string sdp = "v=0\no=- 0 0 IN IP4 127.0.0.1\ns=x\nc=IN IP4 127.0.0.1\nt=0 0\nm=video " + udp.text() +
                            " RTP/AVP 96\na=rtpmap:96 H264/90000\n";
    enum What { shows, connects, binds };
    const std::tuple<const char*, std::string, const char*, What> files[] = {
        {"list.m3u8", hls("secret.ts"), "(hls)", shows},      {"list.mp4", hls(web), "(hls)", connects},
        {"list.mpd", dash(web), "(dash)", connects},          {"dash.mp4", dash("secret.ts"), "(dash)", shows},
        {"list.mkv", concat("secret.ts"), "(concat)", shows}, {"session.mp4", sdp, "(sdp)", binds},
    };
    for (const auto& [name, content, format, what] : files) {
        SCOPED_TRACE(name);
        const auto file = folder.write(name, content);
        bool isUsed = false;
        MovieOptions options;
        options.isCancelled = [&] { return isUsed = isUsed || http.isUsed() || udp.isUsed(); };
        EXPECT_THAT(reasonOf(file, options), testing::AllOf(HasSubstr("this is a playlist " + std::string(format)),
                                                            HasSubstr("refers to other files")));
        EXPECT_FALSE(isUsed || http.isUsed());
        EXPECT_FALSE(soundIsCopiedFrom(file));
        EXPECT_FALSE(isUsed || http.isUsed());

        // What each would have done.
        options.allowsPlaylists = true;
        if (what == connects || what == binds) {
            EXPECT_EQ(reasonOf(file, options), "reading it was cancelled");
            EXPECT_TRUE(isUsed);
            if (what == connects) http.forget();
        } else {
            const auto reader = MovieReader::open(URL(file), MovieFrameFormat::BGRA, options, nullptr);
            ASSERT_NE(reader, nullptr);
            EXPECT_EQ(readAll(*reader).size(), 10u);
        }
    }
}

// Formats that open a second file, or show one that isn't a movie, under whatever name they come.
TEST_F(HostileMovieTest, OnlyMoviesAreOpened) {
    std::filesystem::rename(numbered("mpeg2video", {1, 25}, evenTimes(10)).write(path("vob.mpg")), path("vob.sub"));
    const std::pair<const char*, const char*> files[] = {
        {"vob.mp4",
         "# VobSub index file, v7 (do not modify this line!)\nid: en, index: 0\n"
         "timestamp: 00:00:00:000, filepos: 000000000\n"},
        {"captions.mp4", "{\"captions\":[{\"duration\":1,\"content\":\"x\",\"startTime\":0}]}"},
        {"picture.mp4", "<svg xmlns=\"http://www.w3.org/2000/svg\"><image href=\"secret.png\"/></svg>"},
        {"lines.mp4", "1\n00:00:00,000 --> 00:00:01,000\nx\n"},
        {"frame%d.png", "\x89PNG\r\n\x1a\n"},
    };
    for (const auto& [name, content] : files) {
        EXPECT_THAT(reasonOf(folder.write(name, content), {}),
                    testing::AnyOf("this is not a movie file", HasSubstr("refers to others, which aren't opened")))
            << name;
    }
    EXPECT_EQ(reasonOf("concat:" + path("vob.sub").string(), {}), "no such file or directory");
}

/// The bytes after the name of a box of an MP4 file, replaced.
std::string withBox(std::string movie, const char* name, const std::string& bytes) {
    return movie.replace(movie.find(name) + 4, bytes.size(), bytes);
}

// A few bytes that take gigabytes: an index of millions of pictures, pictures without end, in size or in number.
TEST_F(HostileMovieTest, WhatGoesBeyondALimitIsRefused) {
    using namespace std::string_literals;
    const Clip clip = numbered("libx264", {1, 25}, evenTimes(20), 2);
    const std::string fragments = contentOf(clip.write(path("m.ismv"))), whole = contentOf(clip.write(path("m.mp4")));
    const std::pair<const char*, std::string> indices[] = {
        {"trun.mp4", withBox(fragments, "trun", "\0\0\0\0\1\0\0\0"s)},
        {"stsz.mp4", withBox(whole, "stsz", "\0\0\0\0\0\0\0\1\1\0\0\0"s)},
        {"cmov.mp4", withBox(whole, "udt", "a\0\0\0\xFF"s).insert(0, "\0\0\0\x10moov\0\0\0\x8"s + "cmov")},
    };
    for (const auto& [name, content] : indices) {
        EXPECT_THAT(reasonOf(folder.write(name, content), {}),
                    HasSubstr("the index names more than the limit of 8000000"))
            << name;
    }
    MovieOptions options;
    options.maximumIndexEntries = 20;
    EXPECT_EQ(reasonOf(path("m.mp4"), options), "opened");
    EXPECT_EQ(reasonOf(path("m.ismv"), options), "opened");
    options.maximumIndexEntries = 19;
    EXPECT_THAT(reasonOf(path("m.mp4"), options), HasSubstr("limit of 19"));
    EXPECT_THAT(reasonOf(path("m.ismv"), options), HasSubstr("limit of 19"));

    Clip larger = clip;
    larger.width = larger.height = 96;
    const auto joined =
        folder.write("joined.ts", contentOf(clip.write(path("a.ts"))) + contentOf(larger.write(path("b.ts"))));
    options.maximumPixels = 64 * 48;
    const auto reader = MovieReader::open(URL(joined), MovieFrameFormat::BGRA, options, nullptr);
    EXPECT_EQ(readAll(*reader).size(), 20u);
    EXPECT_EQ(reader->error()->localizedDescription(),
              "pictures of 96x96 pixels are larger than the limit of 3072 pixels");
    EXPECT_THAT(reasonOf(path("b.ts"), options), HasSubstr("96x96"));
    options.maximumPixels = 1 << 20;
    options.maximumDecodingMemory = 10000;
    const auto hungry = MovieReader::open(URL(joined), MovieFrameFormat::BGRA, options, nullptr);
    EXPECT_LE(readAll(*hungry).size(), 2u);
    EXPECT_EQ(hungry->error()->localizedDescription(), "decoding takes more than the limit of 10000 bytes");
}

/// An eye on a file, for whoever opens it.
class Watch {
public:
    explicit Watch(const std::filesystem::path& file) {
        if (::inotify_add_watch(events_, file.c_str(), IN_OPEN) < 0) throw std::runtime_error("no watch");
    }
    ~Watch() { ::close(events_); }
    Watch(const Watch&) = delete;
    [[nodiscard]] bool isOpened() const {
        pollfd wanted{events_, POLLIN, 0};
        return ::poll(&wanted, 1, 0) > 0;
    }

private:
    const int events_ = ::inotify_init1(IN_CLOEXEC);
};

/// A box of an MP4 file: its size, its name and what it holds.
std::string box(const std::string& name, const std::string& content) {
    const auto size = static_cast<std::uint32_t>(content.size() + 8);
    std::string bytes;
    for (int shift = 24; shift >= 0; shift -= 8) bytes += static_cast<char>(size >> shift);
    return bytes + name + content;
}

// Movies that hold the name of another file, by every way that their formats have.
TEST_F(HostileMovieTest, NoFileThatAMovieRefersToIsOpened) {
    using namespace std::string_literals;
    const Clip clip = numbered("libx264", {1, 25}, evenTimes(10));
    const auto secret = clip.write(path("secret.ts"));
    const std::string name = secret.filename().string(), url = "file:" + secret.string();
    // The reference of a track to itself, of 12 bytes, becomes one to another file. The index, behind the pictures,
    // grows.
    const auto withReference = [&](const std::string& reference) {
        std::string movie = contentOf(clip.write(path("plain.mov")));
        const std::size_t at = movie.rfind("dref");
        const auto grow = [&](const char* outer) {
            const std::size_t size = movie.rfind(outer) - 4;
            std::uint32_t value = 0;
            std::memcpy(&value, movie.data() + size, 4);
            value = htonl(ntohl(value) + static_cast<std::uint32_t>(reference.size()) - 12);
            std::memcpy(movie.data() + size, &value, 4);
        };
        for (const char* outer : {"moov", "trak", "mdia", "minf", "dinf", "dref"}) grow(outer);
        return movie.replace(at + 12, 12, reference);
    };
    const auto padded = [](std::string text, std::size_t size) { return text.append(size - text.size(), '\0'); };
    const std::string alias = "\0\0\0\0"s + padded("", 4) + "\0\0\0\2\0\0"s + padded("\6volume", 28) + padded("", 12) +
                              padded(static_cast<char>(name.size()) + name, 64) + padded("", 16) + "\0\1\0\1"s +
                              padded("", 16) + "\0\2\0"s + static_cast<char>(url.size()) + url +
                              std::string(url.size() % 2, '\0') + "\0\x12\0"s +
                              static_cast<char>(secret.string().size()) + secret.string() +
                              std::string(secret.string().size() % 2, '\0') + "\xFF\xFF\0\0"s;
    const std::pair<const char*, std::string> files[] = {
        {"alias.mov", withReference(box("alis", alias))},
        {"list.avi", "ffconcat version 1.0\nfile '" + name + "'\n"},
    };
    for (const auto& [file, content] : files) {
        SCOPED_TRACE(file);
        const auto movie = folder.write(file, content);
        const Watch watch(secret);
        if (const auto reader = MovieReader::open(URL(movie), MovieFrameFormat::BGRA, nullptr)) (void)readAll(*reader);
        (void)soundIsCopiedFrom(movie);
        EXPECT_FALSE(watch.isOpened());
    }
}

/// A pipe with a name. What is written to it comes from a thread of its own.
class Pipe {
public:
    explicit Pipe(std::filesystem::path path) : path_(std::move(path)) {
        if (::mkfifo(path_.c_str(), 0600) != 0) throw std::runtime_error("no pipe");
    }
    ~Pipe() { ::close(::open(path_.c_str(), O_RDONLY | O_NONBLOCK)); }  // a writer who waits for a reader goes on
    void write(std::string content) {
        ::signal(SIGPIPE, SIG_IGN);  // readers may leave early
        writer_ = std::jthread([this, content = std::move(content)] {
            const int descriptor = ::open(path_.c_str(), O_WRONLY);
            for (std::size_t at = 0; at < content.size();) {
                const ssize_t count = ::write(descriptor, content.data() + at, content.size() - at);
                if (count <= 0) break;
                at += static_cast<std::size_t>(count);
            }
            ::close(descriptor);
        });
    }
    [[nodiscard]] const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
    std::jthread writer_;
};

// A pipe that nobody writes to, or no longer, keeping its reader for ever; movies that have to be searched shown half.
TEST_F(HostileMovieTest, PipesAreReadAsFarAsTheFormatAllows) {
    const Clip clip = numbered("libx264", {1, 25}, evenTimes(20), 2);
    std::string y4m = "YUV4MPEG2 W64 H48 F25:1 C420mpeg2\n";
    for (int index = 0; index < 20; ++index) {
        y4m += "FRAME\n" + std::string(64 * 48, static_cast<char>(20 + index * 4)) + std::string(64 * 24, '\x80');
    }
    const std::pair<const char*, std::string> movies[] = {
        {"movie.mkv", contentOf(clip.write(path("m.mkv")))},
        {"movie.ts", contentOf(clip.write(path("m.ts")))},
        {"movie.y4m", y4m},
        {"fragments.mp4", contentOf(clip.write(path("m.ismv")))},
    };
    for (const auto& [name, content] : movies) {
        SCOPED_TRACE(name);
        Pipe pipe(path(name));
        pipe.write(content);
        const auto reader = open(pipe.path());
        const double half = 10.5 / 25 + CMTimeGetSeconds(reader->information().start);
        ASSERT_TRUE(reader->seek(CMTimeMakeWithSeconds(half, 1000)));
        for (int index = 10; index < 20; ++index) {
            const auto sample = reader->copyNextSampleBuffer();
            ASSERT_NE(sample, nullptr) << index;
            EXPECT_EQ(numberIn(imageOf(sample)), index);
        }
        EXPECT_EQ(reader->copyNextSampleBuffer(), nullptr);
        EXPECT_EQ(reader->error(), std::nullopt);
        EXPECT_FALSE(reader->seek(kCMTimeZero));
    }
    Pipe late(path("index-last.mp4"));
    late.write(
        contentOf(Clip{.encoder = "mpeg4", .width = 400, .height = 400, .times = evenTimes(9)}.write(path("m.mp4"))));
    EXPECT_EQ(reasonOf(late.path(), {}), "the file can't be sought, which this movie needs; copy it to a file first");

    const Pipe silent(path("silent.mkv"));
    int asked = 0;
    MovieOptions options;
    options.isCancelled = [&] { return ++asked > 3; };
    EXPECT_EQ(reasonOf(silent.path(), options), "reading it was cancelled");
    EXPECT_FALSE(soundIsCopiedFrom(silent.path()));
}

}  // namespace
}  // namespace ondrix::test
