#include <utility>

#include <ondrix/core/Failure.h>
#include <ondrix/core/Logger.h>
#include <ondrix/resources/Texture.h>
#include <ondrix/shaders/Shader.h>

namespace ondrix {

Texture::Texture(std::shared_ptr<Device> device, std::shared_ptr<MTLTexture> mtlTexture)
    : device_(std::move(device)), mtlTexture_(std::move(mtlTexture)) {}

std::shared_ptr<MTLTexture> Texture::mtlTexture() const {
    return mtlTexture_;
}

void Texture::setMtlTexture(std::shared_ptr<MTLTexture> mtlTexture) {
    mtlTexture_.swap(mtlTexture);
}

ShaderResourceType Texture::resourceType() const {
    return ShaderResourceType::texture;
}

Size2<Int> Texture::size() const {
    return {width(), height()};
}

Int Texture::width() const {
    const auto current = mtlTexture();
    return current != nullptr ? static_cast<Int>(current->width()) : 0;
}

Int Texture::height() const {
    const auto current = mtlTexture();
    return current != nullptr ? static_cast<Int>(current->height()) : 0;
}

void Texture::prepareForRelease() {
    delegates_.removeAll();
}

void Texture::cleanup() {
    setMtlTexture(nullptr);
}

void Texture::add(const std::shared_ptr<TextureDelegate>& delegate) {
    Failure::orAbsent([&] { delegates_.add(delegate); });
}

void Texture::remove(const TextureDelegate& delegate) {
    delegates_.remove(delegate);
}

bool Texture::resize(Size2<Int> size) {
    return resize(size.width(), size.height());
}

bool Texture::resize(Int width, Int height) {
    return Failure::orAbsent([&] {
        const std::shared_ptr<Texture> self = weak_from_this().lock();  // an observer may drop the texture
        auto current = mtlTexture();
        if (current == nullptr) {
            Logger::gfx().error("Failed to resize texture. The texture is not initialized yet.");
            return false;
        }
        if (static_cast<Int>(current->width()) == width && static_cast<Int>(current->height()) == height) return true;

        auto resized = device_->makeMTLTexture(width, height, current->pixelFormat(), current->usage());
        if (resized == nullptr) return false;
        mtlTexture_ = std::move(resized);
        current = nullptr;  // gone before anybody hears of the new one

        const Size2<Int> newSize(this->width(), this->height());
        delegates_.invoke([&](TextureDelegate& delegate) { delegate.texture(*this, newSize); });
        return true;
    });
}

bool Texture::resize(Size2<Int> size, NSError* error) {
    return Failure::toldTo(error, [&] { return resize(size); });
}

bool Texture::bind(MTLRenderCommandEncoder& encoder, const Shader& shader, Int index) {
    switch (shader.shaderType()) {
        case ShaderType::vertexShader:
            encoder.setVertexTexture(mtlTexture(), index);
            return true;
        case ShaderType::fragmentShader:
            encoder.setFragmentTexture(mtlTexture(), index);
            return true;
        case ShaderType::computeShader:
            break;
    }
    Logger::gfx().error("Unsupported shader type %s to bind texture with.", rawValue(shader.shaderType()).data());
    return false;
}

bool Texture::bind(MTLComputeCommandEncoder& encoder, const Shader& shader, Int index) {
    if (shader.shaderType() != ShaderType::computeShader) {
        Logger::gfx().error("Unsupported shader type %s to bind texutre with.", rawValue(shader.shaderType()).data());
        return false;
    }
    encoder.setTexture(mtlTexture(), index);
    return true;
}

}  // namespace ondrix
