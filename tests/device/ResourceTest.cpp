// The default device, shader libraries, pipelines and resources: what is refused with which reason, and how memory
// lies.
#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <limits>
#include <tuple>

#include <gmock/gmock.h>
#include <tests/support/LogCapture.h>
#include <tests/support/TemporaryFolder.h>

#include <ondrix/platform/software/SimdLevel.h>

#include "Gpu.h"

using namespace ondrix;
using namespace ondrix::test;
using testing::HasSubstr;

namespace fs = std::filesystem;

TEST(Libraries, RefusalsSayWhy) {
    const TemporaryFolder folder;
    for (const std::string module : {"newer-module", "foreign-module"}) {
        fs::copy(fs::path(REFUSED_MODULES) / (module + ".so"), folder.makeFolder(module + ".oxlib") / "plain.so");
    }
    for (const char* file : {"file.oxlib", "folder/plain.so", "other.oxlib/pdp-11.so", "damaged.oxlib/plain.so"}) {
        std::ignore = folder.write(file, "no module");
    }
    std::ignore = folder.makeFolder("empty.oxlib");
    fs::copy(fs::path(TEST_LIBRARY) / "plain.so", folder.makeFolder("one.oxlib") / "plain.so");
    const std::string best(software::simdLevels().front().name);
    const std::tuple<const char*, std::string, std::string> cases[] = {
        {"missing.oxlib", "", "missing.oxlib' does not exist"},
        {"file.oxlib", "", "file.oxlib' is not a shader library"},
        {"empty.oxlib", "", "empty.oxlib' is not a shader library"},
        {"folder", "", "folder' is not a shader library"},
        {"other.oxlib", "", "has no module for this machine"},
        {"damaged.oxlib", "", "cannot be opened"},
        {"newer-module.oxlib", "", "is of version"},
        {"foreign-module.oxlib", "", "does not export"},
        {"one.oxlib", "", "made"},
        {"one.oxlib", "plain", "made"},
        {"one.oxlib", best, "'" + best + "'"},
        {"one.oxlib", "x86-64-v9", "'x86-64-v9' is unknown"},
    };
    for (const auto& [name, level, reason] : cases) {
        NSError error;
        const auto made = software::Device::create(1, level)->makeLibrary(URL(folder.path() / name), &error);
        EXPECT_THAT(made ? "made" : error.localizedDescription(), HasSubstr(reason));
    }
}

// Code of others that runs before it is refused: the file is no module, which only the loader would find. A folder
// above that isn't looked at, a link that is taken for where it leads; a folder like /tmp that is taken for a danger.
TEST(Libraries, AreRefusedWhereOthersMayChangeThem) {
    const TemporaryFolder folder;
    std::ignore = folder.write("above/one.oxlib/plain.so", "no module");
    fs::create_symlink("above", folder.path() / "link");
    fs::create_symlink(folder.write("elsewhere/plain.so", "no module"), folder.makeFolder("linked.oxlib") / "plain.so");
    const char *opened = "cannot be opened", *changed = "can be changed by other users";
    const struct {
        const char* path;
        int mode;
        const char *library, *reason;
        bool isGivenAway = false;
    } cases[] = {
        {"above", 0755, "above/one.oxlib", opened},
        {"above", 01777, "above/one.oxlib", opened},
        {"above", 0777, "above/one.oxlib", changed},
        {"above", 0777, "link/one.oxlib", changed},
        {"above/one.oxlib", 0777, "above/one.oxlib", changed},
        {"elsewhere", 0755, "linked.oxlib", opened},
        {"elsewhere", 0777, "linked.oxlib", changed},
        {"linked.oxlib", 0777, "linked.oxlib", changed},
        {"above/one.oxlib", 01777, "above/one.oxlib/", changed},
        {"above/one.oxlib/plain.so", 0646, "above/one.oxlib", changed},
        {"above/one.oxlib/plain.so", 0644, "above/one.oxlib", "belongs to another user", true},
        {"above/one.oxlib", 0755, "above/one.oxlib", "belongs to another user", true},
    };
    for (const auto& [path, mode, library, reason, isGivenAway] : cases) {
        if (isGivenAway && geteuid() != 0) continue;
        const fs::path changedPath = folder.path() / path;
        const fs::perms before = fs::status(changedPath).permissions();
        fs::permissions(changedPath, static_cast<fs::perms>(mode));
        const uid_t owner = isGivenAway ? 65534 : geteuid();
        ASSERT_EQ(chown(changedPath.c_str(), owner, static_cast<gid_t>(-1)), 0);
        for (const bool isTrusted : {false, true}) {
            if (isTrusted) setenv("ONDRIX_TRUST_LIBRARIES", "1", 1);
            NSError error;
            EXPECT_EQ(software::Device::create(1, "plain")->makeLibrary(URL(folder.path() / library), &error), nullptr);
            EXPECT_THAT(error.localizedDescription(), HasSubstr(isTrusted ? opened : reason)) << path << mode;
            unsetenv("ONDRIX_TRUST_LIBRARIES");
        }
        ASSERT_EQ(chown(changedPath.c_str(), geteuid(), static_cast<gid_t>(-1)), 0);
        fs::permissions(changedPath, before);
    }
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

// Whoever doesn't ask for the reason finds it in the log.
TEST(Pipelines, RefusalsSayWhy) {
    const LogCapture log;
    const Gpu gpu;
    const auto good = vertexLayout();
    auto oddFormat = good, noLayout = good;
    oddFormat.attributes[1].format = static_cast<MTLVertexFormat>(99);
    noLayout.attributes[1].bufferIndex = 3;
    const auto rgba = MTLPixelFormat::rgba8Unorm, invalid = MTLPixelFormat::invalid;
    const std::tuple<const char*, const char*, const MTLVertexDescriptor*, MTLPixelFormat, const char*> cases[] = {
        {"vertexValue", "fragmentValue", &good, rgba, "made"},
        {"vertexTwoPairs", "fragmentSample", &good, rgba, "made"},  // reads fewer than are provided
        {"none", "fragmentValue", &good, rgba, "the vertex function is missing"},
        {"fill", "fragmentValue", &good, rgba, "'fill' is a compute function, but a vertex function is needed"},
        {"vertexValue", "vertexValue", &good, rgba,
         "'vertexValue' is a vertex function, but a fragment function is needed"},
        {"vertexValue", "fragmentValue", &good, invalid, "pixel format"},
        {"vertexValue", "fragmentValue", nullptr, rgba, "vertexValue: vertex attribute 0"},
        {"vertexTwoPairs", "fragmentValue", &good, rgba, "has 4 components"},
        {"vertexBare", "fragmentValue", &good, rgba, "is not provided by 'vertexBare'"},
        {"vertexValue", "fragmentValue", &oddFormat, rgba, "unknown format 99"},
        {"vertexValue", "fragmentValue", &noLayout, rgba, "buffer slot 3, which has no layout"},
    };
    NSError error;
    for (const auto& [vertex, fragment, layout, format, reason] : cases) {
        MTLRenderPipelineDescriptor descriptor{gpu.library->makeFunction(vertex), gpu.library->makeFunction(fragment),
                                               nullptr, format};
        if (layout != nullptr) descriptor.vertexDescriptor = std::make_shared<const MTLVertexDescriptor>(*layout);
        const bool made = gpu.device->makeRenderPipelineState(descriptor, &error) != nullptr;
        EXPECT_THAT(made ? "made" : error.localizedDescription(), HasSubstr(reason));
    }
    EXPECT_EQ(gpu.device->makeComputePipelineState(gpu.library->makeFunction("fragmentValue"), &error), nullptr);
    EXPECT_THAT(error.localizedDescription(),
                HasSubstr("'fragmentValue' is a fragment function, but a compute function is needed"));
    EXPECT_THAT(log.messages(), testing::IsEmpty());
    EXPECT_EQ(gpu.compute("fragmentValue"), nullptr);
    EXPECT_EQ(gpu.render("vertexBare", "fragmentValue"), nullptr);
    EXPECT_THAT(log.messages(),
                testing::ElementsAre(error.localizedDescription(),
                                     "fragmentValue: varying 0 is not provided by 'vertexBare', which returns 0"));
}

TEST(Devices, FollowTheEnvironment) {
    const auto with = [](const char* variable, const char* value, const auto& create) {
        setenv(variable, value, 1);
        const auto device = create();
        unsetenv(variable);
        return device;
    };
    const auto first = MTLCreateSystemDefaultDevice();
    ASSERT_TRUE(first);
    const LogCapture log;
    EXPECT_EQ(with("ONDRIX_DEVICE", "cpu", MTLCreateSystemDefaultDevice), first);
    EXPECT_EQ(with("ONDRIX_DEVICE", "none", MTLCreateSystemDefaultDevice), nullptr);
    EXPECT_THAT(log.messages(), testing::IsEmpty());
    EXPECT_EQ(with("ONDRIX_DEVICE", "vulkan", MTLCreateSystemDefaultDevice), nullptr);
    EXPECT_EQ(log.entries().front().category, "device");
    const auto create = [] { return software::Device::create(); };
    const auto createPlain = [&] { return with("ONDRIX_SIMD", "plain", create); };
    EXPECT_EQ(with("ONDRIX_THREADS", "7", createPlain)->name(), "Ondrix CPU device (plain, 7 threads)");
    for (const char* wrong : {"0", "257", "two", "3x"}) EXPECT_TRUE(with("ONDRIX_THREADS", wrong, create));
    EXPECT_THAT(log.messages(), testing::ElementsAre(HasSubstr("vulkan"), HasSubstr("0"), HasSubstr("257"),
                                                     HasSubstr("two"), HasSubstr("3x")));
}

TEST(Devices, RefuseWhatTheyCannotHold) {
    const Gpu gpu;
    const auto rgba = MTLPixelFormat::rgba8Unorm;
    EXPECT_EQ(gpu.texture(0, 4, rgba), nullptr);
    EXPECT_EQ(gpu.texture(4, 16385, rgba), nullptr);
    EXPECT_EQ(gpu.texture(std::numeric_limits<std::uint64_t>::max(), 1, rgba), nullptr);
    EXPECT_EQ(gpu.texture(4, 4, MTLPixelFormat::invalid), nullptr);
    EXPECT_EQ(gpu.texture(4, 4, static_cast<MTLPixelFormat>(252)), nullptr);
    EXPECT_NE(gpu.texture(16384, 1, rgba), nullptr);
    EXPECT_NE(gpu.texture(1, 16384, rgba), nullptr);

    using Limits = std::numeric_limits<std::int64_t>;
    for (const std::int64_t length : {std::int64_t{0}, Limits::min(), Limits::max(), std::int64_t{1} << 50}) {
        EXPECT_EQ(gpu.device->makeBuffer(length, 0), nullptr) << length;
    }
    const auto zeroed = gpu.device->makeBuffer(100, 0);
    const auto* bytes = static_cast<const std::uint8_t*>(zeroed->contents());
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(bytes) % 64, 0u);
    EXPECT_TRUE(std::all_of(bytes, bytes + 100, [](std::uint8_t byte) { return byte == 0; }));
    for (const auto& [anisotropy, mode, made] : {std::tuple{17, 0, false}, {16, 0, true}, {16, 6, false}}) {
        MTLSamplerDescriptor descriptor;
        descriptor.maxAnisotropy = anisotropy;
        descriptor.tAddressMode = static_cast<MTLSamplerAddressMode>(mode);
        EXPECT_EQ(gpu.device->makeSamplerState(descriptor) != nullptr, made) << anisotropy << " " << mode;
    }
}

// A region written into the middle comes back from there, and nothing else changes.
TEST(Textures, RegionsKeepToThemselves) {
    const Gpu gpu;
    const auto texture = gpu.texture(4, 3, MTLPixelFormat::rg8Unorm);
    const auto region = MTLRegionMake2D(1, 1, 2, 2);
    const std::vector<std::uint8_t> source = {1, 2, 3, 4, 90, 5, 6, 7, 8};  // rows are five bytes apart
    texture->replace(region, 0, source.data(), 5);
    EXPECT_EQ(bytes(*texture), (std::vector<std::uint8_t>{0, 0, 0, 0, 0, 0, 0, 0,  //
                                                          0, 0, 1, 2, 3, 4, 0, 0,  //
                                                          0, 0, 5, 6, 7, 8, 0, 0}));
    std::vector<std::uint8_t> back(source.size(), 90);
    texture->getBytes(back.data(), 5, region, 0);
    EXPECT_EQ(back, source);
}
