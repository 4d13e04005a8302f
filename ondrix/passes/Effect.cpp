#include <cassert>
#include <cerrno>
#include <new>
#include <utility>

#include <ondrix/base/ClassName.h>
#include <ondrix/core/Failure.h>
#include <ondrix/core/Logger.h>
#include <ondrix/passes/Effect.h>
#include <ondrix/passes/PassParts.h>

namespace ondrix {

std::shared_ptr<MTLCommandQueue> Effect::makeCommandQueue(Device& device, IfMissing ifMissing) {
    auto commandQueue = device.mtlDevice()->makeCommandQueue();
    if (commandQueue == nullptr) return lacks(ifMissing, "Failed to create the command queue for the effect.");
    return commandQueue;
}

Effect::Effect(std::shared_ptr<Device> device, std::shared_ptr<MTLCommandQueue> commandQueue)
    : device_(std::move(device)), commandQueue_(std::move(commandQueue)) {
    assert(device_ != nullptr && commandQueue_ != nullptr);
}

Effect::Effect(std::shared_ptr<Device> device) : device_(std::move(device)) {
    assert(device_ != nullptr);
    errno = 0;
    commandQueue_ = makeCommandQueue(*device_, IfMissing::stopProcess);
    if (commandQueue_ == nullptr) throw std::bad_alloc();
}

Effect::~Effect() = default;

std::shared_ptr<const Effect::Passes> Effect::noPasses() noexcept {
    static const Passes none;
    return {std::shared_ptr<const Passes>(), &none};
}

std::shared_ptr<Effect> Effect::create(std::shared_ptr<Device> device) {
    return Failure::orAbsent([&] { return std::shared_ptr<Effect>(new Effect(std::move(device))); });
}

std::shared_ptr<Effect> Effect::create(std::shared_ptr<Device> device, NSError* error) {
    return Failure::toldTo(error, [&]() -> std::shared_ptr<Effect> {
        auto commandQueue = makeCommandQueue(*device, IfMissing::fail);
        if (commandQueue == nullptr) return nullptr;
        return std::shared_ptr<Effect>(new Effect(std::move(device), std::move(commandQueue)));
    });
}

std::shared_ptr<EffectDelegate> Effect::delegate() const {
    return delegate_.load();
}

void Effect::setDelegate(std::shared_ptr<EffectDelegate> delegate) {
    delegate_.store(delegate);
}

bool Effect::shouldWaitForCompletion() const {
    return shouldWaitForCompletion_;
}

void Effect::setShouldWaitForCompletion(bool shouldWaitForCompletion) {
    shouldWaitForCompletion_ = shouldWaitForCompletion;
}

// The loops below hold the chain that they walk: a pass of the application may put another in its place meanwhile.

void Effect::set(const std::string& property, const std::any& value) {
    const auto passes = passes_;
    Failure::orAbsent([&] {
        for (const auto& pass : *passes) {
            if (pass->has(property)) pass->set(property, value);
        }
    });
}

std::any Effect::get(const std::string& property) const {
    const auto passes = passes_;
    return Failure::orAbsent([&]() -> std::any {
        for (const auto& pass : *passes) {
            if (pass->has(property)) return pass->get(property);
        }
        return {};
    });
}

void Effect::add(std::shared_ptr<Pass> pass, const std::string& named) {
    assert(pass != nullptr);
    Failure::orAbsent([&] {
        auto longer = std::make_shared<Passes>(*passes_);
        longer->push_back(pass);
        passMap_[named].swap(pass);
        passes_ = std::move(longer);
    });
}

void Effect::removeAllPasses() {
    // Destructors of passes run when both are empty.
    const auto passes = std::exchange(passes_, noPasses());
    const auto passMap = std::exchange(passMap_, {});
}

std::shared_ptr<Pass> Effect::getPass(const std::string& named) const {
    const auto found = passMap_.find(named);
    return found != passMap_.end() ? found->second : nullptr;
}

bool Effect::prepare() {
    return true;
}

bool Effect::encode(MTLCommandBuffer& commandBuffer) {
    return Failure::orAbsent([&] {
        const auto passes = passes_;
        for (const auto& pass : *passes) {
            if (!pass->encode(commandBuffer)) {
                Logger::gfx().error("Failed encoding %s in the effect.", className(*pass).c_str());
                return false;
            }
        }
        return true;
    });
}

bool Effect::encode(MTLCommandBuffer& commandBuffer, NSError* error) {
    return Failure::toldTo(error, [&] { return encode(commandBuffer); });
}

std::shared_ptr<MTLCommandBuffer> Effect::run(std::shared_ptr<MTLDrawable> present, bool waits) {
    const std::shared_ptr<Effect> self = weak_from_this().lock();  // a delegate or a pass may drop the effect
    if (!prepare()) {
        Logger::gfx().error("Failed to prepare the effect before apply.");
        return nullptr;
    }
    auto commandBuffer = commandQueue_->makeCommandBuffer();
    if (commandBuffer == nullptr) {
        Logger::gfx().error("Failed to create the command buffer for the effect.");
        return nullptr;
    }
    if (!encode(*commandBuffer)) {
        Logger::gfx().error("Failed to encode the effect.");
        return nullptr;
    }

    if (present != nullptr) commandBuffer->present(std::move(present));
    // A run that is waited for keeps an effect with a delegate until that has heard, even when the application drops
    // it.
    auto kept = waits && delegate_.load() != nullptr ? self : nullptr;
    commandBuffer->addCompletedHandler(
        [weakSelf = weak_from_this(), kept = std::move(kept)](MTLCommandBuffer& completed) {
            if (const std::shared_ptr<Effect> effect = weakSelf.lock()) effect->didComplete(completed);
        });
    if (const auto startDelegate = delegate()) startDelegate->effectDidStartGPUTasks(*this);
    commandBuffer->commit();
    if (waits) commandBuffer->waitUntilCompleted();
    return commandBuffer;
}

void Effect::didComplete(const MTLCommandBuffer& commandBuffer) {
    const auto delegate = this->delegate();
    if (delegate == nullptr) return;
    if (commandBuffer.status() == MTLCommandBufferStatus::error) {
        delegate->effectDidFailGPUTasks(*this,
                                        Failure::orAbsent([&] { return commandBuffer.error(); }).value_or(NSError()));
    }
    delegate->effectDidCompleteGPUTasks(*this);
}

bool Effect::apply(std::shared_ptr<MTLDrawable> present) {
    return Failure::orAbsent([&] { return run(std::move(present), shouldWaitForCompletion()) != nullptr; });
}

bool Effect::apply(std::shared_ptr<MTLDrawable> present, NSError* error) {
    return Failure::toldTo(error, [&] { return apply(std::move(present)); });
}

bool Effect::applyAndWait(NSError* error) {
    return applyAndWait(nullptr, error);
}

bool Effect::applyAndWait(std::shared_ptr<MTLDrawable> present, NSError* error) {
    return Failure::toldTo(error, [&] {
        const auto commandBuffer = run(std::move(present), true);
        if (commandBuffer == nullptr) return false;
        if (commandBuffer->status() != MTLCommandBufferStatus::error) return true;
        Logger::gfx().error("The GPU work of the effect failed: %s",
                            commandBuffer->error().value_or(NSError()).localizedDescription().c_str());
        return false;
    });
}

}  // namespace ondrix
