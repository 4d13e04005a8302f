#pragma once

namespace ondrix {

/// Something that can be shown, such as the next frame of a view. Shared by reference.
class MTLDrawable {
public:
    virtual ~MTLDrawable() = default;

    /// Called by the command buffer when it is committed, on the caller's thread: nothing more is drawn for this frame.
    virtual void presentScheduled() {}
    /// Called once by the command buffer, on a thread of the device, when the work drawn into it is done.
    virtual void present() = 0;
};

}  // namespace ondrix
