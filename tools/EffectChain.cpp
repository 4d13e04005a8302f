#include "EffectChain.h"

#include <utility>

#include "EffectPasses.h"

namespace ondrix::tools {

EffectChain::EffectChain(Session& session, const std::vector<EffectRequest>& requests, PictureSize size,
                         std::string file)
    : session_(session),
      file_(std::move(file)),
      textures_{session.makeOutput(size, file_), session.makeOutput(size, file_)},
      passes_(makeEffectPasses(session, requests, textures_[0], textures_[1], file_)),
      effects_(Effect::create(textures_[0]->device())) {
    for (std::size_t index = 0; index < passes_.size(); ++index) effects_->add(passes_[index], std::to_string(index));
}

const std::shared_ptr<Texture>& EffectChain::output() const noexcept {
    return textures_[(passes_.size() + (function_ != nullptr ? 1 : 0)) % 2];
}

void EffectChain::setFunction(const LibraryOptions& options, const std::filesystem::path& folder) {
    const std::size_t last = passes_.size() % 2;
    auto function = session_.makeFunctionEffect(options, folder, textures_[last], textures_[1 - last]);
    session_.run(*function, options.library);
    function_ = std::move(function);
    library_ = options.library;
}

void EffectChain::resize(PictureSize size) {
    if (textures_[0]->width() == size.width && textures_[0]->height() == size.height) return;
    for (const auto& texture : textures_) {
        if (!texture->resize(size.width, size.height))
            session_.fail(file_, "no memory for a picture of " + description(size));
    }
    for (const auto& pass : passes_) {
        pass->sourceResolutionDidChange(size.width, size.height);
        pass->outputResolutionDidChange(size.width, size.height);
    }
}

void EffectChain::run() {
    if (!passes_.empty()) session_.run(*effects_, file_);
    if (function_ != nullptr) session_.run(*function_, library_);
}

}  // namespace ondrix::tools
