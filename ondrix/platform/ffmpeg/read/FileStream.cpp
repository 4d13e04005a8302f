#include <cerrno>

#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>

#include <ondrix/platform/ffmpeg/read/FileStream.h>

namespace ondrix::ffmpeg {

namespace {

constexpr int bufferBytes = 64 * 1024;
/// How often a read that waits looks whether it was cancelled.
constexpr int pollMilliseconds = 20;

}  // namespace

std::unique_ptr<FileStream> FileStream::open(const char* path, const Cancellation& cancellation, int& status) {
    struct stat properties {};
    std::unique_ptr<FileStream> stream(new FileStream(cancellation));
    // Without O_NONBLOCK, opening a pipe waits for a writer and can't be cancelled.
    const int descriptor = stream->descriptor_ = ::open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    status = descriptor < 0 ? AVERROR(errno) : 0;
    if (status < 0) return nullptr;
    status = ::fstat(descriptor, &properties) != 0 ? AVERROR(errno) : S_ISDIR(properties.st_mode) ? AVERROR(EISDIR) : 0;
    if (status < 0) return nullptr;
    stream->isRegularFile_ = S_ISREG(properties.st_mode);
    stream->size_ = properties.st_size;
    auto* const buffer = static_cast<unsigned char*>(av_malloc(bufferBytes));
    if (buffer != nullptr) {
        stream->context_ = avio_alloc_context(buffer, bufferBytes, 0, stream.get(), read, nullptr, seek);
    }
    if (stream->context_ == nullptr) {
        av_free(buffer);
        throw std::bad_alloc();
    }
    if (!stream->isRegularFile_) stream->context_->seekable = 0;
    return stream;
}

FileStream::~FileStream() {
    if (context_ != nullptr) av_freep(&context_->buffer);
    avio_context_free(&context_);
    if (descriptor_ >= 0) ::close(descriptor_);
}

int FileStream::read(void* stream, std::uint8_t* bytes, int count) {
    const auto& file = *static_cast<const FileStream*>(stream);
    for (;;) {
        if (file.cancellation_.isAskedFor()) return AVERROR_EXIT;
        pollfd event{file.descriptor_, POLLIN, 0};
        if (::poll(&event, 1, pollMilliseconds) <= 0) continue;
        const ssize_t status = ::read(file.descriptor_, bytes, static_cast<std::size_t>(count));
        if (status > 0) return static_cast<int>(status);
        if (status == 0) return AVERROR_EOF;
        if (errno != EINTR && errno != EAGAIN) return AVERROR(errno);
    }
}

std::int64_t FileStream::seek(void* stream, std::int64_t offset, int whence) {
    auto& file = *static_cast<FileStream*>(stream);
    const int descriptor = file.descriptor_;
    if (!file.isRegularFile_) {
        file.hasSoughtInVain_ = file.hasSoughtInVain_ || (whence & ~AVSEEK_FORCE) == SEEK_SET;
        return AVERROR(ESPIPE);
    }
    if ((whence & AVSEEK_SIZE) != 0) {
        struct stat properties {};
        return ::fstat(descriptor, &properties) == 0 ? properties.st_size : AVERROR(errno);
    }
    const off_t position = ::lseek(descriptor, offset, whence & ~AVSEEK_FORCE);
    return position >= 0 ? position : AVERROR(errno);
}

}  // namespace ondrix::ffmpeg
