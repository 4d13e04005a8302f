#include <ondrix/core/FrameworkBundle.h>

namespace ondrix {

namespace {

constexpr char codeOfTheFramework = 0;

}  // namespace

std::shared_ptr<NSBundle> frameworkBundle() {
    return NSBundle::bundleForClass({&codeOfTheFramework});
}

}  // namespace ondrix
