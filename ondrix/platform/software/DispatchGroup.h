#pragma once

#include <cstdint>

#include <ondrix/platform/software/ExecutionContext.h>
#include <ondrix/platform/software/TextureUse.h>

namespace ondrix::software {

/// Consecutive dispatches of a command buffer, one or more, that run together: all of them on the first rows, then all
/// on the next ones, while what one writes and the next reads is still in the core's own cache.
struct DispatchGroup {
    DispatchCommand* first = nullptr;
    DispatchCommand* last = nullptr;
    int count = 0;
    std::int64_t bytesPerRow = 0;  ///< of all dispatches
    std::int64_t bytes = 0;        ///< of all dispatches

    /// Takes as many dispatches from `begin` on as give the same bytes when they run together, and decides which of
    /// them store their results past the caches. Only the first one unless it `fuses`.
    explicit DispatchGroup(DispatchCommand& begin, bool fuses = true) noexcept;

    /// Gets them ready to `work`; false without memory for it.
    [[nodiscard]] bool prepare(ExecutionContext& context) const;
    /// Runs them for some rows, on any thread.
    void work(RowRange rows, void* scratch) const;
    /// Runs them on all threads of the context; false without memory for it.
    [[nodiscard]] bool run(ExecutionContext& context) const;

    /// Calls `visit` for each dispatch.
    template <typename Visit>
    void forEach(Visit visit) const {
        for (DispatchCommand* command = first;; command = static_cast<DispatchCommand*>(command->next)) {
            visit(*command);
            if (command == last) return;
        }
    }

private:
    [[nodiscard]] bool canTake(const DispatchCommand& command) const noexcept;
    void take(DispatchCommand& command) noexcept;
};

}  // namespace ondrix::software
