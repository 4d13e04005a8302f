#include <utility>

#include <ondrix/core/DeviceManager.h>

namespace ondrix {

DeviceManager::DeviceManager() {
    if (auto mtlDevice = MTLCreateSystemDefaultDevice()) defaultDevice_ = Device::create(std::move(mtlDevice));
}

DeviceManager& DeviceManager::shared() {
    static const auto& manager = *new std::shared_ptr<DeviceManager>(new DeviceManager);
    return *manager;
}

std::shared_ptr<Device> DeviceManager::defaultDevice() const {
    return defaultDevice_;
}

void DeviceManager::setDefaultDevice(std::shared_ptr<Device> device) {
    defaultDevice_.swap(device);
}

void DeviceManager::prepareForRelease() {}

void DeviceManager::cleanup() {
    setDefaultDevice(nullptr);
}

}  // namespace ondrix
