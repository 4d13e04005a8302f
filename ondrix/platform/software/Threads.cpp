#include <sched.h>

#include <ondrix/platform/software/Threads.h>

namespace ondrix::software {

namespace {

struct Processors {
    cpu_set_t set;
    int count = 1;

    Processors() {
        CPU_ZERO(&set);
        if (sched_getaffinity(0, sizeof(set), &set) == 0 && CPU_COUNT(&set) > 0) {
            count = CPU_COUNT(&set);
        } else {
            count = static_cast<int>(std::thread::hardware_concurrency());
            if (count < 1) count = 1;
        }
    }
};

/// Returns the processors as they were when the device was first used.
const Processors& processors() {
    static const Processors instance;
    return instance;
}

}  // namespace

int processorCount() noexcept {
    return processors().count;
}

void moveOffCallersCore(pthread_t thread) noexcept {
    const int core = sched_getcpu();
    if (core < 0) return;
    cpu_set_t others = processors().set;
    CPU_CLR(static_cast<std::size_t>(core), &others);
    if (CPU_COUNT(&others) > 0) pthread_setaffinity_np(thread, sizeof(others), &others);
}

void runOnAnyCore() noexcept {
    if (processors().count > 1) pthread_setaffinity_np(pthread_self(), sizeof(cpu_set_t), &processors().set);
}

void joinOrLetGo(std::thread& thread) {
    if (!thread.joinable()) return;
    if (thread.get_id() == std::this_thread::get_id()) {
        thread.detach();
    } else {
        thread.join();
    }
}

}  // namespace ondrix::software
