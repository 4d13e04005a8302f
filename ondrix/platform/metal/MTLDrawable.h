#pragma once

namespace ondrix {

/// Something that can be shown, such as the next frame of a view. Shared by reference.
class MTLDrawable {
public:
    virtual ~MTLDrawable() = default;

    /// Called by the command buffer when it is committed, on the caller's thread: nothing more is drawn for this frame.
    virtual void presentScheduled() {}
    /// Called once by the command buffer when the work drawn into it is done: on a thread that waits for this command
    /// buffer or a later one, or else on a thread of the device, one drawable at a time. It may take its time, and may
    /// encode, commit and wait for command buffers; whoever waits for this one waits for it, so it must not need
    /// anything that such a thread holds.
    virtual void present() = 0;
};

}  // namespace ondrix
