// Shader libraries, pipelines and the default device: each refusal with its reason.
#include <cstdlib>
#include <filesystem>
#include <tuple>

#include <gmock/gmock.h>
#include <tests/support/LogCapture.h>
#include <tests/support/TemporaryFolder.h>

#include <ondrix/platform/software/SimdLevel.h>

#include "Gpu.h"

using namespace ondrix;
using namespace ondrix::test;
using testing::HasSubstr;

namespace {

namespace fs = std::filesystem;

std::string refusal(const fs::path& library, const std::string& level = {}) {
    NSError error;
    const auto made = software::Device::create(1, level)->makeLibrary(URL(library), &error);
    return made ? "made" : error.localizedDescription();
}

/// Sets a variable of the environment while it lives.
class Environment {
public:
    Environment(const char* name, const char* value) : name_(name) { setenv(name, value, 1); }
    ~Environment() { unsetenv(name_); }
    Environment(const Environment&) = delete;
    Environment& operator=(const Environment&) = delete;

private:
    const char* name_;
};

}  // namespace

TEST(Libraries, RefusalsSayWhy) {
    const TemporaryFolder folder;
    EXPECT_THAT(refusal(folder.path() / "missing.oxlib"), HasSubstr("missing.oxlib' does not exist"));
    EXPECT_THAT(refusal(folder.write("file.oxlib", "")), HasSubstr("file.oxlib' is not a shader library"));
    EXPECT_THAT(refusal(folder.makeFolder("empty.oxlib")), HasSubstr("empty.oxlib' is not a shader library"));
    std::ignore = folder.write("folder/plain.so", "");
    EXPECT_THAT(refusal(folder.path() / "folder"), HasSubstr("folder' is not a shader library"));
    std::ignore = folder.write("other.oxlib/pdp-11.so", "");
    EXPECT_THAT(refusal(folder.path() / "other.oxlib"), HasSubstr("has no module for this machine"));
    std::ignore = folder.write("damaged.oxlib/plain.so", "no module");
    EXPECT_THAT(refusal(folder.path() / "damaged.oxlib"), HasSubstr("cannot be opened"));
    for (const auto& [module, reason] :
         {std::pair{"newer-module.so", "is of version"}, {"foreign-module.so", "does not export"}}) {
        const fs::path library = folder.makeFolder(std::string(module) + ".oxlib");
        fs::copy(fs::path(REFUSED_MODULES) / module, library / "plain.so");
        EXPECT_THAT(refusal(library), HasSubstr(reason));
    }
}

TEST(Libraries, LevelsByName) {
    EXPECT_THAT(refusal(TEST_LIBRARY, "x86-64-v9"), HasSubstr("'x86-64-v9' is unknown"));
    const TemporaryFolder folder;
    fs::copy(fs::path(TEST_LIBRARY) / "plain.so", folder.makeFolder("one.oxlib") / "plain.so");
    EXPECT_EQ(refusal(folder.path() / "one.oxlib"), "made");
    EXPECT_EQ(refusal(folder.path() / "one.oxlib", "plain"), "made");
    const std::string best(software::simdLevels().front().name);
    EXPECT_THAT(refusal(folder.path() / "one.oxlib", best), HasSubstr("'" + best + "'"));
}

// A function that outlives its library and device still names itself: its code stays loaded.
TEST(Libraries, FunctionsOutliveTheirLibrary) {
    auto gpu = std::make_unique<Gpu>(1);
    EXPECT_EQ(gpu->library->makeFunction("Fill"), nullptr);
    EXPECT_EQ(gpu->library->makeFunction("fil"), nullptr);
    const auto function = gpu->library->makeFunction("fill");
    EXPECT_THAT(gpu->library->functionNames(), testing::IsSupersetOf({"fill", "vertexValue", "fragmentSample"}));
    gpu.reset();
    EXPECT_EQ(function->name(), "fill");
    EXPECT_EQ(function->functionType(), MTLFunctionType::kernel);
}

TEST(Pipelines, RefusalsSayWhy) {
    const Gpu gpu;
    const auto function = [&](const char* name) { return gpu.library->makeFunction(name); };
    const auto reason = [&](const char* vertex, const char* fragment, const MTLVertexDescriptor* layout,
                            MTLPixelFormat format) {
        MTLRenderPipelineDescriptor descriptor{function(vertex), function(fragment), nullptr, format};
        if (layout != nullptr) descriptor.vertexDescriptor = std::make_shared<const MTLVertexDescriptor>(*layout);
        NSError error;
        return gpu.device->makeRenderPipelineState(descriptor, &error) ? "made" : error.localizedDescription();
    };
    const auto good = vertexLayout();
    const auto rgba = MTLPixelFormat::rgba8Unorm;
    EXPECT_EQ(reason("vertexValue", "fragmentValue", &good, rgba), "made");
    EXPECT_THAT(reason("none", "fragmentValue", &good, rgba), HasSubstr("the vertex function is missing"));
    EXPECT_THAT(reason("vertexValue", "vertexValue", &good, rgba),
                HasSubstr("'vertexValue' is not a fragment function"));
    EXPECT_THAT(reason("vertexValue", "fragmentValue", &good, MTLPixelFormat::invalid), HasSubstr("pixel format"));
    EXPECT_THAT(reason("vertexValue", "fragmentValue", nullptr, rgba), HasSubstr("vertexValue: vertex attribute 0"));
    EXPECT_THAT(reason("vertexTwoPairs", "fragmentValue", &good, rgba), HasSubstr("has 4 components"));
    EXPECT_THAT(reason("vertexBare", "fragmentValue", &good, rgba), HasSubstr("is not provided by 'vertexBare'"));
    EXPECT_EQ(reason("vertexTwoPairs", "fragmentSample", &good, rgba), "made");  // reads fewer than are provided
    auto bad = good;
    bad.attributes[1].format = static_cast<MTLVertexFormat>(99);
    EXPECT_THAT(reason("vertexValue", "fragmentValue", &bad, rgba), HasSubstr("unknown format 99"));
    bad = good;
    bad.attributes[1].bufferIndex = 3;
    EXPECT_THAT(reason("vertexValue", "fragmentValue", &bad, rgba), HasSubstr("buffer slot 3, which has no layout"));
    NSError error;
    EXPECT_EQ(gpu.device->makeComputePipelineState(function("fragmentValue"), &error), nullptr);
    EXPECT_THAT(error.localizedDescription(), HasSubstr("'fragmentValue' is not a compute function"));
}

TEST(SystemDefaultDevice, FollowsTheEnvironment) {
    const auto first = MTLCreateSystemDefaultDevice();
    ASSERT_TRUE(first);
    {
        const Environment cpu("ONDRIX_DEVICE", "cpu");
        EXPECT_EQ(MTLCreateSystemDefaultDevice(), first);
    }
    const LogCapture log;
    {
        const Environment none("ONDRIX_DEVICE", "none");
        EXPECT_EQ(MTLCreateSystemDefaultDevice(), nullptr);
    }
    EXPECT_THAT(log.messages(), testing::IsEmpty());
    const Environment unknown("ONDRIX_DEVICE", "vulkan");
    EXPECT_EQ(MTLCreateSystemDefaultDevice(), nullptr);
    ASSERT_EQ(log.entries().size(), 1u);
    EXPECT_EQ(log.entries().front().category, "device");
    EXPECT_THAT(log.entries().front().text, HasSubstr("vulkan"));
}

TEST(SystemDefaultDevice, ThreadsAndLevelFromTheEnvironment) {
    const Environment level("ONDRIX_SIMD", "plain");
    {
        const Environment threads("ONDRIX_THREADS", "7");
        EXPECT_EQ(software::Device::create()->name(), "Ondrix CPU device (plain, 7 threads)");
    }
    for (const char* wrong : {"0", "257", "two", "3x"}) {
        const LogCapture log;
        const Environment threads("ONDRIX_THREADS", wrong);
        EXPECT_TRUE(software::Device::create());
        EXPECT_THAT(log.messages(), testing::ElementsAre(HasSubstr(wrong)));
    }
}
