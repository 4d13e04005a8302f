#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <mutex>

#include <ondrix/platform/software/ExecutionContext.h>
#include <ondrix/platform/software/Step.h>

namespace ondrix::software {

/// Consecutive commands of a command buffer that run together, with the bytes that they would give one after another.
/// Each step is cut into strips of rows. A strip may begin when those strips of earlier steps are done that it depends
/// on, and threads take the one that can begin and lies furthest down the chain: so what a step writes is read while it
/// is still in a cache, and an early step is only as far ahead as the later ones need it. Each
/// thread begins in a band of its own, whose strips need little of what others wrote.
class StepChain {
public:
    /// Takes as many commands from `begin` on as can run together, one at least.
    StepChain(Command& begin, ExecutionContext& context);

    /// Runs them on all threads of the context; false without memory for it.
    [[nodiscard]] bool run();
    [[nodiscard]] Command* last() const noexcept { return steps_[count_ - 1].last(); }
    [[nodiscard]] std::size_t count() const noexcept { return count_; }

private:
    static constexpr std::size_t mostSteps = 8, mostBands = 16;

    /// The bands of a step, and what is known of its strips, guarded by the mutex.
    struct Progress {
        std::array<int, mostBands> next;     ///< of each band, the first strip that isn't taken
        std::array<int, mostBands> end;      ///< of each band
        std::uint8_t* doneStrips = nullptr;  ///< 1 for those that are done
    };
    struct Strip {
        std::size_t step;
        int number;
    };

    [[nodiscard]] bool append(Command& command);
    [[nodiscard]] bool prepareProgress();
    void setBands(std::size_t index) noexcept;
    [[nodiscard]] bool startsBand(std::size_t index, int strip, std::size_t band) const noexcept;
    [[nodiscard]] Step::StripRange neededStrips(const Step::Need& need, const Strip& strip) const noexcept;
    [[nodiscard]] bool canBegin(const Strip& strip) const noexcept;
    [[nodiscard]] bool take(std::size_t band, Strip& strip) noexcept;
    [[nodiscard]] bool takeFrom(std::size_t band, Strip& strip) noexcept;
    void finish(const Strip& strip) noexcept;
    static void runStrip(void* chain, int number, void* scratch);

    ExecutionContext& context_;
    std::array<Step, mostSteps> steps_;
    std::size_t count_ = 0;
    std::size_t bandCount_ = 1;
    int stripCount_ = 0;  ///< of all steps
    std::mutex mutex_;
    std::array<Progress, mostSteps> progress_;
    std::atomic<unsigned> finished_{0};  ///< changes whenever a strip is done
};

}  // namespace ondrix::software
