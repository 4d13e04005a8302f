#include <string_view>
#include <system_error>

#include <ondrix/platform/foundation/URL.h>
#include <ondrix/platform/os/OutOfMemory.h>

namespace ondrix {

namespace {

/// Bytes that stand for themselves in the path of a URL.
constexpr std::string_view plainBytes =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-._~!$&'()*+,;=:@/";

}  // namespace

URL::URL(const std::filesystem::path& filePath) {
    std::error_code failure;
    path_ = std::filesystem::absolute(filePath, failure);
    if (failure) path_ = filePath;
}

std::string URL::description() const {
    constexpr std::string_view digits = "0123456789ABCDEF";
    std::string text = "file://";
    for (const char character : path_.native()) {
        if (plainBytes.find(character) != std::string_view::npos) {
            text += character;
        } else {
            const auto byte = static_cast<unsigned char>(character);
            text += '%';
            text += digits[byte >> 4];
            text += digits[byte & 15];
        }
    }
    return text;
}

}  // namespace ondrix
