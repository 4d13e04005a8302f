#include <cstdio>
#include <cstdlib>

#include <ondrix/core/FatalError.h>

namespace ondrix {

void fatalError(const char* message) noexcept {
    std::fprintf(stderr, "%s\n", message);
    std::abort();
}

}  // namespace ondrix
