#include "OutputFile.h"

#include <array>
#include <cerrno>
#include <system_error>
#include <utility>

#include <fcntl.h>
#include <limits.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include "Failure.h"

namespace ondrix::tools {
namespace {

constexpr std::array interruptions{SIGINT, SIGTERM, SIGHUP};

// What an interruption has to remove; a handler may only read plain memory.
char unfinishedFile[PATH_MAX];
volatile sig_atomic_t hasUnfinishedFile = 0;

extern "C" void removeUnfinishedFile(int signal) {
    if (hasUnfinishedFile) unlink(unfinishedFile);
    raise(signal);  // the handler is gone by now, so this ends the program
}

/// Changes what happens at interruptions: everywhere, or only where nothing else does.
void removeAtInterruptions(bool everywhere) noexcept {
    struct sigaction action {};
    action.sa_handler = removeUnfinishedFile;
    action.sa_flags = static_cast<int>(SA_RESETHAND);
    for (const int signal : interruptions) {
        struct sigaction present {};
        sigaction(signal, nullptr, &present);
        if (present.sa_handler == SIG_DFL || (everywhere && present.sa_handler != SIG_IGN))
            sigaction(signal, &action, nullptr);
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

}  // namespace

OutputFile::OutputFile(std::string path) : name_(std::move(path)), place_(name_) {
    std::error_code error;
    const auto status = std::filesystem::status(place_, error);
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status)) {
        stream_ = std::fopen(name_.c_str(), "wb");
        if (stream_ == nullptr) failWithSystemError("can't be opened");
        return;
    }
    if (std::filesystem::exists(status)) {
        place_ = std::filesystem::canonical(place_, error);  // a link stays a link
        if (error) throw Failure(name_, error.message());
        if (access(place_.c_str(), W_OK) != 0) failWithSystemError("can't be written");
    }
    openTemporary();
}

OutputFile::~OutputFile() {
    if (stream_ != nullptr) std::fclose(stream_);
    if (!temporary_.empty()) {
        unlink(temporary_.c_str());
        hasUnfinishedFile = 0;
    }
}

void OutputFile::openTemporary() {
    std::string pattern = (place_.parent_path() / ".ondrix-XXXXXX").string();
    if (pattern.size() >= sizeof unfinishedFile) throw Failure(name_, systemError(ENAMETOOLONG));
    removeAtInterruptions(false);

    const int descriptor = mkstemp(pattern.data());
    if (descriptor < 0) failWithSystemError("can't be made");
    memcpy(unfinishedFile, pattern.c_str(), pattern.size() + 1);
    hasUnfinishedFile = 1;
    temporary_ = pattern;

    struct stat old {};
    const mode_t mode = stat(place_.c_str(), &old) == 0 ? static_cast<mode_t>(old.st_mode & 0777) : usualMode();
    if (fchmod(descriptor, mode) == 0) stream_ = fdopen(descriptor, "wb");
    if (stream_ == nullptr) {
        const int code = errno;
        close(descriptor);
        unlink(temporary_.c_str());
        hasUnfinishedFile = 0;
        throw Failure(name_, systemError(code));
    }
}

void OutputFile::keep() {
    errno = 0;
    if (std::fflush(stream_) != 0) failWithSystemError("can't be written");
    // Pipes and terminals have nothing to bring to a disk.
    if (!temporary_.empty() && fsync(fileno(stream_)) != 0) failWithSystemError("can't be written");
    if (std::fclose(std::exchange(stream_, nullptr)) != 0) failWithSystemError("can't be written");
    if (temporary_.empty()) return;
    if (std::rename(temporary_.c_str(), place_.c_str()) != 0) failWithSystemError("can't be given its name");
    hasUnfinishedFile = 0;
    temporary_.clear();
}

void OutputFile::endAtInterruptions() noexcept {
    removeAtInterruptions(true);
}

void OutputFile::failWithSystemError(const std::string& otherwise) const {
    const int code = errno;
    throw Failure(name_, code != 0 ? systemError(code) : otherwise);
}

}  // namespace ondrix::tools
