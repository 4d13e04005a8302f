#include "EffectPasses.h"

#include <any>
#include <utility>

#include <ondrix/effects/EffectCatalog.h>
#include <ondrix/effects/LookUpTable.h>

#include "Failure.h"

namespace ondrix::tools {
namespace {

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

}  // namespace

std::vector<std::shared_ptr<Pass>> makeEffectPasses(Session& session, const std::vector<EffectRequest>& requests,
                                                    const std::shared_ptr<Texture>& first,
                                                    const std::shared_ptr<Texture>& second, const std::string& file) {
    if (requests.empty()) return {};
    const auto& device = first->device();
    const auto library = effects::makeEffectLibrary(*device);
    if (library == nullptr) session.fail(file, "the library of effects can't be opened");

    std::vector<std::shared_ptr<Pass>> passes;
    auto input = first, output = second;
    for (const EffectRequest& request : requests) {
        auto pass = request.effect->make(device, *library, input, output);
        if (pass == nullptr) session.fail(file, "no effect " + std::string(request.effect->name));
        for (const auto& setting : request.settings)
            pass->set(std::string(setting.parameter->name), valueOf(setting, session));
        passes.push_back(std::move(pass));
        std::swap(input, output);
    }
    return passes;
}

}  // namespace ondrix::tools
