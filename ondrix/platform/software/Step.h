#pragma once

#include <array>
#include <cstdint>
#include <optional>

#include <ondrix/platform/software/DispatchGroup.h>
#include <ondrix/platform/software/RenderPassRun.h>
#include <ondrix/platform/software/Strips.h>
#include <ondrix/platform/software/TextureUse.h>

namespace ondrix::software {

/// Part of a chain of commands: a group of dispatches, or a render pass. It runs strip by strip from its first row to
/// its last one or the other way, each strip once those rows of earlier steps are done that it needs.
class Step {
public:
    /// Rows of an earlier step that must be done before work on some rows begins: it wrote what is read here, or used
    /// what is written here.
    struct Need {
        int step;
        std::uint32_t reach;  ///< a `reachNumber`
        std::int32_t height;  ///< of the texture
        bool read;            ///< it is read here
    };

    /// The strips first <= strip < end; none when first >= end.
    struct StripRange {
        int first = 0, end = 0;
    };

    /// Takes the command, and as many dispatches after it as can be in its group.
    void begin(Command& command, ExecutionContext& context);
    /// Gets everything ready that doesn't depend on pixels; once. False when it can't run strip by strip.
    [[nodiscard]] bool prepare();
    /// Collects what this step, which isn't prepared yet, needs of `earlier`. False where that isn't known by rows.
    [[nodiscard]] bool addNeeds(const Step& earlier, int index);
    /// Decides on the direction and the strips, once prepared. False where directions don't agree, or where the first
    /// strip needs so much of another step that there is little to gain.
    [[nodiscard]] bool arrange(std::span<const Step> earlier, int threadCount);
    /// Results stay in the caches, for who reads them next.
    void keepInCaches() noexcept;
    /// Runs everything on all threads; false without memory for it.
    [[nodiscard]] bool runAlone();

    /// `strip` counts in the order of the work.
    [[nodiscard]] RowRange stripRows(int strip) const noexcept;
    /// The rows of the texture of a need that work on these rows of the step touches.
    [[nodiscard]] RowRange neededRows(const Need& need, RowRange rows) const noexcept;
    /// The strips that work on these rows, in the order of the work; none for rows that are left out.
    [[nodiscard]] StripRange stripsOf(RowRange rows) const noexcept;
    void work(RowRange rows, void* scratch) const;

    [[nodiscard]] Command* last() const noexcept;
    [[nodiscard]] bool hasReport() const noexcept;
    [[nodiscard]] int stripCount() const noexcept { return strips_.count(); }
    [[nodiscard]] std::int64_t bytes() const noexcept;
    [[nodiscard]] std::span<const Need> needs() const noexcept {
        return {needs_.data(), static_cast<std::size_t>(needCount_)};
    }

private:
    template <typename Visit>
    void forEachUse(Visit visit) const;
    [[nodiscard]] bool addNeed(const Need& need) noexcept;

    ExecutionContext* context_ = nullptr;
    std::optional<DispatchGroup> dispatches_;
    RenderPassCommand* passCommand_ = nullptr;
    std::optional<RenderPassRun> pass_;
    bool prepared_ = false;
    bool upwards_ = false;  ///< from the last row to the first
    Strips strips_{0, 0, 0, 1};
    std::array<Need, 16> needs_;
    int needCount_ = 0;
};

}  // namespace ondrix::software
