#pragma once

#include <functional>
#include <thread>

#include "FolderWatch.h"
#include "SourceLibrary.h"

namespace ondrix::tools {

/// Builds a library on a thread of its own whenever its source is saved, while the main run loop does something else.
/// For the main thread.
class LiveFunction {
public:
    /// Builds at once, unless `end` happens first. `onBuilt` is called after each build, whether or not it succeeded:
    /// now, and later on the main run loop. `source` is held by the caller and not to be used meanwhile. Throws
    /// `Failure` when its folder can't be watched, or there is no compiler.
    LiveFunction(SourceLibrary& source, std::function<void(const SourceLibrary::Build&)> onBuilt, const Event& end);
    /// Ends a build that is running. The run loop must not run any more.
    ~LiveFunction();
    LiveFunction(const LiveFunction&) = delete;
    LiveFunction& operator=(const LiveFunction&) = delete;

private:
    void work();

    SourceLibrary& source_;
    std::function<void(const SourceLibrary::Build&)> onBuilt_;
    FolderWatch watch_;
    Event end_;
    std::thread thread_;
};

}  // namespace ondrix::tools
