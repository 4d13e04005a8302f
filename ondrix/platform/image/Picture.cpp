#include <new>
#include <string_view>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <ondrix/platform/image/JPEGDecoder.h>
#include <ondrix/platform/image/PNGDecoder.h>
#include <ondrix/platform/image/Picture.h>

namespace ondrix::image {

namespace {

using namespace std::string_view_literals;

constexpr const char* emptyFile = "the file is empty";

/// Null with a reason unless `file` is a regular file that can be read; `size` is its length in bytes.
Stream openRegularFile(const URL& file, std::uint64_t& size, std::string& reason) {
    // Without O_NONBLOCK, opening a pipe would wait for a writer.
    const int descriptor = ::open(file.path().c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0) {
        reason = lastSystemError();
        return nullptr;
    }
    struct stat status {};
    if (::fstat(descriptor, &status) != 0) {
        reason = lastSystemError();
    } else if (S_ISDIR(status.st_mode)) {
        reason = std::generic_category().message(EISDIR);
    } else if (!S_ISREG(status.st_mode)) {
        reason = "it is not a regular file";
    } else if (std::FILE* const stream = ::fdopen(descriptor, "rb")) {
        size = static_cast<std::uint64_t>(status.st_size);
        return Stream(stream);
    } else {
        reason = lastSystemError();
    }
    ::close(descriptor);
    return nullptr;
}

}  // namespace

std::unique_ptr<Picture> Picture::open(const URL& file, const MTKTextureLoaderLimits& limits, std::string& reason) {
    std::uint64_t size = 0;
    Stream stream = openRegularFile(file, size, reason);
    return stream ? open(std::move(stream), size, limits, reason) : nullptr;
}

std::unique_ptr<Picture> Picture::open(const void* bytes, std::uint64_t length, const MTKTextureLoaderLimits& limits,
                                       std::string& reason) {
    if (length == 0) {
        reason = emptyFile;
        return nullptr;
    }
    Stream stream(::fmemopen(const_cast<void*>(bytes), length, "r"));  // it only reads
    if (!stream) throw std::bad_alloc();
    return open(std::move(stream), length, limits, reason);
}

std::unique_ptr<Picture> Picture::open(Stream stream, std::uint64_t length, const MTKTextureLoaderLimits& limits,
                                       std::string& reason) {
    char bytes[8];
    const std::string_view start(bytes, std::fread(bytes, 1, sizeof bytes, stream.get()));
    if (std::ferror(stream.get()) != 0) {
        reason = lastSystemError();
        return nullptr;
    }
    if (start.empty()) {
        reason = emptyFile;
        return nullptr;
    }
    std::rewind(stream.get());
    if (start == "\x89PNG\r\n\x1A\n"sv) return PNGDecoder::create(std::move(stream), length, limits, reason);
    if (start.starts_with("\xFF\xD8\xFF"sv)) return JPEGDecoder::create(std::move(stream), limits, reason);
    reason = "the file is not a PNG or JPEG picture";
    return nullptr;
}

bool Picture::checkSize(std::uint64_t width, std::uint64_t height, std::string& reason) {
    const std::string text = std::to_string(width) + "x" + std::to_string(height);
    if (width == 0 || height == 0) {
        reason = "the picture has no pixels (" + text + ")";
        return false;
    }
    if (width > maximumSide || height > maximumSide) {
        reason =
            "the picture is too large (" + text + " pixels, " + std::to_string(maximumSide) + " a side are possible)";
        return false;
    }
    return true;
}

bool Picture::setSize(std::uint64_t width, std::uint64_t height, std::string& reason) {
    if (!checkSize(width, height, reason)) return false;
    width_ = width;
    height_ = height;
    return true;
}

bool Picture::checkLimits(std::uint64_t bytes, std::string& reason) const {
    if (width_ * height_ > limits_.maximumPixels) {
        reason = "the picture is too large (" + std::to_string(width_) + "x" + std::to_string(height_) + " pixels, " +
                 std::to_string(limits_.maximumPixels) + " in all are allowed)";
        return false;
    }
    if (4 * width_ * height_ + bytes > limits_.maximumMemory) {
        reason = "decoding the picture takes too much memory";
        return false;
    }
    return true;
}

}  // namespace ondrix::image
