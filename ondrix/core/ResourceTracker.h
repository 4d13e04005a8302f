#pragma once

#include <memory>
#include <mutex>
#include <vector>

#include <ondrix/base/Identity.h>
#include <ondrix/core/ManagedResource.h>

namespace ondrix {

/// A debugging registry of resources. It holds them weakly and prints those still alive; an entry outlives its resource
/// until the next report. Safe to use from any thread: every operation holds one lock, and none may be called from
/// within another.
class ResourceTracker final {
public:
    ResourceTracker() = default;
    ResourceTracker(const ResourceTracker&) = delete;
    ResourceTracker& operator=(const ResourceTracker&) = delete;

    /// Appends an entry, also for an object that already has one.
    void track(const std::shared_ptr<ManagedResource>& resource);
    /// Removes the first entry of this very object, if there is one.
    void untrack(const ManagedResource& resource);
    /// Forgets entries whose resource is gone and writes the others, by position and class, to standard output.
    void printTrackedResources();

private:
    struct ResourceInfo {
        Identity id;
        std::weak_ptr<ManagedResource> resource;
    };

    std::vector<ResourceInfo> resources_;
    std::mutex lock_;
};

}  // namespace ondrix
