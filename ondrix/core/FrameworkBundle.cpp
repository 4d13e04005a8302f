#include <ondrix/conversion/MetalTextureConverter.h>
#include <ondrix/core/FrameworkBundle.h>

namespace ondrix {

std::shared_ptr<NSBundle> frameworkBundle() {
    return NSBundle::bundleForClass(MetalTextureConverter::anyClass());
}

}  // namespace ondrix
