#include <cstdlib>
#include <memory>

#include <gtest/gtest.h>

#include <ondrix/Ondrix.h>

namespace ondrix {
namespace {

// Each in a new process, since a manager is made once and its device dropped for good.
class DeviceManagerDeathTest : public testing::Test {
protected:
    DeviceManagerDeathTest() { GTEST_FLAG_SET(death_test_style, "threadsafe"); }
};

TEST_F(DeviceManagerDeathTest, TheDefaultDeviceGoesWithTheLastObjectMadeFromIt) {
    EXPECT_EXIT(
        {
            DeviceManager& manager = DeviceManager::shared();
            const std::weak_ptr<Device> device = manager.defaultDevice();
            auto texture =
                manager.defaultDevice()->makeTexture(2, 2, MTLPixelFormat::r8Unorm, MTLTextureUsage::unknown);
            manager.prepareForRelease();
            manager.cleanup();
            const bool isKeptByTexture = !device.expired() && DeviceManager::shared().defaultDevice() == nullptr;
            texture.reset();
            std::_Exit(isKeptByTexture && device.expired() ? 42 : 1);
        },
        testing::ExitedWithCode(42), "");
}

TEST_F(DeviceManagerDeathTest, WithoutAGPUThereIsNoDefaultDeviceAndNoMessage) {
    EXPECT_EXIT(
        {
            ::setenv("ONDRIX_DEVICE", "none", 1);
            std::_Exit(DeviceManager::shared().defaultDevice() == nullptr ? 42 : 1);
        },
        testing::ExitedWithCode(42), "^$");
}

}  // namespace
}  // namespace ondrix
