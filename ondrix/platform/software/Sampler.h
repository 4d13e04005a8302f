#pragma once

#include <memory>

#include <ondrix/platform/metal/MTLSampler.h>
#include <ondrix/shading/Module.h>

namespace ondrix::software {

/// A sampler as shader modules read it.
class Sampler final : public MTLSamplerState {
public:
    /// Null when a value is outside its enumeration or the anisotropy is not 1 to 16.
    static std::shared_ptr<Sampler> create(const MTLSamplerDescriptor& descriptor);

    [[nodiscard]] const shading::SamplerView& view() const noexcept { return view_; }

private:
    explicit Sampler(const shading::SamplerView& view) : view_(view) {}

    shading::SamplerView view_;
};

}  // namespace ondrix::software
