#pragma once

#include <any>
#include <string>

#include <ondrix/platform/metal/MTLCommandQueue.h>
#include <ondrix/types/Int.h>

namespace ondrix {

/// One GPU step of an effect. Names and types of properties are the pass's own business; a pass that wants them
/// implements all three operations, and those of a pass without any stay as they are here. Used from one thread at a
/// time.
class Pass {
public:
    virtual ~Pass() = default;
    Pass(const Pass&) = delete;
    Pass& operator=(const Pass&) = delete;

    virtual void set(const std::string& property, const std::any& value);
    /// Empty when the pass has no such property.
    [[nodiscard]] virtual std::any get(const std::string& property) const;
    [[nodiscard]] virtual bool has(const std::string& property) const;

    /// Records the pass's work; the command buffer is committed by others. False when the work could not be recorded.
    [[nodiscard]] virtual bool encode(MTLCommandBuffer& commandBuffer) = 0;
    /// With the reason of a failure for the caller; `error` may be null.
    [[nodiscard]] bool encode(MTLCommandBuffer& commandBuffer, NSError* error);

    /// For callers that learn of another input or output size, in pixels. The framework itself calls neither.
    virtual void sourceResolutionDidChange(Int width, Int height) = 0;
    virtual void outputResolutionDidChange(Int width, Int height) = 0;

protected:
    Pass() = default;
};

}  // namespace ondrix
