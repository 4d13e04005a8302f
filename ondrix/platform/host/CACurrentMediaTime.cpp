#include <ondrix/platform/os/mach_time.h>
#include <ondrix/platform/quartzcore/CACurrentMediaTime.h>

namespace ondrix {

double CACurrentMediaTime() noexcept {
    mach_timebase_info_data_t timebase;
    mach_timebase_info(&timebase);
    return static_cast<double>(mach_absolute_time()) * timebase.numer / timebase.denom * 1e-9;
}

}  // namespace ondrix
