#pragma once

#include <memory>
#include <string>
#include <vector>

#include <ondrix/passes/Effect.h>

#include "Session.h"

namespace ondrix::effects {
struct EffectDescription;
struct Parameter;
}  // namespace ondrix::effects

namespace ondrix::tools {

/// An effect that the user asked for, with the values of some of its parameters. What it points to lives as long as the
/// process.
struct EffectRequest {
    struct Setting {
        const effects::Parameter* parameter = nullptr;
        float number = 0;  ///< in range
        std::string file;  ///< of a table or a picture
    };

    const effects::EffectDescription* effect = nullptr;
    std::vector<Setting> settings;  ///< with everything that has no default
};

/// What happens to a picture after it was drawn: effects in the user's order, then a function of the user's own. Two
/// textures of the output's size take turns. Failures are `Failure`s.
class EffectChain {
public:
    /// Needs the session, which is kept, with its device open. Failures are put down to `file`.
    EffectChain(Session& session, const std::vector<EffectRequest>& requests, PictureSize size, std::string file);

    /// What the picture is drawn into.
    [[nodiscard]] const std::shared_ptr<Texture>& input() const noexcept { return textures_[0]; }
    /// Where the picture is after all that. The first `setFunction` makes it the other texture.
    [[nodiscard]] const std::shared_ptr<Texture>& output() const noexcept;

    /// From now on the chain ends with the function of the library in `folder`, which replaces that of an earlier call.
    /// The earlier one stays where the new one can't be made or can't run with these two textures.
    void setFunction(const LibraryOptions& options, const std::filesystem::path& folder);
    void resize(PictureSize size);
    [[nodiscard]] bool isEmpty() const noexcept { return passes_.empty() && function_ == nullptr; }
    /// Records all of it.
    void encode(MTLCommandBuffer& commandBuffer);
    /// What a failure of that work is put down to.
    [[nodiscard]] const std::string& subject() const noexcept { return function_ != nullptr ? library_ : file_; }

private:
    Session& session_;
    std::string file_;
    std::shared_ptr<Texture> textures_[2];
    std::vector<std::shared_ptr<Pass>> passes_;
    std::shared_ptr<Effect> effects_;
    std::shared_ptr<Effect> function_;  ///< null without one
    std::string library_;               ///< what the function's failures are put down to
};

}  // namespace ondrix::tools
