// Whatever allocation fails, of this system's or of the libraries below it: pictures, movies and players return their
// absent results and say so, nothing leaks, and the next round comes out right. A program of its own, as it replaces
// the C library's allocations.
#include <atomic>
#include <chrono>
#include <fstream>
#include <iterator>
#include <thread>

#include <tests/support/FailingLibraryMemory.h>
#include <tests/support/ManualClock.h>
#include <tests/support/OutOfMemory.h>

#include <ondrix/platform/ffmpeg/MoviePlayerItem.h>
#include <ondrix/platform/ffmpeg/MovieWriter.h>
#include <ondrix/platform/metalkit/MTKTextureLoader.h>
#include <ondrix/platform/metalkit/PictureFile.h>

#include "Frames.h"

namespace ondrix::test {
namespace {

using namespace std::chrono_literals;

std::atomic<int> messages{0};

/// Left out, because FFmpeg 5.1 and libx264 themselves don't stand a lack of memory there, nor in their own threads.
constexpr std::string_view spared[] = {
    "avio_open2",              // keeps the stream that it had made where an option of it can't be set
    "avcodec_alloc_context3",  // ends the process by an assertion where a default can't be set
    "avcodec_open2",           // keeps what the encoder or the decoder's threads had already
    "avcodec_send_packet",     // the decoder keeps blocks, and loses pictures without a word
    "avcodec_receive_frame",
    "avcodec_send_frame",
    "avcodec_flush_buffers",  // copies state between the decoder's threads, and keeps their pictures
    "avcodec_free_context",
    "sws_init_context",  // keeps the contexts of its threads
};
bool isSpared() {
    return isInsideLibrary(spared);
}

/// What a round gets at: what it read, drew or wrote, and why it got no further.
struct Outcome {
    Outcome() { result.reserve(1 << 17); }  // the application's own memory
    bool add(const std::shared_ptr<CVPixelBuffer>& pixels) {
        if (!pixels) return false;
        const PixelBufferLock lock(*pixels, kCVPixelBufferLock_ReadOnly);
        const auto row = static_cast<std::size_t>(lock.width() * (CVPixelBufferIsPlanar(*pixels) ? 1 : 4));
        for (Int y = 0; y < lock.height(); ++y) result.append(reinterpret_cast<const char*>(lock.row(y, 0)), row);
        return true;
    }
    bool failed(std::optional<NSError> reason) {
        if (reason) error = std::move(*reason);
        return false;
    }
    std::string result;
    NSError error;
};

/// What rounds work with, made while there is memory.
struct Inputs {
    Inputs() {
        const auto picture = Picture::noise(64, 48, 1);
        (void)PictureFile::write(png, 64, 48, MTLPixelFormat::bgra8Unorm, picture.bytes.data(), 256, nullptr);
        Clip clip = numbered("mjpeg", {1, 25}, {0});
        clip.format = AV_PIX_FMT_YUVJ420P;
        clip.write(jpeg);
        numbered("libx264", {1, 25}, evenTimes(12), 2).write(movie);
    }
    TemporaryFolder folder;
    std::filesystem::path png = folder.path() / "p.png", jpeg = folder.path() / "p.mjpeg",
                          movie = folder.path() / "m.mp4", written = folder.path() / "w.mp4";
};

/// What a process of its own needs beside them.
struct Program {
    explicit Program(const Inputs& used) : inputs(used) {
        os::setLogSink([](const os::LogMessage& message) { messages += message.type >= os::LogType::error ? 1 : 0; });
        (void)isSpared();  // the first asks for memory
        FailingMemory::setSpared(isSpared);
        settings.width = 64;
        settings.height = 48;
        settings.timescale = 25;
        for (Int index = 0; index < 3; ++index) {
            frames.push_back(sample(noise(64, 48, bgra), {CMTimeMake(1, 25), CMTimeMake(index, 25), kCMTimeInvalid}));
        }
    }

    bool load(const URL& file, Outcome& outcome) const {
        const auto texture = loader.newTexture(file, {}, &outcome.error);
        if (!texture) return false;
        outcome.result.resize(64 * 48 * 4);
        texture->getBytes(outcome.result.data(), 64 * 4, MTLRegionMake2D(0, 0, 64, 48), 0);
        return true;
    }
    bool loadPNG(Outcome& outcome) const { return load(png, outcome); }
    bool loadJPEG(Outcome& outcome) const { return load(jpeg, outcome); }

    bool read(Outcome& outcome, MovieFrameFormat format) const {
        const auto reader = MovieReader::open(movie, format, &outcome.error);
        if (!reader) return false;
        for (int index = 0; index < 4; ++index) {
            if (index == 3 && !reader->seek(CMTimeMake(7, 25))) return outcome.failed(reader->error());
            const auto sample = reader->copyNextSampleBuffer();
            if (!sample || !outcome.add(imageOf(sample))) return outcome.failed(reader->error());
        }
        return true;
    }

    bool write(Outcome& outcome) const {
        const auto writer = MovieWriter::create(target, settings, &outcome.error);
        if (!writer) return false;
        for (const auto& frame : frames) {
            if (!writer->append(*frame)) return outcome.failed(writer->error());
        }
        return writer->finish() || outcome.failed(writer->error());
    }

    bool play(Outcome& outcome) {
        const auto item = MoviePlayerItem::create(movie, &outcome.error);
        if (!item) return false;
        const auto output = AVPlayerItemVideoOutput::create({});
        if (!output) return outcome.failed(NSError("no output"));
        item->add(output);
        item->setRate(1);
        for (int index = 0; index < 3; ++index) {
            const auto end = std::chrono::steady_clock::now() + 10s;
            std::shared_ptr<CVPixelBuffer> pixels;
            while (!pixels && messages == 0 && std::chrono::steady_clock::now() < end) {
                pixels = output->copyPixelBuffer(item->currentTime(), nullptr);
                if (!pixels) std::this_thread::yield();
            }
            if (!outcome.add(pixels)) return false;
            clock.advance(0.04);
        }
        return true;
    }

    const Inputs& inputs;
    const URL png{inputs.png}, jpeg{inputs.jpeg}, movie{inputs.movie}, target{inputs.written};
    const MTKTextureLoader loader{MTLCreateSystemDefaultDevice()};
    MovieWriterSettings settings;
    ManualClock clock;
    Samples frames;
};

using Round = bool (*)(Program&, Outcome&);

/// What went wrong when the n-th allocation failed; nothing when all is as it should be.
std::string tryRound(Program& program, Round round, long n, bool allThatFollow) {
    Outcome right;
    if (!round(program, right)) return "it fails with memory, too: " + right.error.localizedDescription();
    long before = 0;
    for (int attempt = 0; attempt < 3; ++attempt) {  // whatever is made once is made in the first
        before = FailingMemory::live();
        {
            Outcome outcome;
            messages = 0;
            bool complete = false;
            {
                const FailingMemory failing(n, allThatFollow);
                try {
                    complete = round(program, outcome);
                } catch (const std::exception& exception) {
                    FailingMemory::stop();
                    return std::string("an exception left an operation: ") + exception.what();
                }
            }
            const bool isRight = complete && outcome.result == right.result;
            if (!isRight && messages == 0 && outcome.error.localizedDescription().empty()) return "nobody was told";
        }
        {
            Outcome outcome;
            messages = 0;
            if (!round(program, outcome)) return "the next round fails: " + outcome.error.localizedDescription();
            if (outcome.result != right.result) return "the next round is wrong";
        }
        if (FailingMemory::live() <= before) return "";
    }
    return "it leaks " + std::to_string(FailingMemory::live() - before) + " blocks";
}

TEST(MediaOutOfMemory, InARound) {
    const Inputs inputs;
    const std::pair<const char*, Round> rounds[] = {
        {"PNG file", [](Program& program, Outcome& outcome) { return program.loadPNG(outcome); }},
        {"JPEG file", [](Program& program, Outcome& outcome) { return program.loadJPEG(outcome); }},
        {"reading a movie",
         [](Program& program, Outcome& outcome) { return program.read(outcome, MovieFrameFormat::BGRA); }},
        {"reading its planes",
         [](Program& program, Outcome& outcome) { return program.read(outcome, MovieFrameFormat::decoded); }},
        {"writing a movie", [](Program& program, Outcome& outcome) { return program.write(outcome); }},
        {"playing a movie", [](Program& program, Outcome& outcome) { return program.play(outcome); }},
    };
    for (const auto& [name, round] : rounds) {
        const std::string count = inChild([&, round = round] {
            Program program(inputs);
            Outcome first, outcome;
            if (!round(program, first)) return first.error.localizedDescription();
            const FailingMemory counted(0, false);
            round(program, outcome);
            return std::to_string(FailingMemory::count());
        });
        ASSERT_GT(std::atol(count.c_str()), 0) << name << ": " << count;
        constexpr long quickStep = 37, step = 7;  // each is a process, and a look at the stack for each allocation
        const auto tryOne = [&, round = round](long n, bool allThatFollow) {
            return inChild([&] {
                Program program(inputs);
                return tryRound(program, round, n, allThatFollow);
            });
        };
        tryAll(name, std::atol(count.c_str()), tryOne, quickStep, step);
    }
}

}  // namespace
}  // namespace ondrix::test
