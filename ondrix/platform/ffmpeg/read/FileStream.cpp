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

std::unique_ptr<FileStream> FileStream::open(const char* path, const std::atomic<bool>& cancelled, int& status) {
    struct stat properties {};
    const int descriptor = ::open(path, O_RDONLY | O_CLOEXEC);
    status = descriptor < 0 ? AVERROR(errno) : 0;
    if (status < 0) return nullptr;
    std::unique_ptr<FileStream> stream(new FileStream(descriptor, cancelled));
    status = ::fstat(descriptor, &properties) != 0 ? AVERROR(errno) : S_ISDIR(properties.st_mode) ? AVERROR(EISDIR) : 0;
    if (status < 0) return nullptr;
    auto* const buffer = static_cast<unsigned char*>(av_malloc(bufferBytes));
    if (buffer != nullptr) {
        stream->context_ = avio_alloc_context(buffer, bufferBytes, 0, stream.get(), read, nullptr,
                                              S_ISREG(properties.st_mode) ? seek : nullptr);
    }
    if (stream->context_ == nullptr) {
        av_free(buffer);
        throw std::bad_alloc();
    }
    return stream;
}

FileStream::~FileStream() {
    if (context_ != nullptr) av_freep(&context_->buffer);
    avio_context_free(&context_);
    ::close(descriptor_);
}

int FileStream::read(void* stream, std::uint8_t* bytes, int count) {
    const auto& file = *static_cast<const FileStream*>(stream);
    for (;;) {
        if (file.cancelled_) return AVERROR_EXIT;
        pollfd event{file.descriptor_, POLLIN, 0};
        if (::poll(&event, 1, pollMilliseconds) <= 0) continue;
        const ssize_t status = ::read(file.descriptor_, bytes, static_cast<std::size_t>(count));
        if (status > 0) return static_cast<int>(status);
        if (status == 0) return AVERROR_EOF;
        if (errno != EINTR && errno != EAGAIN) return AVERROR(errno);
    }
}

std::int64_t FileStream::seek(void* stream, std::int64_t offset, int whence) {
    const int descriptor = static_cast<const FileStream*>(stream)->descriptor_;
    if ((whence & AVSEEK_SIZE) != 0) {
        struct stat properties {};
        return ::fstat(descriptor, &properties) == 0 ? properties.st_size : AVERROR(errno);
    }
    const off_t position = ::lseek(descriptor, offset, whence & ~AVSEEK_FORCE);
    return position >= 0 ? position : AVERROR(errno);
}

}  // namespace ondrix::ffmpeg
