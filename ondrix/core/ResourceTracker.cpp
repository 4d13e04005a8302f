#include <algorithm>
#include <cstdio>
#include <string>

#include <ondrix/base/ClassName.h>
#include <ondrix/core/ResourceTracker.h>

namespace ondrix {

void ResourceTracker::track(const std::shared_ptr<ManagedResource>& resource) {
    const std::lock_guard lock(lock_);
    resources_.push_back({identity(*resource), resource});
}

void ResourceTracker::untrack(const ManagedResource& resource) {
    const std::lock_guard lock(lock_);
    const auto found = std::find_if(resources_.begin(), resources_.end(),
                                    [id = identity(resource)](const ResourceInfo& info) { return info.id == id; });
    if (found != resources_.end()) resources_.erase(found);
}

void ResourceTracker::printTrackedResources() {
    // Declared before the lock: the last reference to a resource may drop here, and its destructor may use the tracker.
    std::vector<std::shared_ptr<ManagedResource>> alive;
    const std::lock_guard lock(lock_);
    // Whatever needs memory comes before the list is touched.
    const std::string doubleLine(80, '=');
    const std::string singleLine(80, '-');
    alive.reserve(resources_.size());
    std::erase_if(resources_, [&alive](const ResourceInfo& info) {
        std::shared_ptr<ManagedResource> resource = info.resource.lock();
        if (resource == nullptr) return true;
        alive.push_back(std::move(resource));
        return false;
    });

    std::printf("%s\n Tracked resources:\n%s\n", doubleLine.c_str(), singleLine.c_str());
    int position = 0;
    for (const auto& resource : alive) std::printf(" - %3d: %s\n", position++, className(*resource).c_str());
    std::printf("%s\n %zu resources tracked in total.\n%s\n", singleLine.c_str(), alive.size(), doubleLine.c_str());
}

}  // namespace ondrix
