#pragma once

#include <memory>
#include <optional>

#include <ondrix/platform/foundation/NSError.h>
#include <ondrix/platform/metal/MTLCommandBufferHandler.h>
#include <ondrix/platform/metal/MTLCommandEncoder.h>
#include <ondrix/platform/metal/MTLDrawable.h>

namespace ondrix {

enum class MTLCommandBufferStatus {
    notEnqueued = 0,
    enqueued = 1,
    committed = 2,
    scheduled = 3,
    completed = 4,
    error = 5
};

/// Recorded GPU work that runs once. Command buffers of one device run in the order of their `commit`, whichever queue
/// they came from, and each sees all pixels of those before it. Recording happens on one thread at a time; `status`,
/// `error` and `waitUntilCompleted` may be called from any thread. Everything bound is held until the work is done. A
/// buffer dropped without `commit` does nothing.
class MTLCommandBuffer {
public:
    virtual ~MTLCommandBuffer() = default;

    /// Null after `commit`, or while another encoder of this buffer hasn't ended.
    [[nodiscard]] virtual std::shared_ptr<MTLRenderCommandEncoder> makeRenderCommandEncoder(
        const MTLRenderPassDescriptor& descriptor) = 0;
    [[nodiscard]] virtual std::shared_ptr<MTLComputeCommandEncoder> makeComputeCommandEncoder() = 0;

    /// Has the drawable presented once the work is done or has failed. Drawables are presented one after another, in
    /// the order of the commits, before the handlers run: by a thread that waits for this command buffer or a later one
    /// with drawables, or else by a thread of the device, as soon as it calls handlers. Before `commit`.
    virtual void present(std::shared_ptr<MTLDrawable> drawable) = 0;
    /// Handlers run in the order they were added, on one thread of the device, after the work is done or has failed: at
    /// once or, while callers wait for their command buffers, up to a millisecond later. They may encode, commit and
    /// wait for other command buffers. Add them before `commit`.
    virtual void addCompletedHandler(MTLCommandBufferHandler handler) = 0;
    /// Hands the work over. A second call does nothing.
    virtual void commit() = 0;
    /// Blocks until the work is done or has failed and the drawables have been presented; handlers may still be
    /// running. Returns at once if never committed, and when it is called by one of these drawables.
    virtual void waitUntilCompleted() = 0;

    [[nodiscard]] virtual MTLCommandBufferStatus status() const = 0;
    /// Present exactly when the status is `error`: names the function, the slot and what was expected.
    [[nodiscard]] virtual std::optional<NSError> error() const = 0;
};

/// Makes command buffers; owns no thread and costs next to nothing. Safe to use from any thread.
class MTLCommandQueue {
public:
    virtual ~MTLCommandQueue() = default;

    [[nodiscard]] virtual std::shared_ptr<MTLCommandBuffer> makeCommandBuffer() = 0;
};

}  // namespace ondrix
