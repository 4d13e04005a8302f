#include "OutputFile.h"

#include <array>
#include <cerrno>
#include <random>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <limits.h>
#include <signal.h>
#include <string.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/utsname.h>
#include <unistd.h>

#include "Failure.h"

namespace ondrix::tools {
namespace {

namespace fs = std::filesystem;

// What a signal has to remove; a handler may only read plain memory.
char unfinishedFile[PATH_MAX];
volatile sig_atomic_t hasUnfinishedFile = 0;

extern "C" void removeAndEnd(int signal) {
    OutputFile::removeUnfinished();
    raise(signal);  // the handler is gone by now, so this ends the program
}

/// From now on `file` is removed by the signals that would end the program, unless something else handles them.
void removeAtSignals(const std::string& file) {
    memcpy(unfinishedFile, file.c_str(), file.size() + 1);
    hasUnfinishedFile = 1;
    struct sigaction action {};
    action.sa_handler = removeAndEnd;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP, SIGPIPE}) {
        struct sigaction present {};
        sigaction(signal, nullptr, &present);
        if (present.sa_handler == SIG_DFL) sigaction(signal, &action, nullptr);
    }
}

std::string systemError(int code) {
    return std::generic_category().message(code);
}

/// The mode that a file made by `open` in the usual way has, as far as the process's mask allows it.
mode_t usualMode() {
    const mode_t mask = umask(0);
    umask(mask);
    return static_cast<mode_t>(0666 & ~mask);
}

std::string pathOf(int descriptor) {
    return "/proc/self/fd/" + std::to_string(descriptor);
}

/// Of files without a name, or -1.
int openNameless(const fs::path& folder) {
    const int descriptor = open(folder.c_str(), O_TMPFILE | O_WRONLY | O_CLOEXEC, 0600);
    if (descriptor < 0 || access(pathOf(descriptor).c_str(), W_OK) == 0) return descriptor;
    close(descriptor);  // without /proc it could never get a name
    return -1;
}

constexpr std::size_t randomDigits = 8;

/// What hidden names begin with. Machines that share a file system, but perhaps not its locks, have names of their own.
std::string hiddenPrefix() {
    utsname machine{};
    uname(&machine);
    std::string prefix = std::string(".ondrix-") + machine.nodename;
    for (char& character : prefix) {
        if (character == '/') character = '-';
    }
    return prefix + "-";
}

std::string hiddenName() {
    std::random_device random;
    char digits[randomDigits + 1];
    std::snprintf(digits, sizeof digits, "%08x", random());
    return hiddenPrefix() + digits;
}

bool isSame(const struct stat& one, const struct stat& other) {
    return one.st_dev == other.st_dev && one.st_ino == other.st_ino;
}

/// Takes the lock that shows other programs that somebody still writes the file.
bool lock(int descriptor) {
    return flock(descriptor, LOCK_EX | LOCK_NB) == 0;
}

/// Removes what was left by programs of this user on this machine that were killed: nobody holds their files' locks.
void removeLeftovers(const fs::path& folder) {
    std::error_code error;
    const std::string prefix = hiddenPrefix();
    for (fs::directory_iterator entry(folder, error), end; !error && entry != end; entry.increment(error)) {
        const std::string name = entry->path().filename();
        if (!name.starts_with(prefix) || name.size() != prefix.size() + randomDigits) continue;
        const int descriptor = open(entry->path().c_str(), O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
        if (descriptor < 0) continue;
        struct stat opened {
        }, named{};
        const bool isOwn = fstat(descriptor, &opened) == 0 && S_ISREG(opened.st_mode) && opened.st_uid == geteuid();
        // Whoever had the lock until now may have given the file its proper name.
        if (isOwn && lock(descriptor) && lstat(entry->path().c_str(), &named) == 0 && isSame(opened, named))
            unlink(entry->path().c_str());
        close(descriptor);
    }
}

}  // namespace

OutputFile::OutputFile(std::string path) : name_(std::move(path)), place_(name_) {
    std::error_code error;
    const auto status = fs::status(place_, error);
    if (fs::exists(status) && !fs::is_regular_file(status)) {
        isDirect_ = true;
        path_ = place_;
        stream_ = std::fopen(name_.c_str(), "wbe");
        if (stream_ == nullptr) failWithSystemError("can't be opened");
        return;
    }
    if (fs::exists(status)) {
        if (fs::is_symlink(place_, error)) place_ = fs::canonical(place_, error);  // a link stays a link
        if (error) throw Failure(name_, error.message());
        if (access(place_.c_str(), W_OK) != 0) failWithSystemError("can't be written");
    }
    openTemporary();
}

OutputFile::~OutputFile() {
    if (!hidden_.empty()) {
        unlink(hidden_.c_str());
        hasUnfinishedFile = 0;
    }
    if (stream_ != nullptr) std::fclose(stream_);
}

void OutputFile::openTemporary() {
    int descriptor = openNameless(place_.has_parent_path() ? place_.parent_path() : ".");
    if (descriptor >= 0) {
        path_ = pathOf(descriptor);
        (void)lock(descriptor);  // for the moment in which it may have a hidden name
    } else {
        takeHiddenName([&](const char* name) {
            descriptor = open(name, O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
            if (descriptor < 0) return false;
            // Another program that removes leftovers may have come before the lock.
            const bool isTaken = !lock(descriptor) && errno == EWOULDBLOCK;
            struct stat status {};
            if (!isTaken && fstat(descriptor, &status) == 0 && status.st_nlink > 0) return true;
            close(descriptor);
            errno = EEXIST;
            return false;
        });
        path_ = hidden_;
    }
    struct stat old {};
    const mode_t mode = stat(place_.c_str(), &old) == 0 ? static_cast<mode_t>(old.st_mode & 0777) : usualMode();
    if (fchmod(descriptor, mode) == 0) stream_ = fdopen(descriptor, "wb");
    if (stream_ != nullptr) return;
    const int code = errno;
    close(descriptor);
    removeUnfinished();
    hasUnfinishedFile = 0;
    throw Failure(name_, systemError(code));
}

/// Has `make` make a file with a hidden name beside the place; it returns false and sets `errno` when it can't.
void OutputFile::takeHiddenName(const std::function<bool(const char*)>& make) {
    const fs::path folder = place_.parent_path();
    removeLeftovers(folder.empty() ? "." : folder);
    do {
        hidden_ = folder / hiddenName();
        errno = hidden_.native().size() < sizeof unfinishedFile ? 0 : ENAMETOOLONG;
        if (errno != 0) break;
        removeAtSignals(hidden_);
        if (make(hidden_.c_str())) return;
    } while (errno == EEXIST);
    const int code = errno;
    hasUnfinishedFile = 0;
    hidden_.clear();
    throw Failure(name_, systemError(code));
}

bool OutputFile::hasOlder() const {
    std::error_code ignored;
    return !isDirect_ && fs::exists(place_, ignored);
}

void OutputFile::keep() {
    name(place_);
}

std::string OutputFile::keepAs(const std::string& word) {
    fs::path place = place_;
    place.replace_filename(place_.stem().string() + "." + word + place_.extension().string());
    name(place);
    return place.string();
}

void OutputFile::name(const fs::path& place) {
    errno = 0;
    if (std::fflush(stream_) != 0) failWithSystemError("can't be written");
    if (isDirect_) {  // pipes and terminals have nothing to bring to a disk
        if (std::fclose(std::exchange(stream_, nullptr)) != 0) failWithSystemError("can't be written");
        return;
    }
    if (fsync(fileno(stream_)) != 0) failWithSystemError("can't be written");
    if (hidden_.empty()) {
        const auto link = [this](const char* to) {
            return linkat(AT_FDCWD, path_.c_str(), AT_FDCWD, to, AT_SYMLINK_FOLLOW) == 0;
        };
        if (link(place.c_str())) return;
        if (errno != EEXIST) failWithSystemError("can't be given its name");
        takeHiddenName(link);  // a link replaces nothing, a new name does
    }
    if (std::rename(hidden_.c_str(), place.c_str()) != 0) failWithSystemError("can't be given its name");
    hasUnfinishedFile = 0;
    hidden_.clear();
}

void OutputFile::removeUnfinished() noexcept {
    if (hasUnfinishedFile) unlink(unfinishedFile);
}

void OutputFile::failWithSystemError(const std::string& otherwise) const {
    const int code = errno;
    throw Failure(name_, code != 0 ? systemError(code) : otherwise);
}

}  // namespace ondrix::tools
