#include "FolderWatch.h"

#include <cerrno>
#include <system_error>
#include <utility>

#include <sys/inotify.h>
#include <unistd.h>

#include "tools/system/Failure.h"

namespace ondrix::tools {
namespace {

constexpr int quietMilliseconds = 50;  // a pause so long ends a series of saves
constexpr int mostPauses = 20;         // after which a series without an end is taken as one

/// Editors also write backups, locks and probes there, with other endings or hidden.
bool isSource(const std::filesystem::path& file) {
    if (file.native().starts_with('.')) return false;
    for (const char* ending : {".cpp", ".h", ".cc", ".cxx", ".hpp", ".hh", ".inl"}) {
        if (file.extension() == ending) return true;
    }
    return false;
}

}  // namespace

FolderWatch::FolderWatch(std::filesystem::path folder)
    : folder_(std::move(folder)), descriptor_(inotify_init1(IN_CLOEXEC | IN_NONBLOCK)) {
    // A file is saved by writing it, or by moving another over it.
    constexpr std::uint32_t wanted = IN_CLOSE_WRITE | IN_MOVED_TO | IN_DELETE_SELF | IN_MOVE_SELF | IN_ONLYDIR;
    if (descriptor_ >= 0 && inotify_add_watch(descriptor_, folder_.c_str(), wanted) >= 0) return;
    const std::string reason = std::generic_category().message(errno);
    if (descriptor_ >= 0) close(descriptor_);
    throw Failure(folder_.string(), "can't be watched: " + reason);
}

FolderWatch::~FolderWatch() {
    close(descriptor_);
}

bool FolderWatch::waitForSave(const Event& end) {
    bool isSaved = false;
    while (!isSaved) {
        if (!waitToRead(descriptor_, end, -1)) return false;
        isSaved = takeEvents();
    }
    for (int pause = 0; pause < mostPauses && waitToRead(descriptor_, end, quietMilliseconds); ++pause)
        (void)takeEvents();
    return !end.hasHappened();
}

bool FolderWatch::takeEvents() {
    alignas(inotify_event) char bytes[4096];
    bool concernsSource = false;
    for (ssize_t count = 0; (count = read(descriptor_, bytes, sizeof bytes)) > 0;) {
        for (ssize_t at = 0; at < count;) {
            const auto* const event = reinterpret_cast<const inotify_event*>(bytes + at);
            at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
            if ((event->mask & (IN_DELETE_SELF | IN_MOVE_SELF | IN_IGNORED)) != 0)
                throw Failure(folder_.string(), "is gone");
            const bool mayBeAny = (event->mask & IN_Q_OVERFLOW) != 0;
            if (mayBeAny || (event->len > 0 && isSource(event->name))) concernsSource = true;
        }
    }
    return concernsSource;
}

}  // namespace ondrix::tools
