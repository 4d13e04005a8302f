#pragma once

#include <ondrix/Ondrix.h>

#include "Settings.h"

/// A pass with a property of its own: "gain", a float that every colour is multiplied by. The ready-made passes have no
/// properties, so this class holds one and forwards to it.
class GainPass : public ondrix::Pass {
public:
    /// Null when `library` lacks the function.
    static std::shared_ptr<GainPass> create(const std::shared_ptr<ondrix::Device>& device,
                                            ondrix::ShaderLibrary& library, std::shared_ptr<ondrix::Texture> input,
                                            const std::shared_ptr<ondrix::Texture>& output);

    void set(const std::string& property, const std::any& value) override;
    [[nodiscard]] std::any get(const std::string& property) const override;
    [[nodiscard]] bool has(const std::string& property) const override { return property == "gain"; }

    [[nodiscard]] bool encode(ondrix::MTLCommandBuffer& commandBuffer) override { return pass_->encode(commandBuffer); }
    void sourceResolutionDidChange(ondrix::Int, ondrix::Int) override {}
    void outputResolutionDidChange(ondrix::Int, ondrix::Int) override {}

private:
    std::shared_ptr<ondrix::ComputePass> pass_;
    std::shared_ptr<ondrix::ConstantBuffer> buffer_;
    Settings settings_{1.0f};
};
