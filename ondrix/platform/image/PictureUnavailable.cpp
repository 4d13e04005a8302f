#include <ondrix/platform/image/Picture.h>
#include <ondrix/platform/metalkit/PictureFile.h>

namespace ondrix {

namespace {

constexpr const char* unavailable = "picture files are switched off in this build (ONDRIX_PICTURE_FILES)";

}  // namespace

namespace image {

std::unique_ptr<Picture> Picture::open(const URL&, const MTKTextureLoaderLimits&, std::string& reason) {
    reason = unavailable;
    return nullptr;
}

std::unique_ptr<Picture> Picture::open(const void*, std::uint64_t, const MTKTextureLoaderLimits&, std::string& reason) {
    reason = unavailable;
    return nullptr;
}

}  // namespace image

bool PictureFile::write(const std::filesystem::path&, std::int64_t, std::int64_t, MTLPixelFormat, const void*,
                        std::int64_t, NSError* error) {
    if (error != nullptr) *error = NSError(unavailable);
    return false;
}

}  // namespace ondrix
