#include <cassert>
#include <exception>

#include <ondrix/platform/os/OutOfMemory.h>
#include <ondrix/platform/software/CommandBuffer.h>
#include <ondrix/platform/software/ComputeCommandEncoder.h>
#include <ondrix/platform/software/Executor.h>
#include <ondrix/platform/software/ProblemLog.h>
#include <ondrix/platform/software/RenderCommandEncoder.h>
#include <ondrix/platform/software/StepChain.h>

namespace ondrix::software {

namespace {

constexpr const char* outOfMemoryText = "out of memory";

/// Calls code of the application on a thread that has nobody to hand its exceptions to.
template <typename Call>
void withoutExceptions(Call call) noexcept {
    try {
        call();
    } catch (const std::exception& exception) {
        deviceLogger().error("A completion handler or drawable threw an exception: %s", exception.what());
    } catch (...) {
        deviceLogger().error("A completion handler or drawable threw an exception.");
    }
}

}  // namespace

CommandBuffer::CommandBuffer(std::shared_ptr<Executor> executor)
    : executor_(std::move(executor)),
      problems_(&executor_->problems()),
      held_(executor_->memory().get()),
      handlers_(executor_->memory().get()),
      drawables_(executor_->memory().get()),
      memory_(firstMemory_.data(), firstMemory_.size(), executor_->memory().get()) {
    handlers_.reserve(1);  // where there is no memory for the usual one, there is no command buffer
}

CommandBuffer::~CommandBuffer() = default;

bool CommandBuffer::recording() const noexcept {
    return problem_.empty() && !outOfMemory_ &&
           status_.load(std::memory_order_relaxed) == MTLCommandBufferStatus::notEnqueued;
}

template <class Encoder, class... Arguments>
std::shared_ptr<Encoder> CommandBuffer::begin(const Arguments&... arguments) {
    if (encoding_ || status_.load(std::memory_order_relaxed) != MTLCommandBufferStatus::notEnqueued) return nullptr;
    auto encoder = os::orAbsent([&] {
        return std::allocate_shared<Encoder>(RecyclingAllocator<Encoder>(executor_->memory()), shared_from_this(),
                                             arguments...);
    });
    encoding_ = encoder != nullptr;
    return encoder;
}

std::shared_ptr<MTLRenderCommandEncoder> CommandBuffer::makeRenderCommandEncoder(
    const MTLRenderPassDescriptor& descriptor) {
    return begin<RenderCommandEncoder>(descriptor);
}

std::shared_ptr<MTLComputeCommandEncoder> CommandBuffer::makeComputeCommandEncoder() {
    return begin<ComputeCommandEncoder>();
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
    executor_->commit(shared_from_this());
}

void CommandBuffer::waitUntilCompleted() {
    if (status() != MTLCommandBufferStatus::notEnqueued) executor_->waitUntilCompleted(*this);
}

std::optional<NSError> CommandBuffer::error() const {
    if (status() != MTLCommandBufferStatus::error) return std::nullopt;
    NSError error(outOfMemoryText);
    if (!problem_.empty()) os::orAbsent([&] { error = NSError(problem_); });
    return error;
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

void CommandBuffer::execute(ExecutionContext& context) noexcept {
    status_.store(MTLCommandBufferStatus::scheduled, std::memory_order_relaxed);
    try {
        bool done = true;
        for (Command* command = first_; command != nullptr && done;) {
            StepChain chain(*command, context);
            done = chain.run();
            command = chain.last()->next;
        }
        if (!done) outOfMemory_ = true;
    } catch (const std::exception&) {  // of memory or of a size beyond it
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
    for (const auto& drawable : drawables) withoutExceptions([&] { drawable->present(); });
}

void CommandBuffer::callHandlers() noexcept {
    auto handlers = std::move(handlers_);
    for (auto& handler : handlers) withoutExceptions([&] { handler(*this); });
}

}  // namespace ondrix::software
