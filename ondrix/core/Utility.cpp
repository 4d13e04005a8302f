#include <charconv>
#include <cstdio>
#include <iterator>

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
    // A point whatever the application's locale has.
    char digits[400];  // of the largest double, with three decimals
    const char* const endOfDigits =
        std::to_chars(std::begin(digits), std::end(digits), milliseconds, std::chars_format::fixed, 3).ptr;
    std::printf("%s took %.*s ms\n", label.c_str(), static_cast<int>(endOfDigits - digits), digits);
}

}  // namespace ondrix
