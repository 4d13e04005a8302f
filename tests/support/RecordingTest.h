#pragma once

#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <tests/support/LogCapture.h>
#include <tests/support/RecordingDevice.h>

#include <ondrix/Ondrix.h>

namespace ondrix::test {

/// A device of the framework over one that records.
class RecordingTest : public testing::Test {
protected:
    static constexpr auto bgra = MTLPixelFormat::bgra8Unorm;

    std::shared_ptr<Texture> texture(Int width, Int height) {
        return device->makeTexture(width, height, bgra, MTLTextureUsage::unknown);
    }
    std::shared_ptr<Shader> shader(const std::string& name, ShaderType type) {
        return device->makeDefaultShaderLibrary()->makeShader(name, type);
    }
    /// The calls of an action that succeeds.
    template <class Action>
    Calls callsOf(const Action& action) {
        calls.clear();
        EXPECT_TRUE(action());
        return calls;
    }
    /// The calls since the last look at them, and the messages.
    Calls takeCalls() { return std::exchange(calls, {}); }
    std::vector<std::string> takeMessages() {
        auto messages = log.messages();
        log.clear();
        return messages;
    }
    /// Expects null or false and exactly these errors, while the platform's device refuses these operations.
    template <class Action>
    void expectErrors(const std::set<std::string>& refused, const Action& action,
                      const std::vector<std::string>& messages) {
        mtlDevice->refused = refused;
        log.clear();
        EXPECT_FALSE(action()) << "refused " << testing::PrintToString(refused);
        for (const auto& entry : log.entries()) EXPECT_EQ(entry.type, os::LogType::error) << entry.text;
        EXPECT_EQ(takeMessages(), messages) << "refused " << testing::PrintToString(refused);

        // A caller who asks hears the same, and the log nothing.
        const Calls recorded = calls;
        NSError error;
        EXPECT_FALSE(Failure::toldTo(&error, action));
        EXPECT_EQ(takeMessages(), std::vector<std::string>()) << error.localizedDescription();
        for (std::string message : messages) {
            while (message.ends_with('.')) message.pop_back();
            EXPECT_THAT(error.localizedDescription(), testing::HasSubstr(message));
        }
        calls = recorded;
        mtlDevice->refused.clear();
    }

    LogCapture log;
    std::shared_ptr<RecordingDevice> mtlDevice = std::make_shared<RecordingDevice>();
    Calls& calls = mtlDevice->calls;
    std::shared_ptr<Device> device = Device::create(mtlDevice);
};

}  // namespace ondrix::test
