#include <filesystem>
#include <optional>
#include <tuple>
#include <vector>

#include <dlfcn.h>
#include <gtest/gtest.h>
#include <tests/support/TemporaryFolder.h>

#include <ondrix/platform/foundation/NSBundle.h>

namespace ondrix {
namespace {

namespace fs = std::filesystem;
using test::TemporaryFolder;

/// The bundle lies beside the real file, also where a link elsewhere has a name of its own.
TEST(Bundle, OfALibraryIsTheFirstFolderThatExists) {
    // The library's file, the folders that exist, and the one expected.
    const std::tuple<const char*, std::vector<const char*>, const char*> layouts[] = {
        {"lib/libprobe.so.1.2", {"lib/probe.bundle", "lib/libprobe.bundle"}, "lib/probe.bundle"},
        {"lib/x86/libprobe.so", {"lib/lib/probe.bundle"}, "lib/lib/probe.bundle"},
        {"plugins/probe.so", {"plugins/probe.bundle", "lib/probe.bundle"}, "plugins/probe.bundle"},
        {"plugins/probe.so", {"lib/probe.bundle"}, "lib/probe.bundle"},
        {"plugins/libprobe.so", {"plugins/libprobe.bundle"}, "plugins"}};
    for (const auto& [file, folders, expected] : layouts) {
        const TemporaryFolder folder;
        for (const char* name : folders) fs::create_directories(folder.path() / name);
        const fs::path library = folder.path() / file, link = folder.makeFolder("links") / "libother.so";
        fs::create_directories(library.parent_path());
        fs::copy_file(BUNDLE_PROBE_LIBRARY, library);
        fs::create_symlink(library, link);
        for (const fs::path& path : {library, link}) {
            void* const handle = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
            ASSERT_NE(handle, nullptr) << ::dlerror();
            const auto bundle = NSBundle::bundleForClass({::dlsym(handle, "bundleProbe")});
            EXPECT_EQ(bundle->bundlePath(), folder.path() / expected) << path;
            ::dlclose(handle);
        }
    }
}

TEST(Bundle, OfCodeInNoLibraryIsTheMainBundle) {
    static const int inThisProgram = 1;
    const int onTheStack = 1, *const nowhere = nullptr;
    for (const int* address : {&inThisProgram, &onTheStack, nowhere}) {
        EXPECT_EQ(NSBundle::bundleForClass({address}), NSBundle::mainBundle());
    }
}

TEST(Bundle, FindsResourcesByNameAndExtensionAndItsIdentifierInAFirstLine) {
    const TemporaryFolder folder;
    const fs::path picture = folder.write("a picture.png", "");
    const auto bundle = NSBundle::create(folder.path());
    EXPECT_EQ(bundle->URLForResource("a picture", "png"), URL(picture));
    EXPECT_EQ(bundle->URLForResource("a picture.png", ""), URL(picture));
    EXPECT_EQ(bundle->URLForResource("a picture", ""), std::nullopt);
    EXPECT_EQ(bundle->URLForResource("", ""), std::nullopt);
    EXPECT_EQ(NSBundle::create(picture), nullptr);
    EXPECT_EQ(NSBundle::create(folder.path() / "missing"), nullptr);

    EXPECT_EQ(bundle->bundleIdentifier(), std::nullopt);
    for (const auto& [content, expected] :
         {std::pair("org.example.app\nmore", "org.example.app"), {"org.example\r\n", "org.example"}, {"\n", "none"}}) {
        (void)folder.write("BundleIdentifier", content);
        EXPECT_EQ(bundle->bundleIdentifier().value_or("none"), expected);
    }
}

TEST(URL, EncodesWhatAURLCanNotHold) {
    EXPECT_EQ(URL("/a b/100%/\xC3\xA4?#\n.png").description(), "file:///a%20b/100%25/%C3%A4%3F%23%0A.png");
    EXPECT_EQ(URL("x/y.png").path(), fs::current_path() / "x/y.png");
}

}  // namespace
}  // namespace ondrix
