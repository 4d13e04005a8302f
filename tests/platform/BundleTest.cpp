#include <filesystem>
#include <ostream>
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

/// Where a library lies, which folders exist, and which of them is its bundle.
struct Layout {
    const char* file;
    std::vector<const char*> folders;
    const char* expected;
};

std::ostream& operator<<(std::ostream& stream, const Layout& layout) {
    return stream << layout.file;
}

class LibraryBundle : public testing::TestWithParam<Layout> {
protected:
    LibraryBundle() {
        for (const char* name : GetParam().folders) fs::create_directories(folder.path() / name);
        fs::create_directories(file.parent_path());
        fs::copy_file(BUNDLE_PROBE_LIBRARY, file);
    }
    ~LibraryBundle() override {
        if (library != nullptr) ::dlclose(library);
    }
    fs::path bundleOf(const fs::path& path) {
        library = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
        EXPECT_NE(library, nullptr) << ::dlerror();
        return NSBundle::bundleForClass({::dlsym(library, "bundleProbe")})->bundlePath();
    }
    TemporaryFolder folder;
    const fs::path file = folder.path() / GetParam().file;
    const fs::path expected = folder.path() / GetParam().expected;
    void* library = nullptr;
};

TEST_P(LibraryBundle, IsTheFirstFolderThatExists) {
    EXPECT_EQ(bundleOf(file), expected);
}

/// The bundle lies beside the real file; the link elsewhere has a name of its own.
TEST_P(LibraryBundle, IsFoundThroughALink) {
    const fs::path link = folder.makeFolder("links") / "libother.so";
    fs::create_symlink(file, link);
    EXPECT_EQ(bundleOf(link), expected);
}

INSTANTIATE_TEST_SUITE_P(
    Layouts, LibraryBundle,
    testing::Values(Layout{"lib/libprobe.so.1.2", {"lib/probe.bundle", "lib/libprobe.bundle"}, "lib/probe.bundle"},
                    Layout{"lib/x86/libprobe.so", {"lib/lib/probe.bundle"}, "lib/lib/probe.bundle"},
                    Layout{"plugins/probe.so", {"plugins/probe.bundle", "lib/probe.bundle"}, "plugins/probe.bundle"},
                    Layout{"plugins/probe.so", {"lib/probe.bundle"}, "lib/probe.bundle"},
                    Layout{"plugins/libprobe.so", {"plugins/libprobe.bundle"}, "plugins"}));

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
    for (const auto& [content, expected] :
         {std::pair("org.example.app\nmore", "org.example.app"), std::pair("org.example\r\n", "org.example")}) {
        (void)folder.write("BundleIdentifier", content);
        EXPECT_EQ(bundle->bundleIdentifier(), expected);
    }
    (void)folder.write("BundleIdentifier", "\n");
    EXPECT_EQ(bundle->bundleIdentifier(), std::nullopt);
}

TEST(URL, EncodesWhatAURLCanNotHold) {
    EXPECT_EQ(URL("/a b/100%/\xC3\xA4?#\n.png").description(), "file:///a%20b/100%25/%C3%A4%3F%23%0A.png");
    EXPECT_EQ(URL("x/y.png").path(), fs::current_path() / "x/y.png");
}

}  // namespace
}  // namespace ondrix
