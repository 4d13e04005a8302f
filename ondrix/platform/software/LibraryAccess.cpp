#include <algorithm>
#include <string_view>
#include <vector>

#include <dlfcn.h>
#include <grp.h>
#include <link.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <ondrix/platform/software/LibraryAccess.h>

namespace ondrix::software {

namespace {

namespace fs = std::filesystem;

/// Canonical path of the file that holds this framework; empty when it isn't known.
fs::path frameworkFile() {
    Dl_info information{};
    link_map* library = nullptr;
    const auto address = reinterpret_cast<const void*>(&reasonToDistrust);
    if (::dladdr1(address, &information, reinterpret_cast<void**>(&library), RTLD_DL_LINKMAP) == 0) return {};
    const std::string_view name = library != nullptr && library->l_name != nullptr ? library->l_name : "";
    std::error_code error;
    fs::path file = fs::canonical(name.empty() ? "/proc/self/exe" : name, error);
    return error ? fs::path() : file;
}

/// Whether the group bears the user's own name and has no other members.
bool isOwnGroup(gid_t id) {
    passwd user{}, *foundUser = nullptr;
    group group{}, *foundGroup = nullptr;
    std::vector<char> userText(16 * 1024), groupText(64 * 1024);
    if (getpwuid_r(geteuid(), &user, userText.data(), userText.size(), &foundUser) != 0 || foundUser == nullptr ||
        getgrgid_r(id, &group, groupText.data(), groupText.size(), &foundGroup) != 0 || foundGroup == nullptr ||
        std::string_view(user.pw_name) != group.gr_name) {
        return false;
    }
    for (char** member = group.gr_mem; *member != nullptr; ++member) {
        if (std::string_view(*member) != user.pw_name) return false;
    }
    return true;
}

bool mayBeChangedByAll(const struct stat& file) {
    return (file.st_mode & S_IWOTH) != 0 && !(S_ISDIR(file.st_mode) && (file.st_mode & S_ISVTX) != 0);
}

/// Who may change libraries: found once, as of then.
class Trusted {
public:
    static const Trusted& instance() {
        static const auto* const trusted = new Trusted;
        return *trusted;
    }

    [[nodiscard]] bool isOwner(uid_t id) const {
        return std::find(owners_.begin(), owners_.end(), id) != owners_.end();
    }
    [[nodiscard]] bool isGroup(gid_t id) const { return id == 0 || (ownGroupCounts_ && id == ownGroup_); }
    [[nodiscard]] bool frameworkIsOpenToAll() const { return frameworkIsOpenToAll_; }
    [[nodiscard]] bool liesAboveFramework(const fs::path& folder) const {
        const auto [end, rest] = std::mismatch(folder.begin(), folder.end(), framework_.begin(), framework_.end());
        return end == folder.end() && rest != framework_.end();
    }

private:
    Trusted() : owners_{0, geteuid()}, framework_(frameworkFile()), ownGroup_(getegid()) {
        for (fs::path path = framework_; !path.empty(); path = path.parent_path()) {
            struct stat status {};
            if (stat(path.c_str(), &status) == 0) {
                owners_.push_back(status.st_uid);
                if (mayBeChangedByAll(status)) frameworkIsOpenToAll_ = true;
            }
            if (path == path.parent_path()) break;
        }
        ownGroupCounts_ = ownGroup_ != 0 && isOwnGroup(ownGroup_);
    }

    std::vector<uid_t> owners_;
    const fs::path framework_;
    const gid_t ownGroup_;
    bool ownGroupCounts_ = false;
    bool frameworkIsOpenToAll_ = false;
};

}  // namespace

std::string reasonToDistrust(const fs::path& module) {
    const Trusted& trusted = Trusted::instance();
    if (trusted.frameworkIsOpenToAll()) return {};
    fs::path path;
    for (const fs::path& name : module) {
        path /= name;
        if (trusted.liesAboveFramework(path)) continue;
        struct stat status {};
        if (lstat(path.c_str(), &status) != 0) return "'" + path.string() + "' cannot be examined";
        if (!trusted.isOwner(status.st_uid)) return "'" + path.string() + "' belongs to another user";
        if (S_ISLNK(status.st_mode)) continue;  // has no rights of its own
        const bool isShared =
            S_ISDIR(status.st_mode) && (status.st_mode & S_ISVTX) != 0 && path != module.parent_path();
        const bool groupMayWrite =
            (status.st_mode & S_IWGRP) != 0 && status.st_uid != 0 && !trusted.isGroup(status.st_gid);
        if (!isShared && (groupMayWrite || (status.st_mode & S_IWOTH) != 0))
            return "'" + path.string() + "' can be changed by other users";
    }
    return {};
}

void prepareToDistrust() {
    (void)Trusted::instance();
}

}  // namespace ondrix::software
