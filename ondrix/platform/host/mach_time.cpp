#include <atomic>
#include <chrono>

#include <ondrix/platform/os/mach_time.h>

namespace ondrix {

namespace {

std::uint64_t systemTicks() {
    const auto now = std::chrono::steady_clock::now().time_since_epoch();
    return static_cast<std::uint64_t>(std::chrono::duration_cast<std::chrono::nanoseconds>(now).count());
}

constinit std::atomic<os::TickSource> tickSource = systemTicks;

}  // namespace

int mach_timebase_info(mach_timebase_info_data_t* info) noexcept {
    *info = {1, 1};
    return 0;
}

std::uint64_t mach_absolute_time() noexcept {
    return tickSource.load()();
}

os::TickSource os::setTickSource(TickSource source) noexcept {
    return tickSource.exchange(source != nullptr ? source : systemTicks);
}

}  // namespace ondrix
