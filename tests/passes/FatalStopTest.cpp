#include <memory>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <tests/support/RecordingDevice.h>

#include <ondrix/Ondrix.h>

namespace ondrix {
namespace {

using test::RecordingDevice;

/// What a ready-made effect stops the process with when several of its parts are missing: the first one counts.
struct Stop {
    const char* name;  ///< begins with the kind of effect
    std::vector<std::string> refused;
    const char* output;  ///< to standard error, the messages of the log first
};

void PrintTo(const Stop& stop, std::ostream* stream) {
    *stream << stop.name;
}

std::shared_ptr<Effect> makeEffect(const std::string& kind, const std::shared_ptr<Device>& device) {
    const auto texture = device->makeTexture(4, 4, MTLPixelFormat::bgra8Unorm, MTLTextureUsage::unknown);
    if (kind.starts_with("Present")) {
        return PresentTextureEffect::create(device, texture, texture, MTLPixelFormat::bgra8Unorm,
                                            ContentMode::scaleToFill, ImageRotation::degrees0, false);
    }
    return BlitEffect::create(device, texture, texture,
                              kind.starts_with("Render") ? PassType::renderPass : PassType::computePass,
                              MTLPixelFormat::bgra8Unorm);
}

class FatalStopDeathTest : public testing::TestWithParam<Stop> {};

TEST_P(FatalStopDeathTest, NamesTheFirstMissingPart) {
    const auto mtlDevice = std::make_shared<RecordingDevice>();
    const auto device = Device::create(mtlDevice);
    for (const auto& operation : GetParam().refused) mtlDevice->refused.insert(operation);
    EXPECT_DEATH((void)makeEffect(GetParam().name, device), GetParam().output);
}

const std::vector<Stop> stops = {
    {"PresentBuffer",
     {"makeBuffer", "makeSamplerState", "makeDefaultLibrary", "makeCommandQueue"},
     "Failed to create constant buffer for the PresentTexturePass\\."},
    {"PresentSampler",
     {"makeSamplerState", "makeDefaultLibrary", "makeCommandQueue"},
     "Failed to create sampler state for the PresentTexturePass\\."},
    {"PresentLibrary",
     {"makeDefaultLibrary", "Ondrix::PresentTexture::VS_Main", "makeCommandQueue"},
     "for bundle\\..*Failed to get the shader library from the GFX device\\."},
    {"PresentShaders",
     {"Ondrix::PresentTexture::VS_Main", "Ondrix::PresentTexture::FS_Main", "makeCommandQueue"},
     "PresentTexture::VS_Main' from.*PresentTexture::FS_Main' from.*Failed to load shaders for PresentTexturePass\\."},
    {"PresentQueue", {"makeCommandQueue"}, "Failed to create the command queue for the effect\\."},
    {"RenderSampler",
     {"makeSamplerState", "makeDefaultLibrary", "makeCommandQueue"},
     "Failed to create sampler state for the BlitRenderPass\\."},
    {"RenderLibrary",
     {"makeDefaultLibrary", "Ondrix::Blit::VS_Main", "makeCommandQueue"},
     "Failed to get the shader library from the GFX device\\."},
    {"RenderShaders",
     {"Ondrix::Blit::VS_Main", "Ondrix::Blit::FS_Main", "makeCommandQueue"},
     "Blit::VS_Main' from.*Blit::FS_Main' from.*Failed to load shaders for BlitRenderPass\\."},
    {"RenderOneShader", {"Ondrix::Blit::FS_Main"}, "Failed to load shaders for BlitRenderPass\\."},
    {"RenderQueue", {"makeCommandQueue"}, "Failed to create the command queue for the effect\\."},
    {"ComputeLibrary",
     {"makeDefaultLibrary", "Ondrix::Blit::CS_Main", "makeCommandQueue"},
     "Failed to get the shader library from the GFX device\\."},
    {"ComputeShader",
     {"Ondrix::Blit::CS_Main", "makeCommandQueue"},
     "Failed to load compute shader for the blit pass\\."},
    {"ComputeQueue", {"makeCommandQueue"}, "Failed to create the command queue for the effect\\."},
};

INSTANTIATE_TEST_SUITE_P(Effects, FatalStopDeathTest, testing::ValuesIn(stops),
                         [](const auto& instance) { return std::string(instance.param.name); });

// Never started, so it has no mesh.
class MeshlessDevice : public Device {
public:
    explicit MeshlessDevice(std::shared_ptr<MTLDevice> mtlDevice) : Device(std::move(mtlDevice)) {}
};

TEST(MeshDeathTest, TheQuadMeshIsNeededToo) {
    const auto device = std::make_shared<MeshlessDevice>(std::make_shared<RecordingDevice>());
    for (const char* kind : {"Present", "Render"}) {
        EXPECT_DEATH((void)makeEffect(kind, device), "Failed to get the quad mesh from the GFX device\\.");
    }
}

}  // namespace
}  // namespace ondrix
