#include <ondrix/platform/image/Picture.h>

namespace ondrix {

std::unique_ptr<Picture> Picture::open(const URL&, std::string& reason) {
    reason = "picture files are switched off in this build (ONDRIX_PICTURE_FILES)";
    return nullptr;
}

}  // namespace ondrix
