#pragma once

#include <memory>

#include <ondrix/core/Device.h>
#include <ondrix/core/ManagedResource.h>

namespace ondrix {

/// The owner of the process's default device, which is built on the system's default GPU. There is one manager, made on
/// first use from whatever thread and never destroyed; its default device is read and dropped on one thread at a time.
/// A tracker of resources takes it as `DeviceManager::shared().shared_from_this()`.
class DeviceManager : public ManagedResource, public std::enable_shared_from_this<DeviceManager> {
public:
    [[nodiscard]] static DeviceManager& shared();

    /// Null without a GPU, when the device could not be made, and after `cleanup`. Where memory lacked, the next call
    /// tries again.
    [[nodiscard]] virtual std::shared_ptr<Device> defaultDevice() const;

    void prepareForRelease() override;  ///< does nothing
    /// Drops the default device for good; it goes when the last object made from it does.
    void cleanup() override;

protected:
    virtual void setDefaultDevice(std::shared_ptr<Device> device);

private:
    DeviceManager();

    void makeDefaultDevice() const;

    mutable std::shared_ptr<Device> defaultDevice_;
    mutable bool lacksMemory_ = false;  ///< there is no device yet for want of memory
};

}  // namespace ondrix
