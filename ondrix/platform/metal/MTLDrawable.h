#pragma once

namespace ondrix {

/// Something that can be shown, such as the next frame of a view. Shared by reference.
class MTLDrawable {
public:
    virtual ~MTLDrawable() = default;

    /// Called once by the command buffer, on a thread of the device, when the work drawn into it is done.
    virtual void present() = 0;
};

}  // namespace ondrix
