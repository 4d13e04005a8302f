#include <ondrix/core/FrameworkBundle.h>
#include <ondrix/platform/os/OutOfMemory.h>

namespace ondrix {

namespace {

constexpr char codeOfTheFramework = 0;

}  // namespace

std::shared_ptr<NSBundle> frameworkBundle() {
    return os::orThrow([] { return NSBundle::bundleForClass({&codeOfTheFramework}); });
}

}  // namespace ondrix
