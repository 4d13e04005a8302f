#include "EffectChain.h"

#include <any>
#include <utility>

#ifdef ONDRIX_EFFECTS
#include <ondrix/effects/EffectCatalog.h>
#include <ondrix/effects/LookUpTable.h>
#endif

#include "tools/system/Failure.h"

namespace ondrix::tools {
namespace {

#ifdef ONDRIX_EFFECTS
std::any valueOf(const EffectRequest::Setting& setting, Session& session) {
    switch (setting.parameter->kind) {
        case effects::ParameterKind::number:
            return setting.number;
        case effects::ParameterKind::picture:
            return session.loadPicture(setting.file);
        case effects::ParameterKind::table:
            break;
    }
    std::string reason;
    auto table = effects::LookUpTable::read(setting.file, reason);
    if (table == nullptr) throw Failure(setting.file, reason);
    return table;
}

/// The passes of the requested effects, in order: the first draws `first` into `second`, the next back, and so on.
/// Throws `Failure` for a table or a picture that can't be read, and with `file` as its subject when the effects can't
/// be made.
std::vector<std::shared_ptr<Pass>> makeEffectPasses(Session& session, const std::vector<EffectRequest>& requests,
                                                    const std::shared_ptr<Texture>& first,
                                                    const std::shared_ptr<Texture>& second, const std::string& file) {
    if (requests.empty()) return {};
    const auto& device = first->device();
    const auto library = orFail(file, [&](NSError* error) { return effects::makeEffectLibrary(*device, error); });

    std::vector<std::shared_ptr<Pass>> passes;
    auto input = first, output = second;
    for (const EffectRequest& request : requests) {
        auto pass = orFail(
            file, [&](NSError* error) { return request.effect->makePass(device, *library, input, output, error); });
        for (const auto& setting : request.settings)
            pass->set(std::string(setting.parameter->name), valueOf(setting, session));
        passes.push_back(std::move(pass));
        std::swap(input, output);
    }
    return passes;
}

#else
std::vector<std::shared_ptr<Pass>> makeEffectPasses(Session&, const std::vector<EffectRequest>&,
                                                    const std::shared_ptr<Texture>&, const std::shared_ptr<Texture>&,
                                                    const std::string&) {
    return {};
}
#endif

}  // namespace

EffectChain::EffectChain(Session& session, const std::vector<EffectRequest>& requests, PictureSize size,
                         std::string file)
    : session_(session),
      file_(std::move(file)),
      textures_{session.makeOutput(size, file_), session.makeOutput(size, file_)},
      passes_(makeEffectPasses(session, requests, textures_[0], textures_[1], file_)),
      effects_(orFail(file_, [&](NSError* error) { return Effect::create(textures_[0]->device(), error); })) {
    for (std::size_t index = 0; index < passes_.size(); ++index) effects_->add(passes_[index], std::to_string(index));
}

const std::shared_ptr<Texture>& EffectChain::output() const noexcept {
    return textures_[(passes_.size() + (function_ != nullptr ? 1 : 0)) % 2];
}

void EffectChain::setFunction(const LibraryOptions& options, const std::filesystem::path& folder) {
    const std::size_t last = passes_.size() % 2;
    auto function = session_.makeFunctionEffect(options, folder, textures_[last], textures_[1 - last]);
    runToEnd(*function, options.library);
    function_ = std::move(function);
    library_ = options.library;
}

void EffectChain::resize(PictureSize size) {
    if (textures_[0]->width() == size.width && textures_[0]->height() == size.height) return;
    for (const auto& texture : textures_) {
        orFail(file_, [&](NSError* error) { return texture->resize({size.width, size.height}, error); });
    }
    for (const auto& pass : passes_) {
        pass->sourceResolutionDidChange(size.width, size.height);
        pass->outputResolutionDidChange(size.width, size.height);
    }
}

void EffectChain::encode(MTLCommandBuffer& commandBuffer) {
    const auto encode = [&commandBuffer](Effect& effect, const std::string& file) {
        orFail(file, [&](NSError* error) { return effect.encode(commandBuffer, error); });
    };
    if (!passes_.empty()) encode(*effects_, file_);
    if (function_ != nullptr) encode(*function_, library_);
}

}  // namespace ondrix::tools
