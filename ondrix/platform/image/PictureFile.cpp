#include <algorithm>
#include <atomic>
#include <cassert>
#include <new>
#include <utility>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <ondrix/platform/image/PNGEncoder.h>
#include <ondrix/platform/image/Picture.h>
#include <ondrix/platform/image/Stream.h>
#include <ondrix/platform/metalkit/PictureFile.h>

namespace ondrix {

namespace {

/// A file that lies beside its place under a hidden name until it is kept, and is removed otherwise.
class NewFile {
public:
    explicit NewFile(std::filesystem::path place) : place_(std::move(place)) {}
    ~NewFile() {
        if (!name_.empty()) ::unlink(name_.c_str());
    }
    NewFile(const NewFile&) = delete;
    NewFile& operator=(const NewFile&) = delete;

    [[nodiscard]] std::FILE* stream() const { return stream_.get(); }

    bool open(std::string& reason) {
        struct stat old {};
        const bool replaces = ::stat(place_.c_str(), &old) == 0;
        if (replaces && !S_ISREG(old.st_mode)) {
            reason = "it is not a regular file";
            return false;
        }
        std::error_code error;
        if (replaces) place_ = std::filesystem::canonical(place_, error);  // a link stays a link
        if (error || (replaces && ::access(place_.c_str(), W_OK) != 0)) {
            reason = error ? error.message() : image::lastSystemError();
            return false;
        }
        const int descriptor = openHidden();
        if (descriptor >= 0 && (!replaces || ::fchmod(descriptor, old.st_mode & 0777) == 0)) {
            stream_.reset(::fdopen(descriptor, "wb"));
        }
        if (stream_) return true;
        reason = image::lastSystemError();
        if (descriptor >= 0) ::close(descriptor);
        return false;
    }

    /// Brings the file to the disk and gives it its name.
    bool keep(std::string& reason) {
        if (std::fflush(stream()) == 0 && ::fsync(::fileno(stream())) == 0 && std::fclose(stream_.release()) == 0 &&
            std::rename(name_.c_str(), place_.c_str()) == 0) {
            name_.clear();
            return true;
        }
        reason = image::lastSystemError();
        return false;
    }

private:
    /// A descriptor, or -1.
    int openHidden() {
        static std::atomic<std::uint64_t> count = 0;
        for (;;) {
            auto name =
                place_.parent_path() / (".ondrix-" + std::to_string(::getpid()) + "-" + std::to_string(++count));
            const int descriptor = ::open(name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
            if (descriptor >= 0) name_ = std::move(name);
            if (descriptor >= 0 || errno != EEXIST) return descriptor;
        }
    }

    std::filesystem::path place_;
    std::filesystem::path name_;  ///< empty while there is nothing to remove
    image::Stream stream_;
};

bool writeFile(const std::filesystem::path& file, const image::Pixels& pixels, std::string& reason) {
    NewFile newFile(file);
    return newFile.open(reason) && image::PNGEncoder().write(pixels, newFile.stream(), reason) && newFile.keep(reason);
}

}  // namespace

bool PictureFile::write(const std::filesystem::path& file, std::int64_t width, std::int64_t height,
                        MTLPixelFormat pixelFormat, const void* pixels, std::int64_t bytesPerRow, NSError* error) {
    assert(pixels != nullptr);
    std::string reason;
    try {
        const auto format = pixelFormatInfo(pixelFormat);
        if (!format || format->components != 4 || format->componentType != MTLComponentType::unorm8) {
            reason = "a picture file can't hold pixels of the format " + description(pixelFormat);
        } else if (image::Picture::checkSize(std::max<std::int64_t>(width, 0), std::max<std::int64_t>(height, 0),
                                             reason)) {
            assert(bytesPerRow >= 4 * width);
            const image::Pixels source{static_cast<const std::uint8_t*>(pixels), static_cast<std::uint32_t>(width),
                                       static_cast<std::uint32_t>(height), static_cast<std::uint64_t>(bytesPerRow),
                                       format->blueFirst};
            if (writeFile(file, source, reason)) return true;
        }
    } catch (const std::bad_alloc&) {
        reason = "out of memory";
    }
    if (error != nullptr) *error = NSError(std::move(reason));
    return false;
}

}  // namespace ondrix
