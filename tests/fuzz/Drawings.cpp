// The same bytes from every SIMD level and number of threads, and from a device that validates: draws and dispatches
// over textures of all formats, sizes and strides, and chains of effects.
#include <cmath>
#include <utility>

#include <tests/device/Gpu.h>
#include <tests/support/GuardedMemory.h>
#include <tests/support/SimdLevels.h>

#include <ondrix/Ondrix.h>
#include <ondrix/effects/EffectCatalog.h>
#include <ondrix/effects/LookUpTable.h>
#include <ondrix/platform/corevideo/IOSurface.h>

#include "FuzzTarget.h"

using namespace ondrix;
using namespace ondrix::test;

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr MTLPixelFormat formats[] = {
    MTLPixelFormat::bgra8Unorm,      MTLPixelFormat::rgba8Unorm,  MTLPixelFormat::bgra8Unorm_srgb,
    MTLPixelFormat::rgba16Float,     MTLPixelFormat::rgba32Float, MTLPixelFormat::r8Unorm,
    MTLPixelFormat::r8Unorm_srgb,    MTLPixelFormat::r16Float,    MTLPixelFormat::rg8Unorm,
    MTLPixelFormat::rg8Unorm_srgb,   MTLPixelFormat::r32Float,    MTLPixelFormat::rg16Float,
    MTLPixelFormat::rgba8Unorm_srgb, MTLPixelFormat::rg32Float,   MTLPixelFormat::r16Unorm,
    MTLPixelFormat::rg16Unorm,       MTLPixelFormat::rgba16Unorm};
constexpr std::int64_t mostPixels = 1 << 12;  // effects that count or reach far take seconds for more, sanitized

/// Makes all NaNs the same: which of its NaNs an operation hands on is up to the compiler.
void unifyNaNs(std::uint8_t* bytes, std::size_t size, MTLPixelFormat format) {
    const auto unify = [&]<class Bits>(Bits infinity, Bits nan) {
        for (; size >= sizeof(Bits); bytes += sizeof(Bits), size -= sizeof(Bits)) {
            Bits value;
            std::memcpy(&value, bytes, sizeof value);
            if (static_cast<Bits>(value << 1) > static_cast<Bits>(infinity << 1)) std::memcpy(bytes, &nan, sizeof nan);
        }
    };
    switch (pixelFormatInfo(format)->componentType) {
        case MTLComponentType::float16:
            return unify(std::uint16_t{0x7C00}, std::uint16_t{0x7E00});
        case MTLComponentType::float32:
            return unify(std::uint32_t{0x7F800000}, std::uint32_t{0x7FC00000});
        case MTLComponentType::unorm8:
        case MTLComponentType::unorm16:
            break;
    }
}

struct Size {
    std::int64_t width, height;
};

/// Up to 16384 pixels a side, mostly small, or with the rows of several strips.
Size size(FuzzInput& input) {
    Size size{input.number(1, 64), input.number(1, 64)};
    if (input.rarely(3)) size = {input.number(1, 16), input.number(64, 256)};
    if (input.rarely(8)) (input.flag() ? size.width : size.height) = input.number(1, 16384);
    if (size.width * size.height > mostPixels) size.height = std::max<std::int64_t>(mostPixels / size.width, 1);
    return size;
}

/// Often the same size, turned, half or twice as large, for which there are ways of their own.
Size size(FuzzInput& input, Size other) {
    const auto kind = input.number(0, 7);
    if (kind == 0) return other;
    if (kind == 1) return {other.height, other.width};
    if (kind == 2) return {(other.width + 1) / 2, (other.height + 1) / 2};
    if (kind == 3 && std::max(other.width, other.height) <= 256) return {2 * other.width, 2 * other.height};
    return size(input);
}

/// One plane of an application's own memory between pages that can't be touched, with gaps between its rows.
class ForeignMemory : public IOSurface {
public:
    ForeignMemory(FuzzInput& input, Size size, MTLPixelFormat format)
        : format_(format),
          width_(static_cast<std::uint64_t>(size.width)),
          height_(static_cast<std::uint64_t>(size.height)),
          elementBytes_(static_cast<std::uint64_t>(pixelFormatInfo(format)->bytesPerPixel)),
          bytesPerRow_((width_ + static_cast<std::uint64_t>(input.rarely(4) ? input.number(0, 40) : 0)) *
                       elementBytes_),
          memory_(bytesPerRow_ * (height_ - 1) + width_ * elementBytes_,
                  input.flag() ? GuardedEnd::first : GuardedEnd::last) {
        input.fill(memory_.pages(), memory_.usable());
    }
    std::uint64_t planeCount() const override { return 1; }
    std::uint64_t widthOfPlane(std::uint64_t) const override { return width_; }
    std::uint64_t heightOfPlane(std::uint64_t) const override { return height_; }
    std::uint64_t bytesPerElementOfPlane(std::uint64_t) const override { return elementBytes_; }
    std::uint64_t bytesPerRowOfPlane(std::uint64_t) const override { return bytesPerRow_; }
    std::uint8_t* baseAddressOfPlane(std::uint64_t) const override { return memory_.bytes(); }
    /// With the gaps between the rows.
    [[nodiscard]] Bytes allBytes() const {
        Bytes bytes(memory_.pages(), memory_.pages() + memory_.usable());
        const std::ptrdiff_t start = memory_.bytes() - memory_.pages();
        unifyNaNs(bytes.data() + start, bytes.size() - static_cast<std::size_t>(start), format_);
        return bytes;
    }

private:
    MTLPixelFormat format_;
    std::uint64_t width_, height_, elementBytes_, bytesPerRow_;
    GuardedMemory memory_;
};

/// A device of one level and number of threads, as itself and as the framework's.
struct Form {
    std::string name;
    bool isReference;
    Gpu gpu;
    std::shared_ptr<Device> device;
    std::shared_ptr<ShaderLibrary> effects;

    Form(const std::string& level, int threads, bool reference = false)
        : name(level + ", " + std::to_string(threads) + " threads"),
          isReference(reference),
          gpu(threads, level == "checked" ? "" : level, level == "checked"),
          device(Device::create(gpu.device)),
          effects(effects::makeEffectLibrary(*device)) {}
};

Vertex vertex(FuzzInput& input) {
    const float w = input.rarely(4) ? input.real(0.1F, 3) : 1;
    return {input.real(-1.5F, 1.5F) * w,
            input.real(-1.5F, 1.5F) * w,
            input.real(0, 1) * w,
            w,
            {input.real(-2, 3), input.real(-2, 3), input.real(-2, 3), input.real(-2, 3)}};
}

/// Turns and scales, often by hardly anything.
void turn(FuzzInput& input, std::vector<Vertex>& vertices) {
    const float angle = input.real(-3, 3) * std::pow(10.0F, static_cast<float>(-input.number(0, 8)));
    const float scale = input.real(0.3F, 3), c = scale * std::cos(angle), s = scale * std::sin(angle);
    for (Vertex& vertex : vertices) {
        vertex.x = c * vertex.x + s * std::exchange(vertex.y, c * vertex.y - s * vertex.x);
    }
}

/// A render pass, and more of them and dispatches over its result, which the reference runs one by one.
Bytes draw(FuzzInput input, const Form& form) {
    const Gpu& gpu = form.gpu;
    std::vector<std::shared_ptr<ForeignMemory>> memories;
    Size sides{1, 1};
    const auto texture = [&](MTLPixelFormat format) {
        sides = size(input, sides);
        memories.push_back(std::make_shared<ForeignMemory>(input, sides, format));
        return gpu.device->makeTexture({format, static_cast<std::uint64_t>(sides.width),
                                        static_cast<std::uint64_t>(sides.height), false, MTLTextureUsage::unknown},
                                       memories.back(), 0);
    };
    const auto image = texture(input.oneOf(formats));
    const MTLPixelFormat format = input.oneOf(formats);
    const auto target = texture(format), copy = texture(input.oneOf(formats));
    MTLSamplerDescriptor sampler;
    sampler.minFilter = static_cast<MTLSamplerMinMagFilter>(input.number(0, 1));
    sampler.magFilter = static_cast<MTLSamplerMinMagFilter>(input.number(0, 1));
    sampler.sAddressMode = static_cast<MTLSamplerAddressMode>(input.number(0, 5));
    sampler.tAddressMode = static_cast<MTLSamplerAddressMode>(input.number(0, 5));
    sampler.borderColor = static_cast<MTLSamplerBorderColor>(input.number(0, 2));
    std::vector<Vertex> vertices = {
        {-1, 1, 0, 1, {0, 0}}, {-1, -1, 0, 1, {0, 1}}, {1, 1, 0, 1, {1, 0}}, {1, -1, 0, 1, {1, 1}}};
    if (input.flag()) turn(input, vertices);
    if (input.rarely(3)) vertices.clear();
    for (auto more = input.number(vertices.empty() ? 3 : 0, 9); more > 0; --more) vertices.push_back(vertex(input));
    std::vector<std::uint16_t> indices;
    for (std::size_t i = 0; i < vertices.size(); ++i) indices.push_back(static_cast<std::uint16_t>(i));

    auto commands = gpu.queue->makeCommandBuffer();
    const auto encoder =
        commands->makeRenderCommandEncoder({target,
                                            input.flag() ? MTLLoadAction::clear : MTLLoadAction::load,
                                            MTLStoreAction::store,
                                            {input.real(0, 1), input.real(0, 1), input.real(0, 1), input.real(0, 1)}});
    const bool isMixed = input.rarely(3);
    encoder->setRenderPipelineState(gpu.render("vertexTwoPairs", isMixed ? "fragmentMixed" : "fragmentSample", format));
    encoder->setVertexBuffer(gpu.buffer(vertices), 0, 0);
    encoder->setFragmentTexture(image, 0);
    encoder->setFragmentTexture(copy, 1);
    encoder->setFragmentSamplerState(gpu.device->makeSamplerState(sampler), 1);
    encoder->setFragmentSamplerState(gpu.device->makeSamplerState({}), 2);
    encoder->drawIndexedPrimitives(static_cast<MTLPrimitiveType>(input.number(0, 4)),
                                   static_cast<std::int64_t>(indices.size()), MTLIndexType::uint16, gpu.buffer(indices),
                                   0);
    encoder->endEncoding();
    const std::vector textures = {image, target, copy};
    for (auto count = input.number(1, 5); count > 0; --count) {
        if (form.isReference) {
            run(*commands);
            commands = gpu.queue->makeCommandBuffer();
        }
        constexpr const char* functions[] = {"neighbours", "scaleAndAdd", "pattern", "nearRows", "halfRows"};
        const std::string function = input.oneOf(functions);
        const auto from = static_cast<std::size_t>(input.number(0, 2));
        const auto& to = textures[(from + static_cast<std::size_t>(input.number(1, 2))) % 3];
        if (input.rarely(3)) {
            const auto shown = commands->makeRenderCommandEncoder({to, MTLLoadAction::load, MTLStoreAction::store, {}});
            shown->setRenderPipelineState(gpu.render("vertexTwoPairs", "fragmentShown", to->pixelFormat()));
            const float x = input.real(-2, 2), y = input.real(-2, 2);
            const std::vector<Vertex> quad = {
                {-x, y, 0, 1, {0, 0}}, {-x, -y, 0, 1, {0, 1}}, {x, y, 0, 1, {1, 0}}, {x, -y, 0, 1, {1, 1}}};
            shown->setVertexBuffer(gpu.buffer(quad), 0, 0);
            shown->setFragmentTexture(textures[from], 0);
            shown->setFragmentSamplerState(gpu.device->makeSamplerState(sampler), 1);
            shown->drawIndexedPrimitives(MTLPrimitiveType::triangleStrip, 4, MTLIndexType::uint16,
                                         gpu.buffer(std::vector<std::uint16_t>{0, 1, 2, 3}), 0);
            shown->endEncoding();
            continue;
        }
        gpu.dispatch(
            *commands, function, function == "pattern" ? std::vector{to} : std::vector{textures[from], to},
            gpu.buffer(std::vector{input.real(-2, 2), input.real(-1, 1)}),
            {static_cast<std::uint64_t>(input.number(1, 40)), static_cast<std::uint64_t>(input.number(1, 40)), 1});
    }
    commands->commit();
    commands->waitUntilCompleted();
    Bytes result{static_cast<std::uint8_t>(commands->status())};
    for (const auto& memory : memories) {
        const Bytes bytes = memory->allBytes();
        result.insert(result.end(), bytes.begin(), bytes.end());
    }
    return result;
}

void setParameters(FuzzInput& input, Pass& pass, const effects::EffectDescription& effect,
                   const std::shared_ptr<Texture>& picture) {
    for (const effects::Parameter& parameter : effect.parameters) {
        const std::string name(parameter.name);
        if (parameter.kind == effects::ParameterKind::number) {
            pass.set(name, input.real(parameter.minimum, parameter.maximum));
        } else if (parameter.kind == effects::ParameterKind::picture) {
            pass.set(name, picture);
        } else {
            effects::LookUpTable table;
            table.size = static_cast<int>(input.number(2, 5));
            table.colours.resize(static_cast<std::size_t>(3 * table.size * table.size * table.size));
            for (float& colour : table.colours) colour = input.real(0, 1);
            pass.set(name, std::shared_ptr<const effects::LookUpTable>(
                               std::make_shared<effects::LookUpTable>(std::move(table))));
        }
    }
}

/// A picture that is fitted, turned and mirrored, and up to three effects over the result.
Bytes apply(FuzzInput input, const Form& form) {
    const auto& device = form.device;
    const auto texture = [&](Size size) {
        return device->makeTexture(size.width, size.height, input.oneOf(formats), MTLTextureUsage::unknown);
    };
    const auto source = texture(size(input));
    const auto format = readPixels(*source, nullptr)->pixelFormat;
    const Int rowBytes = source->width() * pixelFormatInfo(format)->bytesPerPixel, gap = input.number(0, 9);
    Bytes bytes(static_cast<std::size_t>((rowBytes + gap) * source->height()));
    input.fill(bytes.data(), bytes.size());
    require(writePixels(*source, bytes.data(), rowBytes + gap, nullptr), "pixels to write");
    const auto stored = readPixels(*source, nullptr);
    for (Int row = 0; row < source->height(); ++row) {
        require(std::memcmp(&stored->bytes[static_cast<std::size_t>(row * stored->bytesPerRow)],
                            &bytes[static_cast<std::size_t>(row * (rowBytes + gap))],
                            static_cast<std::size_t>(rowBytes)) == 0,
                "the pixels that were written");
    }

    const Size outputSize = size(input, {source->width(), source->height()});
    auto output = texture(outputSize);
    NSError error;
    const auto mode = static_cast<ContentMode>(input.number(0, 2));
    const auto rotation = static_cast<ImageRotation>(input.number(0, 3));
    const auto present = PresentTextureEffect::create(device, source, output, readPixels(*output, nullptr)->pixelFormat,
                                                      mode, rotation, input.flag(), &error);
    require(present != nullptr, "an effect that presents");
    Bytes result{present->applyAndWait(&error)};
    const auto chain = Effect::create(device);
    for (auto count = input.number(0, 3); count > 0; --count) {
        const effects::EffectDescription& effect = input.oneOf(effects::allEffects());
        const auto next = texture(outputSize);
        const auto pass = effect.makePass(device, *form.effects, output, next, &error);
        require(pass != nullptr, "a pass of each effect");
        setParameters(input, *pass, effect, source);
        chain->add(pass, std::string(effect.name));
        output = next;
    }
    result.push_back(chain->applyAndWait(&error));
    const auto pixels = readPixels(*output, &error);
    require(pixels.has_value(), "pixels to read");
    const std::size_t start = result.size();
    result.resize(start + pixels->bytes.size());
    std::memcpy(result.data() + start, pixels->bytes.data(), pixels->bytes.size());
    unifyNaNs(result.data() + start, pixels->bytes.size(), pixels->pixelFormat);
    return result;
}

/// The level plain on one thread, which the others are compared with, and all of them.
std::vector<std::unique_ptr<Form>> makeForms() {
    std::vector<std::unique_ptr<Form>> forms;
    forms.push_back(std::make_unique<Form>("plain", 1, true));
    for (const std::string& level : builtLevels()) {
        if (!runsHere(level)) continue;
        for (const int threads : {1, 2, 7}) forms.push_back(std::make_unique<Form>(level, threads));
    }
    return forms;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    static const auto& forms = *new auto(makeForms());
    FuzzInput input(bytes, size);
    const auto work = input.flag() ? draw : apply;
    const Form& form = *input.oneOf(std::span(forms).subspan(1));
    const Bytes result = work(input, form), reference = work(input, *forms.front());
    if (result == reference) return 0;
    const auto place = std::mismatch(result.begin(), result.end(), reference.begin(), reference.end()).first;
    std::fprintf(stderr, "%s: differs from plain at byte %td of %zu\n", form.name.c_str(), place - result.begin(),
                 reference.size());
    require(false, "the same bytes everywhere");
    return 0;
}
