#include <cassert>
#include <utility>

#include <ondrix/core/ClassName.h>
#include <ondrix/core/FatalError.h>
#include <ondrix/core/Logger.h>
#include <ondrix/passes/Effect.h>

namespace ondrix {

Effect::Effect(std::shared_ptr<Device> device) : device_(std::move(device)) {
    assert(device_ != nullptr);
    commandQueue_ = device_->mtlDevice()->makeCommandQueue();
    if (commandQueue_ == nullptr) fatalError("Failed to create the command queue for the effect.");
}

Effect::~Effect() = default;

std::shared_ptr<Effect> Effect::create(std::shared_ptr<Device> device) {
    return std::shared_ptr<Effect>(new Effect(std::move(device)));
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
    for (const auto& pass : *passes) {
        if (pass->has(property)) pass->set(property, value);
    }
}

std::any Effect::get(const std::string& property) const {
    const auto passes = passes_;
    for (const auto& pass : *passes) {
        if (pass->has(property)) return pass->get(property);
    }
    return {};
}

void Effect::add(std::shared_ptr<Pass> pass, const std::string& named) {
    assert(pass != nullptr);
    auto longer = std::make_shared<Passes>(*passes_);
    longer->push_back(pass);
    passes_ = std::move(longer);
    passMap_[named].swap(pass);
}

void Effect::removeAllPasses() {
    // Destructors of passes run when both are empty.
    const auto passes = std::exchange(passes_, std::make_shared<const Passes>());
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
    const auto passes = passes_;
    for (const auto& pass : *passes) {
        if (!pass->encode(commandBuffer)) {
            Logger::gfx().error("Failed encoding %s in the effect.", className(*pass).c_str());
            return false;
        }
    }
    return true;
}

bool Effect::apply(std::shared_ptr<MTLDrawable> present) {
    const std::shared_ptr<Effect> self = weak_from_this().lock();  // a delegate or a pass may drop the effect
    if (!prepare()) {
        Logger::gfx().error("Failed to prepare the effect before apply.");
        return false;
    }
    const auto commandBuffer = commandQueue_->makeCommandBuffer();
    if (commandBuffer == nullptr) {
        Logger::gfx().error("Failed to create the command buffer for the effect.");
        return false;
    }
    if (!encode(*commandBuffer)) {
        Logger::gfx().error("Failed to encode the effect.");
        return false;
    }

    if (present != nullptr) commandBuffer->present(std::move(present));
    commandBuffer->addCompletedHandler([weakSelf = weak_from_this()](MTLCommandBuffer&) {
        const std::shared_ptr<Effect> effect = weakSelf.lock();
        if (effect == nullptr) return;
        if (const auto delegate = effect->delegate()) delegate->effectDidCompleteGPUTasks(*effect);
    });
    if (const auto startDelegate = delegate()) startDelegate->effectDidStartGPUTasks(*this);
    commandBuffer->commit();
    if (shouldWaitForCompletion()) commandBuffer->waitUntilCompleted();
    return true;
}

}  // namespace ondrix
