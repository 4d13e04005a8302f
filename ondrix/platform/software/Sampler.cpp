#include <ondrix/platform/os/OutOfMemory.h>
#include <ondrix/platform/software/Sampler.h>

namespace ondrix::software {

std::shared_ptr<Sampler> Sampler::create(const MTLSamplerDescriptor& descriptor) {
    const bool known = descriptor.minFilter <= MTLSamplerMinMagFilter::linear &&
                       descriptor.magFilter <= MTLSamplerMinMagFilter::linear &&
                       descriptor.sAddressMode <= MTLSamplerAddressMode::clampToBorderColor &&
                       descriptor.tAddressMode <= MTLSamplerAddressMode::clampToBorderColor &&
                       descriptor.borderColor <= MTLSamplerBorderColor::opaqueWhite && descriptor.maxAnisotropy >= 1 &&
                       descriptor.maxAnisotropy <= 16;
    if (!known) return nullptr;
    const shading::SamplerView view{
        static_cast<std::uint8_t>(descriptor.minFilter), static_cast<std::uint8_t>(descriptor.magFilter),
        static_cast<std::uint8_t>(descriptor.sAddressMode), static_cast<std::uint8_t>(descriptor.tAddressMode),
        static_cast<std::uint8_t>(descriptor.borderColor)};
    return os::orAbsent([&] { return std::shared_ptr<Sampler>(new Sampler(view)); });
}

}  // namespace ondrix::software
