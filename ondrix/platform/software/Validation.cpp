#include <algorithm>
#include <new>
#include <string>

#include <ondrix/platform/software/ProblemLog.h>
#include <ondrix/platform/software/Validation.h>

namespace ondrix::software {

namespace {

using shading::Check;
using shading::Finding;
using shading::TextureView;

std::string pair(std::int64_t x, std::int64_t y) {
    return "(" + std::to_string(x) + ", " + std::to_string(y) + ")";
}

std::string slotAndSize(int slot, const TextureView& view) {
    return "texture slot " + std::to_string(slot) + " (" + std::to_string(view.width) + "x" +
           std::to_string(view.height) + ")";
}

std::string place(const Finding& finding) {
    return finding.pixelY < 0 ? "for vertex " + std::to_string(finding.pixelX)
                              : "for pixel " + pair(finding.pixelX, finding.pixelY);
}

/// Reading and writing outside is defined, and common at the edges of filters: it is told as information.
os::LogType typeOf(Check check) {
    return check == Check::readOutside || check == Check::writtenOutside ? os::LogType::info : os::LogType::error;
}

std::string describe(Check check, const Finding& finding, const std::string& texture, shading::Reach reach) {
    const std::string count = std::to_string(finding.count), position = pair(finding.x, finding.y);
    switch (check) {
        case Check::readOutside:
            return "reads " + texture + " at positions outside, which give zero: " + count + " times, first " +
                   position + " " + place(finding) + ", at most " + std::to_string(finding.distance) +
                   " from its edges";
        case Check::writtenOutside:
            return "writes " + texture + " at positions outside, which is left out: " + count + " times, first " +
                   position;
        case Check::writtenElsewhere:
            return "writes " + texture +
                   " at positions other than its own, so the result depends on threads and SIMD " + "level: " + count +
                   " times, first " + position + " " + place(finding);
        case Check::readElsewhere:
            if (reach == shading::Reach::near) {
                return "reads " + texture +
                       " in rows further away than its NearRows say, so the result depends on threads: " + count +
                       " times, first " + position + " " + place(finding);
            }
            return "reads " + texture +
                   " at positions other than its own, against Reach::own, so the result depends on threads: " + count +
                   " times, first " + position + " " + place(finding);
        case Check::sampledNowhere:
            break;
    }
    return "samples " + texture + " at coordinates that are infinite or not numbers: " + count + " times, first " +
           place(finding);
}

bool isTexture(const shading::Parameter& parameter) {
    return parameter.kind == shading::ParameterKind::texture || parameter.kind == shading::ParameterKind::target;
}

}  // namespace

void prepareReport(BoundFunction& function, std::pmr::memory_resource& memory) {
    function.bindings.report =
        new (memory.allocate(sizeof(shading::Report), alignof(shading::Report))) shading::Report();
}

void tellFindings(const BoundFunction& function) noexcept {
    if (function.bindings.report == nullptr) return;
    try {
        for (const shading::Parameter& parameter : parameters(*function.entry)) {
            if (!isTexture(parameter)) continue;
            const auto slot = static_cast<int>(parameter.slot);
            for (int index = 0; index < shading::checkCount; ++index) {
                const Finding& finding = function.bindings.report->findings[index][slot];
                if (finding.count == 0) continue;
                const auto check = static_cast<Check>(index);
                const std::string name = std::string(function.entry->name) + ": ";
                const std::string texture = slotAndSize(slot, function.bindings.textures[slot]);
                function.problems->finding(typeOf(check), name + std::to_string(index) + "/" + std::to_string(slot),
                                           name + describe(check, finding, texture, shading::reachOf(parameter.size)));
            }
        }
    } catch (const std::bad_alloc&) {
        // Nothing is told then; the work itself is done.
    }
}

WrittenPixels::WrittenPixels(const DispatchCommand& command) noexcept : command_(command) {
    shading::Report* const report = command.function.bindings.report;
    if (report == nullptr) return;
    try {
        pixels_.resize(shading::textureSlots);
        for (const shading::Parameter& parameter : parameters(*command.function.entry)) {
            if (parameter.kind != shading::ParameterKind::target) continue;
            const TextureView& view = command.function.bindings.textures[parameter.slot];
            auto& written = pixels_[parameter.slot];
            written.resize(static_cast<std::size_t>(view.width) * static_cast<std::size_t>(view.height));
            report->written[parameter.slot] = written.data();
        }
    } catch (const std::bad_alloc&) {
        // Targets that have got no bytes aren't watched.
    }
}

WrittenPixels::~WrittenPixels() {
    if (command_.function.bindings.report == nullptr) return;
    std::fill_n(command_.function.bindings.report->written, shading::textureSlots, nullptr);
}

void WrittenPixels::tell() const noexcept {
    try {
        for (std::size_t slot = 0; slot < pixels_.size(); ++slot) {
            const auto& written = pixels_[slot];
            const auto first = std::find(written.begin(), written.end(), std::uint8_t{0});
            if (first == written.end()) continue;
            const TextureView& view = command_.function.bindings.textures[slot];
            const auto count = std::count(first, written.end(), std::uint8_t{0});
            const std::int64_t index = first - written.begin();
            const std::string name = std::string(command_.function.entry->name) + ": ";
            command_.function.problems->finding(
                os::LogType::info, name + "unwritten/" + std::to_string(slot),
                name + "leaves " + std::to_string(count) + " pixels of " + slotAndSize(static_cast<int>(slot), view) +
                    " as they were, first " + pair(index % view.width, index / view.width) + "; the grid is " +
                    std::to_string(command_.width) + "x" + std::to_string(command_.height));
        }
    } catch (const std::bad_alloc&) {
        // Nothing is told then.
    }
}

}  // namespace ondrix::software
