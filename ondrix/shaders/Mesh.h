#pragma once

#include <memory>

#include <ondrix/core/Device.h>
#include <ondrix/core/ManagedResource.h>
#include <ondrix/platform/metal/MTLCommandEncoder.h>
#include <ondrix/platform/metal/MTLVertexDescriptor.h>
#include <ondrix/shaders/MeshDescriptor.h>

namespace ondrix {

/// Indexed geometry in GPU memory. Keeps its device and its descriptor alive; never changes but through the descriptor.
class Mesh : public ManagedResource {
public:
    /// Copies `vertexStride * vertexCount` bytes of `vertexData` and the bytes of `indexCount` indices from
    /// `indexData`. Null when the device refuses a buffer, as it does a length below 1. A descriptor without attributes
    /// makes a mesh for vertex functions that read none.
    [[nodiscard]] static std::shared_ptr<Mesh> create(std::shared_ptr<Device> device,
                                                      std::shared_ptr<MeshDescriptor> descriptor,
                                                      const void* vertexData, const void* indexData);
    /// With the reason of a failure for the caller; `error` may be null.
    [[nodiscard]] static std::shared_ptr<Mesh> create(std::shared_ptr<Device> device,
                                                      std::shared_ptr<MeshDescriptor> descriptor,
                                                      const void* vertexData, const void* indexData, NSError* error);

    void prepareForRelease() override;  ///< does nothing
    void cleanup() override;            ///< does nothing

    /// Binds the vertices to vertex buffer slot 0 and draws all indices once. Always true.
    [[nodiscard]] virtual bool encode(MTLRenderCommandEncoder& encoder) const;

protected:
    Mesh(std::shared_ptr<Device> device, std::shared_ptr<MeshDescriptor> descriptor);
    /// The second half of construction: makes the vertex descriptor and both buffers.
    [[nodiscard]] bool start(const void* vertexData, const void* indexData);

private:
    friend class RenderPass;

    [[nodiscard]] const std::shared_ptr<const MTLVertexDescriptor>& vertexDescriptor() const noexcept {
        return vertexDescriptor_;
    }

    std::shared_ptr<Device> device_;
    std::shared_ptr<MeshDescriptor> meshDescriptor_;
    std::shared_ptr<const MTLVertexDescriptor> vertexDescriptor_;
    std::shared_ptr<MTLBuffer> vertexBuffer_;
    std::shared_ptr<MTLBuffer> indexBuffer_;
};

}  // namespace ondrix
