#include <cstdio>
#include <cstdlib>

#include <ondrix/base/FatalError.h>

namespace ondrix {

void fatalError(const char* message) noexcept {
    std::fprintf(stderr, "%s\n", message);
    std::abort();
}

}  // namespace ondrix
