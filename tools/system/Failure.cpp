#include "Failure.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <utility>

#include <unistd.h>

namespace ondrix::tools {

void complain(std::string reason) {
    std::fprintf(stderr, "ondrix: %s\n", withoutControls(std::move(reason)).c_str());
}

bool usesColours() {
    const char* const refusal = std::getenv("NO_COLOR");
    return (refusal == nullptr || *refusal == '\0') && isatty(STDERR_FILENO) != 0;
}

std::string withoutControls(std::string text) {
    const auto isControl = [](char character) { return static_cast<unsigned char>(character) < 0x20; };
    std::replace_if(text.begin(), text.end(), isControl, '?');
    return text;
}

}  // namespace ondrix::tools
