#pragma once

#include <array>
#include <atomic>
#include <cstddef>
#include <memory>
#include <memory_resource>
#include <new>
#include <string>
#include <vector>

#include <ondrix/platform/metal/MTLCommandQueue.h>
#include <ondrix/platform/software/Commands.h>
#include <ondrix/platform/software/ExecutionContext.h>

namespace ondrix::software {

class Executor;
class ProblemLog;

/// A list of commands with all that they need: it holds the executor, so committed work is done even when device and
/// queue have gone, and every object that was bound, until the work is done. Recording happens on one thread; the
/// executor's threads take over at `commit`. Its memory is recycled. The first problem met while recording ends the
/// list there and is logged: what was recorded before still runs, then the status becomes `error`.
class CommandBuffer final : public MTLCommandBuffer, public std::enable_shared_from_this<CommandBuffer> {
public:
    explicit CommandBuffer(std::shared_ptr<Executor> executor);
    ~CommandBuffer() override;

    [[nodiscard]] std::shared_ptr<MTLRenderCommandEncoder> makeRenderCommandEncoder(
        const MTLRenderPassDescriptor& descriptor) override;
    [[nodiscard]] std::shared_ptr<MTLComputeCommandEncoder> makeComputeCommandEncoder() override;
    void present(std::shared_ptr<MTLDrawable> drawable) override;
    void addCompletedHandler(MTLCommandBufferHandler handler) override;
    void commit() override;
    void waitUntilCompleted() override;
    [[nodiscard]] MTLCommandBufferStatus status() const override { return status_.load(std::memory_order_acquire); }
    [[nodiscard]] std::optional<NSError> error() const override;

    // Recording, for encoders.

    /// Calls `record`, which returns a problem or an empty text, unless the recording has come to its end.
    template <typename Record>
    void record(Record record) {
        if (!recording()) return;
        try {
            fail(record());
        } catch (const std::bad_alloc&) {
            outOfMemory_ = true;
        }
    }
    /// Memory that lasts until the work is done.
    [[nodiscard]] std::pmr::memory_resource& memory() noexcept { return memory_; }
    template <typename T>
    [[nodiscard]] T* make() {
        return new (memory_.allocate(sizeof(T), alignof(T))) T();
    }
    void hold(std::shared_ptr<const void> object);
    void append(Command& command) noexcept;
    /// Problems from here on are those of a pipeline that the command buffer holds.
    void setProblems(ProblemLog& problems) noexcept { problems_ = &problems; }
    void encoderEnded() noexcept;
    [[nodiscard]] bool validates() const noexcept;

    // Execution, for the executor, on one thread at a time.

    void committed() noexcept;  ///< sets the status when the buffer has its place in the order
    /// Runs the commands, then lets go of what was bound. `finished` must follow.
    void execute(ExecutionContext& context) noexcept;
    void finished() noexcept;  ///< sets the final status
    [[nodiscard]] bool isFinished() const noexcept { return status() >= MTLCommandBufferStatus::completed; }

    /// The next one in the executor's queue, then in the completion thread's, and in that of drawables.
    std::shared_ptr<CommandBuffer> nextQueued, nextToPresent;

    // What follows the work, for the completion thread and waiting threads.

    /// What has become of the drawables; `done` when there are none.
    enum class Presentation { due, begun, done };
    [[nodiscard]] Presentation presentation() const noexcept { return presentation_.load(std::memory_order_acquire); }
    void setPresentation(Presentation presentation) noexcept {
        presentation_.store(presentation, std::memory_order_release);
    }
    /// True when there are drawables to be presented or handlers to be called.
    [[nodiscard]] bool needsCompletion() const noexcept { return !handlers_.empty() || !drawables_.empty(); }
    /// Presents the drawables and lets go of them.
    void presentDrawables() noexcept;
    /// Calls the handlers and lets go of them.
    void callHandlers() noexcept;

private:
    [[nodiscard]] bool recording() const noexcept;
    void fail(std::string problem);
    /// Null without memory, and while another encoder has not ended.
    template <class Encoder, class... Arguments>
    [[nodiscard]] std::shared_ptr<Encoder> begin(const Arguments&... arguments);

    std::shared_ptr<Executor> executor_;
    std::atomic<MTLCommandBufferStatus> status_{MTLCommandBufferStatus::notEnqueued};
    bool encoding_ = false;
    bool outOfMemory_ = false;
    std::string problem_;
    ProblemLog* problems_;
    Command* first_ = nullptr;
    Command* last_ = nullptr;
    std::pmr::vector<std::shared_ptr<const void>> held_;
    std::pmr::vector<MTLCommandBufferHandler> handlers_;
    std::pmr::vector<std::shared_ptr<MTLDrawable>> drawables_;
    std::atomic<Presentation> presentation_{Presentation::done};
    std::array<std::byte, 2048> firstMemory_;
    std::pmr::monotonic_buffer_resource memory_;
};

}  // namespace ondrix::software
