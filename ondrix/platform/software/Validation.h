#pragma once

#include <memory_resource>
#include <vector>

#include <ondrix/platform/software/Commands.h>

namespace ondrix::software {

/// Gives `function` a report to fill, in `memory`.
void prepareReport(BoundFunction& function, std::pmr::memory_resource& memory);

/// Tells what a function has found in its run; nothing without a report.
void tellFindings(const BoundFunction& function) noexcept;

/// Watches which pixels of its targets a dispatch writes, where its function has a report.
class WrittenPixels {
public:
    /// Watches nothing if there is no memory for it.
    explicit WrittenPixels(const DispatchCommand& command) noexcept;
    ~WrittenPixels();
    WrittenPixels(const WrittenPixels&) = delete;
    WrittenPixels& operator=(const WrittenPixels&) = delete;

    /// Tells which targets have pixels that weren't written.
    void tell() const noexcept;

private:
    const DispatchCommand& command_;
    std::vector<std::vector<std::uint8_t>> pixels_;  ///< by texture slot; empty for slots that aren't watched
};

}  // namespace ondrix::software
