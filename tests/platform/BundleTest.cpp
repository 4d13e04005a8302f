#include <filesystem>
#include <optional>
#include <utility>
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
    struct Layout {
        const char* file;
        std::vector<const char*> folders;
        const char* expected;
    };
    const Layout layouts[] = {
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

void functionOfThisProgram() {}

TEST(Bundle, OfCodeInNoLibraryIsTheMainBundle) {
    int onTheStack = 0;
    for (const void* address : {reinterpret_cast<const void*>(&functionOfThisProgram),
                                static_cast<const void*>(&onTheStack), static_cast<const void*>(nullptr)}) {
        EXPECT_EQ(NSBundle::bundleForClass({address}), NSBundle::mainBundle());
    }
}

TEST(Bundle, FindsResourcesByNameAndExtension) {
    const TemporaryFolder folder;
    const fs::path picture = folder.write("a picture.png", "");
    const auto bundle = NSBundle::create(folder.path());
    EXPECT_EQ(bundle->URLForResource("a picture", "png"), URL(picture));
    EXPECT_EQ(bundle->URLForResource("a picture.png", ""), URL(picture));
    EXPECT_EQ(bundle->URLForResource("a picture", ""), std::nullopt);
    EXPECT_EQ(bundle->URLForResource("", ""), std::nullopt);
    EXPECT_EQ(NSBundle::create(picture), nullptr);
    EXPECT_EQ(NSBundle::create(folder.path() / "missing"), nullptr);
}

TEST(Bundle, IdentifierIsTheFirstLine) {
    const TemporaryFolder folder;
    const auto bundle = NSBundle::create(folder.path());
    EXPECT_EQ(bundle->bundleIdentifier(), std::nullopt);
    using Identifier = std::optional<std::string>;
    for (const auto& [content, expected] :
         {std::pair("org.example.app\nmore", Identifier("org.example.app")),
          std::pair("org.example\r\n", Identifier("org.example")), std::pair("\n", Identifier())}) {
        (void)folder.write("BundleIdentifier", content);
        EXPECT_EQ(bundle->bundleIdentifier(), expected);
    }
}

TEST(URL, EncodesWhatAURLCanNotHold) {
    EXPECT_EQ(URL("/a b/100%/\xC3\xA4?#\n.png").description(), "file:///a%20b/100%25/%C3%A4%3F%23%0A.png");
    EXPECT_EQ(URL("x/y.png").path(), fs::current_path() / "x/y.png");
}

}  // namespace
}  // namespace ondrix
