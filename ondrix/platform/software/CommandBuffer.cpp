#include <cassert>

#include <ondrix/platform/software/CommandBuffer.h>
#include <ondrix/platform/software/ComputeCommandEncoder.h>
#include <ondrix/platform/software/DispatchGroup.h>
#include <ondrix/platform/software/Executor.h>
#include <ondrix/platform/software/RenderCommandEncoder.h>
#include <ondrix/platform/software/RenderPassRun.h>

namespace ondrix::software {

namespace {

constexpr const char* outOfMemoryText = "out of memory";

}  // namespace

CommandBuffer::CommandBuffer(std::shared_ptr<Executor> executor)
    : executor_(std::move(executor)),
      problems_(&executor_->problems()),
      held_(executor_->memory().get()),
      handlers_(executor_->memory().get()),
      drawables_(executor_->memory().get()),
      memory_(firstMemory_.data(), firstMemory_.size(), executor_->memory().get()) {}

CommandBuffer::~CommandBuffer() = default;

bool CommandBuffer::recording() const noexcept {
    return problem_.empty() && !outOfMemory_ &&
           status_.load(std::memory_order_relaxed) == MTLCommandBufferStatus::notEnqueued;
}

bool CommandBuffer::beginEncoder() noexcept {
    if (encoding_ || status_.load(std::memory_order_relaxed) != MTLCommandBufferStatus::notEnqueued) return false;
    encoding_ = true;
    return true;
}

std::shared_ptr<MTLRenderCommandEncoder> CommandBuffer::makeRenderCommandEncoder(
    const MTLRenderPassDescriptor& descriptor) {
    if (!beginEncoder()) return nullptr;
    try {
        return std::allocate_shared<RenderCommandEncoder>(RecyclingAllocator<RenderCommandEncoder>(executor_->memory()),
                                                          shared_from_this(), descriptor);
    } catch (const std::bad_alloc&) {
        encoding_ = false;
        return nullptr;
    }
}

std::shared_ptr<MTLComputeCommandEncoder> CommandBuffer::makeComputeCommandEncoder() {
    if (!beginEncoder()) return nullptr;
    try {
        return std::allocate_shared<ComputeCommandEncoder>(
            RecyclingAllocator<ComputeCommandEncoder>(executor_->memory()), shared_from_this());
    } catch (const std::bad_alloc&) {
        encoding_ = false;
        return nullptr;
    }
}

void CommandBuffer::present(std::shared_ptr<MTLDrawable> drawable) {
    assert(drawable);
    if (status() != MTLCommandBufferStatus::notEnqueued) return;
    try {
        drawables_.push_back(std::move(drawable));
        setPresentation(Presentation::due);
    } catch (const std::bad_alloc&) {
        outOfMemory_ = true;
    }
}

void CommandBuffer::addCompletedHandler(MTLCommandBufferHandler handler) {
    if (status() != MTLCommandBufferStatus::notEnqueued) return;
    try {
        handlers_.push_back(std::move(handler));
    } catch (const std::bad_alloc&) {
        outOfMemory_ = true;
    }
}

void CommandBuffer::commit() {
    if (status() != MTLCommandBufferStatus::notEnqueued) return;
    if (encoding_) {
        encoderEnded();
        fail("the command buffer was committed while an encoder had not ended");
    }
    for (const auto& drawable : drawables_) drawable->presentScheduled();
    try {
        executor_->commit(shared_from_this());
    } catch (const std::bad_alloc&) {
        outOfMemory_ = true;
        setPresentation(Presentation::done);  // the buffer won't run, so nothing will be presented
        finished();
    }
}

void CommandBuffer::waitUntilCompleted() {
    if (status() != MTLCommandBufferStatus::notEnqueued) executor_->waitUntilCompleted(*this);
}

std::optional<NSError> CommandBuffer::error() const {
    if (status() != MTLCommandBufferStatus::error) return std::nullopt;
    return NSError(problem_.empty() ? outOfMemoryText : problem_);
}

void CommandBuffer::hold(std::shared_ptr<const void> object) {
    if (object) held_.push_back(std::move(object));
}

void CommandBuffer::append(Command& command) noexcept {
    (last_ == nullptr ? first_ : last_->next) = &command;
    last_ = &command;
}

void CommandBuffer::fail(std::string problem) {
    if (problem.empty() || !problem_.empty()) return;
    problem_ = std::move(problem);
    problems_->error(problem_);
}

void CommandBuffer::encoderEnded() noexcept {
    encoding_ = false;
    problems_ = &executor_->problems();
}

bool CommandBuffer::validates() const noexcept {
    return executor_->validates();
}

void CommandBuffer::committed() noexcept {
    status_.store(MTLCommandBufferStatus::committed, std::memory_order_release);
}

void CommandBuffer::execute(ExecutionContext& context) {
    status_.store(MTLCommandBufferStatus::scheduled, std::memory_order_relaxed);
    try {
        bool done = true;
        for (Command* command = first_; command != nullptr && done; command = command->next) {
            if (command->kind == Command::Kind::dispatch) {
                const DispatchGroup group(static_cast<DispatchCommand&>(*command));
                done = group.run(context);
                command = group.last;
            } else {
                done = RenderPassRun(static_cast<const RenderPassCommand&>(*command), context).run();
            }
        }
        if (!done) outOfMemory_ = true;
    } catch (const std::bad_alloc&) {
        outOfMemory_ = true;
    }
    if (outOfMemory_ && problem_.empty()) executor_->problems().error(outOfMemoryText);
    first_ = last_ = nullptr;
    memory_.release();
    held_.clear();
}

void CommandBuffer::finished() noexcept {
    const bool failed = outOfMemory_ || !problem_.empty();
    status_.store(failed ? MTLCommandBufferStatus::error : MTLCommandBufferStatus::completed,
                  std::memory_order_release);
}

void CommandBuffer::presentDrawables() noexcept {
    const auto drawables = std::move(drawables_);
    for (const auto& drawable : drawables) drawable->present();
}

void CommandBuffer::callHandlers() noexcept {
    auto handlers = std::move(handlers_);
    for (auto& handler : handlers) handler(*this);
}

}  // namespace ondrix::software
