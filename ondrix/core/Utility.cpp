#include <cstdio>

#include <ondrix/core/Utility.h>
#include <ondrix/platform/os/mach_time.h>

namespace ondrix {

void Utility::measure(const std::string& label, const std::function<void()>& block) {
    mach_timebase_info_data_t timebase;
    mach_timebase_info(&timebase);
    const std::uint64_t start = mach_absolute_time();
    block();
    const std::uint64_t end = mach_absolute_time();
    const double milliseconds = static_cast<double>(end - start) * timebase.numer / timebase.denom / 1000000.0;
    std::printf("%s took %.3f ms\n", label.c_str(), milliseconds);
}

}  // namespace ondrix
