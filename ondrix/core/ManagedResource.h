#pragma once

namespace ondrix {

class Device;

/// What every long-lived GPU object implements: two steps by which an owner gives memory back before the object itself
/// goes. Both may be called more than once, and the object stays valid after them.
class ManagedResource {
public:
    virtual ~ManagedResource() = default;
    ManagedResource(const ManagedResource&) = delete;
    ManagedResource& operator=(const ManagedResource&) = delete;

    /// Drops references to other objects.
    virtual void prepareForRelease() = 0;
    /// Drops the object's own GPU resource.
    virtual void cleanup() = 0;

    /// Do nothing: no object enters itself into a tracker or takes itself out; `Device::track` is for their owners.
    void track(Device& /*withDevice*/) {}
    void untrack(Device& /*fromDevice*/) {}

protected:
    ManagedResource() = default;
};

}  // namespace ondrix
