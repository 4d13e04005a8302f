#pragma once

#include <any>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include <ondrix/base/WeakCell.h>
#include <ondrix/core/Device.h>
#include <ondrix/passes/EffectDelegate.h>
#include <ondrix/passes/Pass.h>
#include <ondrix/platform/metal/MTLCommandQueue.h>

namespace ondrix {

enum class IfMissing : unsigned char;

/// A chain of passes that run one after another in one command buffer. It owns its passes and a command queue; it may
/// be applied any number of times, and passes may be added and removed in between. Used from one thread at a time,
/// except that the delegate may be replaced at any time. It forwards no size changes to its passes.
class Effect : public std::enable_shared_from_this<Effect> {
public:
    /// Stops the process when the device makes no command queue; null, with a message, without memory.
    [[nodiscard]] static std::shared_ptr<Effect> create(std::shared_ptr<Device> device);
    /// Null, with the reason in `error` (may be null), when the device makes no command queue.
    [[nodiscard]] static std::shared_ptr<Effect> create(std::shared_ptr<Device> device, NSError* error);
    virtual ~Effect();
    Effect(const Effect&) = delete;
    Effect& operator=(const Effect&) = delete;

    [[nodiscard]] const std::shared_ptr<Device>& device() const noexcept { return device_; }

    /// Held weakly; null at first. Who is told of completion is whoever is the delegate by then, if the effect is still
    /// there: a run that was waited for keeps an effect with a delegate until it has been told.
    [[nodiscard]] virtual std::shared_ptr<EffectDelegate> delegate() const;
    virtual void setDelegate(std::shared_ptr<EffectDelegate> delegate);
    /// Whether `apply` returns only when the GPU is done; false at first.
    [[nodiscard]] virtual bool shouldWaitForCompletion() const;
    virtual void setShouldWaitForCompletion(bool shouldWaitForCompletion);

    /// Reaches every pass that has the property.
    virtual void set(const std::string& property, const std::any& value);
    /// From the first pass that has the property; empty when none has it.
    [[nodiscard]] virtual std::any get(const std::string& property) const;

    /// Appends a pass, also one that is in the chain already. A name that is in use now means this pass; the one it
    /// meant before is still encoded.
    virtual void add(std::shared_ptr<Pass> pass, const std::string& named);
    virtual void removeAllPasses();
    /// Null for an unknown name; with a type also for a pass of another type.
    [[nodiscard]] virtual std::shared_ptr<Pass> getPass(const std::string& named) const;
    template <class PassClass>
    [[nodiscard]] std::shared_ptr<PassClass> getPass(const std::string& named) const {
        return std::dynamic_pointer_cast<PassClass>(getPass(named));
    }

    /// Called by `apply` before anything is recorded; false stops it. Here it does nothing and returns true.
    [[nodiscard]] virtual bool prepare();
    /// Records every pass in order, up to the first that fails; then false, with a message. Neither prepares nor
    /// commits, and tells no delegate.
    [[nodiscard]] virtual bool encode(MTLCommandBuffer& commandBuffer);
    /// Prepares, records and commits one run, and shows `present`, which may be null, when it is done. True when the
    /// work was committed, whether or not it then succeeds; false, with messages, when nothing was committed.
    virtual bool apply(std::shared_ptr<MTLDrawable> present);

    /// Like `apply(nullptr)`, but waits for the GPU whatever `shouldWaitForCompletion` says; true only when the work
    /// finished without an error. False with the reason in `error`; it is logged where that is null.
    bool applyAndWait(NSError* error);
    /// The same with something to show.
    bool applyAndWait(std::shared_ptr<MTLDrawable> present, NSError* error);
    /// With the reason for the caller when nothing was committed; `error` may be null.
    bool apply(std::shared_ptr<MTLDrawable> present, NSError* error);
    [[nodiscard]] bool encode(MTLCommandBuffer& commandBuffer, NSError* error);

protected:
    /// Stops the process when the device makes no command queue; throws std::bad_alloc without memory.
    explicit Effect(std::shared_ptr<Device> device);
    Effect(std::shared_ptr<Device> device, std::shared_ptr<MTLCommandQueue> commandQueue);

    /// Null, with a message, when the device makes none and the process goes on.
    [[nodiscard]] static std::shared_ptr<MTLCommandQueue> makeCommandQueue(Device& device, IfMissing ifMissing);

private:
    /// One run, which ends when the work is done if it waits. Null, with messages, when nothing was committed.
    [[nodiscard]] std::shared_ptr<MTLCommandBuffer> run(std::shared_ptr<MTLDrawable> present, bool waits);
    /// Tells the delegate. On the completion thread.
    void didComplete(const MTLCommandBuffer& commandBuffer);

    std::shared_ptr<Device> device_;
    std::shared_ptr<MTLCommandQueue> commandQueue_;
    using Passes = std::vector<std::shared_ptr<Pass>>;
    [[nodiscard]] static std::shared_ptr<const Passes> noPasses() noexcept;
    std::shared_ptr<const Passes> passes_ = noPasses();  ///< replaced, never changed
    std::unordered_map<std::string, std::shared_ptr<Pass>> passMap_;
    WeakCell<EffectDelegate> delegate_;
    bool shouldWaitForCompletion_ = false;
};

}  // namespace ondrix
