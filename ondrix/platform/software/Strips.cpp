#include <algorithm>
#include <fstream>
#include <string>

#include <ondrix/platform/software/Strips.h>

namespace ondrix::software {

namespace {

/// The size of the largest cache of the first processor. The system's files know better than sysconf(), which on
/// virtual machines counts what the machine doesn't have.
std::int64_t largestCache() {
    constexpr std::int64_t kibibyte = 1024;
    std::int64_t largest = 0;
    try {
        for (int index = 0; index < 8; ++index) {
            std::ifstream file("/sys/devices/system/cpu/cpu0/cache/index" + std::to_string(index) + "/size");
            std::int64_t size = 0;
            char unit = 0;
            if (!(file >> size >> unit)) break;
            largest = std::max(largest, size * (unit == 'M' ? kibibyte * kibibyte : kibibyte));
        }
    } catch (const std::exception&) {
        // Without memory for a file, the usual size will do.
    }
    return largest > 0 ? largest : 32 * kibibyte * kibibyte;
}

}  // namespace

bool exceedsCaches(std::int64_t bytes) noexcept {
    static const std::int64_t cache = largestCache();
    return bytes > cache;
}

}  // namespace ondrix::software
