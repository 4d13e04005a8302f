#pragma once

#include <filesystem>
#include <string>

#include "tools/system/Event.h"

namespace ondrix::tools {

/// Waits for somebody to save C++ sources or headers in a folder, but not in the folders below it. Saves are noticed
/// from construction on, also while nobody waits. Used by one thread at a time.
class FolderWatch {
public:
    /// Throws `Failure` when the folder can't be watched.
    explicit FolderWatch(std::filesystem::path folder);
    ~FolderWatch();
    FolderWatch(const FolderWatch&) = delete;
    FolderWatch& operator=(const FolderWatch&) = delete;

    /// Files that are saved in quick succession end one wait. False when `end` happened first. Throws
    /// `Failure` when the folder is gone.
    [[nodiscard]] bool waitForSave(const Event& end);

private:
    /// Whether what has happened so far concerns a source.
    [[nodiscard]] bool takeEvents();

    std::filesystem::path folder_;
    int descriptor_;
};

}  // namespace ondrix::tools
