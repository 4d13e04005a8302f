#include "Sandbox.h"

#include <cerrno>
#include <string>
#include <system_error>

#include <fcntl.h>
#include <link.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "Failure.h"

namespace ondrix::tools {
namespace {

namespace fs = std::filesystem;

// The kernel's interface, spelt out because the system's header may be older than the kernel. Numbers of system calls
// are the same on every processor.
constexpr long createRulesNumber = 444, addRuleNumber = 445, restrictSelfNumber = 446;
constexpr unsigned int askVersion = 1;
constexpr int pathRule = 1;

struct RulesAttributes {
    std::uint64_t files, network, scopes;
};
struct [[gnu::packed]] PathAttributes {
    std::uint64_t rights;
    std::int32_t descriptor;
};

namespace right {
constexpr std::uint64_t writeFile = 1 << 1, readFile = 1 << 2, readFolder = 1 << 3, removeFile = 1 << 5,
                        makeFile = 1 << 8, truncate = 1 << 14;
/// What a rule about a file, not a folder, may hold: to execute, write, read and truncate it, and to control a device.
constexpr std::uint64_t ofFiles = 1 << 0 | writeFile | readFile | truncate | 1 << 15;
}  // namespace right

/// All rights over files that an interface of this version knows.
std::uint64_t knownRights(int version) {
    const int count = version >= 5 ? 16 : version >= 3 ? 15 : version == 2 ? 14 : 13;
    return (std::uint64_t{1} << count) - 1;
}

[[noreturn]] void fail() {
    throw Failure("the sandbox", "can't be entered: " + std::generic_category().message(errno));
}

bool isSystem(const fs::path& file) {
    for (const char* folder : {"/usr/", "/lib/", "/lib64/"}) {
        if (file.native().starts_with(folder)) return true;
    }
    return false;
}

int addLoaded(dl_phdr_info* information, std::size_t, void* files) {
    std::error_code error;
    const fs::path file = fs::canonical(information->dlpi_name, error);
    if (!error && !isSystem(file)) static_cast<std::vector<fs::path>*>(files)->push_back(file);
    return 0;
}

/// The bundles beside the libraries that are loaded, apart from the system's.
std::vector<fs::path> bundles() {
    std::vector<fs::path> loaded, found;
    dl_iterate_phdr(addLoaded, &loaded);
    std::error_code error;
    for (const fs::path& file : loaded) {
        for (const auto& entry : fs::directory_iterator(file.parent_path(), error)) {
            if (entry.path().extension() == ".bundle") found.push_back(entry.path());
        }
    }
    return found;
}

}  // namespace

Sandbox::Sandbox() {
    const long version = syscall(createRulesNumber, nullptr, 0, askVersion);
    if (version < 1) return;
    version_ = static_cast<int>(version);
    files_ = knownRights(version_);
    const std::uint64_t tcp = version_ >= 4 ? 3 : 0;     // to listen, to connect
    const std::uint64_t scopes = version_ >= 6 ? 3 : 0;  // abstract sockets, signals
    const RulesAttributes attributes{files_, tcp, scopes};
    rules_ = static_cast<int>(syscall(createRulesNumber, &attributes, sizeof attributes, 0));
    if (rules_ < 0) fail();
}

Sandbox::~Sandbox() {
    if (rules_ >= 0) close(rules_);
}

void Sandbox::allow(const fs::path& path, std::uint64_t rights) {
    if (rules_ < 0) return;
    const int descriptor = open(path.c_str(), O_PATH | O_CLOEXEC);
    if (descriptor < 0) return;  // who opens it is told why
    struct stat status {};
    const bool isFolder = fstat(descriptor, &status) == 0 && S_ISDIR(status.st_mode);
    const PathAttributes attributes{rights & files_ & (isFolder ? ~std::uint64_t{0} : right::ofFiles), descriptor};
    const long added = syscall(addRuleNumber, rules_, pathRule, &attributes, 0);
    const int code = errno;
    close(descriptor);
    errno = code;
    // Pipes and sockets have no place among files; they are open to those who have them.
    if (added != 0 && code != EBADFD) fail();
}

void Sandbox::allowReading(const fs::path& path) {
    allow(path, right::readFile | right::readFolder);
}

void Sandbox::allowOutput(const fs::path& file) {
    std::error_code error;
    const auto status = fs::status(file, error);
    if (fs::exists(status) && !fs::is_regular_file(status)) return allow(file, right::writeFile | right::truncate);
    const fs::path place = fs::is_symlink(file, error) ? fs::weakly_canonical(file, error) : file;
    allow(place.has_parent_path() ? place.parent_path() : ".",
          right::writeFile | right::truncate | right::readFolder | right::makeFile | right::removeFile);
}

void Sandbox::enter() {
    for (const char* path : {"/usr", "/lib", "/lib64", "/etc/ld.so.cache", "/etc/localtime", "/dev/null", "/dev/zero",
                             "/dev/urandom", "/sys/devices/system/cpu"})
        allowReading(path);
#ifdef __SANITIZE_ADDRESS__
    allowReading("/proc/self");  // where the search for leaks finds the process's threads
#endif
    for (const fs::path& bundle : bundles()) allowReading(bundle);
    if (prctl(PR_SET_NO_NEW_PRIVS, 1, 0, 0, 0) != 0) fail();
    if (rules_ >= 0 && syscall(restrictSelfNumber, rules_, 0) != 0) fail();
}

}  // namespace ondrix::tools
