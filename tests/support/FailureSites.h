#pragma once

#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include <dlfcn.h>
#include <execinfo.h>
#include <fcntl.h>
#include <unistd.h>

namespace ondrix::test {

/// Appends from where in the framework a call is just failing, as offsets in its library, to the file that the
/// environment variable ONDRIX_FAILURE_SITES names, for scripts/checks/check-failure-sites. Asks for no memory after
/// its first call.
inline void recordFailureSite() noexcept {
    static const char* const file = std::getenv("ONDRIX_FAILURE_SITES");
    if (file == nullptr) return;
    void* frames[64];
    const int count = backtrace(frames, 64);
    const int output = open(file, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    for (int index = 0; output >= 0 && index < count; ++index) {
        Dl_info place{};
        if (dladdr(frames[index], &place) == 0 || std::strstr(place.dli_fname, "libondrix.so") == nullptr) continue;
        const auto offset = static_cast<std::byte*>(frames[index]) - static_cast<std::byte*>(place.dli_fbase);
        dprintf(output, "%#tx\n", offset - 1);  // of the call, not of what follows it
    }
    if (output >= 0) close(output);
}

}  // namespace ondrix::test
