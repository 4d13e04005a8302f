#include "JsonText.h"

namespace ondrix::tools {

std::string jsonText(std::string_view text) {
    std::string result = "\"";
    for (const char character : text) {
        if (character == '"' || character == '\\') result += '\\';
        if (static_cast<unsigned char>(character) >= 0x20) result += character;
    }
    return result + '"';
}

}  // namespace ondrix::tools
