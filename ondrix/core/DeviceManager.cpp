#include <cerrno>
#include <cstddef>
#include <new>
#include <utility>

#include <ondrix/core/DeviceManager.h>
#include <ondrix/core/Failure.h>

namespace ondrix {

DeviceManager::DeviceManager() {
    makeDefaultDevice();
}

void DeviceManager::makeDefaultDevice() const {
    errno = 0;
    if (auto mtlDevice = MTLCreateSystemDefaultDevice()) {
        defaultDevice_ = Device::create(std::move(mtlDevice));
    } else if (errno == ENOMEM) {
        Failure::outOfMemory(__builtin_FILE(), __builtin_FUNCTION());
    }
    lacksMemory_ = defaultDevice_ == nullptr && errno == ENOMEM;
}

DeviceManager& DeviceManager::shared() {
    alignas(DeviceManager) static std::byte memory[sizeof(DeviceManager)];
    static DeviceManager& manager = *new (memory) DeviceManager;
    try {
        using Owner = std::shared_ptr<DeviceManager>;
        alignas(Owner) static std::byte ownerMemory[sizeof(Owner)];
        static const auto& owner = *new (ownerMemory) Owner(&manager, [](DeviceManager*) {});
        static_cast<void>(owner);
    } catch (const std::bad_alloc&) {
        // Nobody else can hold it then; the next call tries again.
    }
    return manager;
}

std::shared_ptr<Device> DeviceManager::defaultDevice() const {
    if (lacksMemory_) makeDefaultDevice();
    return defaultDevice_;
}

void DeviceManager::setDefaultDevice(std::shared_ptr<Device> device) {
    lacksMemory_ = false;
    defaultDevice_.swap(device);
}

void DeviceManager::prepareForRelease() {}

void DeviceManager::cleanup() {
    setDefaultDevice(nullptr);
}

}  // namespace ondrix
