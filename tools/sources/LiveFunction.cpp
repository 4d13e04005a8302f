#include "LiveFunction.h"

#include <exception>
#include <utility>

#include <ondrix/platform/foundation/NSRunLoop.h>

#include "tools/system/Failure.h"

namespace ondrix::tools {

LiveFunction::LiveFunction(SourceLibrary& source, std::function<void(const SourceLibrary::Build&)> onBuilt,
                           const Event& end)
    : source_(source), onBuilt_(std::move(onBuilt)), watch_(source.watchedFolder()) {
    const auto build = source_.build(end);
    if (!build) return;
    onBuilt_(*build);
    thread_ = std::thread([this] { work(); });
}

LiveFunction::~LiveFunction() {
    end_.announce();
    if (thread_.joinable()) thread_.join();
}

void LiveFunction::work() {
    try {
        while (watch_.waitForSave(end_)) {
            if (auto build = source_.build(end_))
                NSRunLoop::main().perform([this, built = std::move(*build)] { onBuilt_(built); });
        }
    } catch (const std::exception& failure) {
        complain(failure.what());
    }
}

}  // namespace ondrix::tools
