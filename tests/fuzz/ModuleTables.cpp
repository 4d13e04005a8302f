// Tables of a shader module: whatever one says is refused, or its functions run with all that their parameters name.
#include <array>
#include <memory>

#include <dlfcn.h>

#include <ondrix/platform/software/Device.h>
#include <ondrix/shading/Module.h>

#include "FuzzTarget.h"

using namespace ondrix;
using namespace ondrix::shading;
using test::FuzzInput;
using test::require;

namespace {

constexpr int mostEntries = 6, mostParameters = 40;
constexpr const char* names[mostEntries] = {"first", "second", "third", "fourth", "fifth", "first"};

std::array<Entry, mostEntries> entries;
std::array<std::array<Parameter, mostParameters>, mostEntries> parameterLists;
std::array<std::array<std::uint32_t, mostParameters>, mostEntries> varyingSizes;

/// Looks at everything that the parameters of a function name.
void use(const Entry& entry, const Bindings& bindings) {
    for (std::uint32_t i = 0; i < entry.parameterCount; ++i) {
        const auto [kind, slot, size] = entry.parameters[i];
        if (kind == ParameterKind::texture || kind == ParameterKind::target) {
            const TextureView& view = bindings.textures[slot];
            const std::vector<std::uint8_t> copy(view.bytes, view.bytes + view.bytesPerRow * view.height);
            require(view.width == 4 && view.height == 4, "a texture");
        } else if (kind == ParameterKind::sampler) {
            require(bindings.samplers[slot].minFilter <= 1, "a sampler");
        } else if (kind == ParameterKind::constants) {
            std::vector<char> copy(size);
            if (size > 0) std::memcpy(copy.data(), bindings.constants[slot], size);
        }
    }
}

template <int index>
void runCompute(const ComputeTask* task) {
    use(entries[index], task->bindings);
}
template <int index>
void runFragment(const FragmentTask* task) {
    use(entries[index], task->bindings);
    require(task->spanCount >= 0 && task->target.bytes != nullptr, "spans of a target");
}
template <int index>
void runVertex(const VertexTask* task) {
    const Entry& entry = entries[index];
    use(entry, task->bindings);
    int floats = 4;
    for (std::uint32_t i = 0; i < entry.varyingCount; ++i) floats += static_cast<int>(entry.varyingSizes[i]);
    require(floats <= task->resultStride, "room for all varyings");
    for (int vertex = 0; vertex < task->count; ++vertex) {
        float* result = task->results + vertex * task->resultStride;
        std::fill_n(result, floats, 0.0F);
        result[0] = vertex % 2 == 0 ? -1.0F : 1.0F;
        result[1] = vertex < 2 ? -1.0F : 1.0F;
        result[3] = 1;
        for (std::uint32_t i = 0; i < entry.parameterCount; ++i) {
            const auto [kind, slot, size] = entry.parameters[i];
            if (kind != ParameterKind::vertexInput) continue;
            const VertexStream& stream = task->streams[slot];
            require(stream.components >= 1 && stream.components <= 4 && stream.readableVertices >= 0, "a vertex input");
        }
    }
}

template <int... indices>
void setFunctions(Entry& entry, int index, std::integer_sequence<int, indices...>) {
    ((indices == index ? (entry.runCompute = runCompute<indices>, entry.runFragment = runFragment<indices>,
                          entry.runVertex = runVertex<indices>, 0)
                       : 0),
     ...);
}

/// Mostly what a compiler writes, now and then anything at all.
std::uint32_t number(FuzzInput& input, std::uint32_t most) {
    return static_cast<std::uint32_t>(input.rarely(32) ? input.number(0, UINT32_MAX) : input.number(0, most));
}

ModuleTable makeTable(FuzzInput& input) {
    const auto count = static_cast<std::uint32_t>(input.number(0, mostEntries));
    for (std::uint32_t index = 0; index < count; ++index) {
        Entry& entry = entries[index];
        entry = {};
        entry.name = input.rarely(32) ? nullptr : names[index];
        entry.kind = static_cast<FunctionKind>(input.rarely(32) ? number(input, 5) : input.number(1, 3));
        entry.parameterCount = static_cast<std::uint32_t>(input.number(0, input.rarely() ? mostParameters : 6));
        for (std::uint32_t i = 0; i < entry.parameterCount; ++i) {
            Parameter& parameter = parameterLists[index][i];
            parameter = {static_cast<ParameterKind>(input.rarely(32) ? number(input, 8) : input.number(1, 6)),
                         number(input, input.rarely() ? 40 : i), number(input, 4)};
        }
        entry.parameters = input.rarely(32) ? nullptr : parameterLists[index].data();
        entry.varyingCount = static_cast<std::uint32_t>(input.number(0, input.rarely() ? mostParameters : 4));
        for (std::uint32_t i = 0; i < entry.varyingCount; ++i) varyingSizes[index][i] = number(input, 4);
        entry.varyingSizes = input.rarely(32) ? nullptr : varyingSizes[index].data();
        setFunctions(entry, static_cast<int>(index), std::make_integer_sequence<int, mostEntries>());
        if (entry.kind != FunctionKind::compute || input.rarely(32)) entry.runCompute = nullptr;
        if (entry.kind != FunctionKind::fragment || input.rarely(32)) entry.runFragment = nullptr;
        if (entry.kind != FunctionKind::vertex || input.rarely(32)) entry.runVertex = nullptr;
    }
    return {input.rarely(32) ? number(input, moduleVersion + 1) : moduleVersion, count,
            input.rarely(32) ? nullptr : entries.data(), input.rarely(32) ? nullptr : "plain", number(input, 16)};
}

/// What every slot holds.
struct Resources {
    std::shared_ptr<MTLTexture> target, textures[textureSlots];
    std::shared_ptr<MTLBuffer> buffer, indices;
    std::shared_ptr<MTLSamplerState> sampler;

    explicit Resources(MTLDevice& device)
        : buffer(device.makeBuffer(256, 0)), indices(device.makeBuffer(8, 0)), sampler(device.makeSamplerState({})) {
        constexpr MTLTextureDescriptor small{MTLPixelFormat::rgba8Unorm, 4, 4, false, MTLTextureUsage::unknown};
        target = device.makeTexture(small);
        for (auto& texture : textures) texture = device.makeTexture(small);
        std::memcpy(indices->contents(), std::array<std::uint16_t, 4>{0, 1, 2, 3}.data(), 8);
        std::memset(buffer->contents(), 0, 256);
    }
};

void dispatch(MTLCommandBuffer& commands, const Resources& resources,
              const std::shared_ptr<MTLComputePipelineState>& pipeline) {
    const auto encoder = commands.makeComputeCommandEncoder();
    encoder->setComputePipelineState(pipeline);
    for (int slot = 0; slot < textureSlots; ++slot) {
        encoder->setTexture(resources.textures[slot], slot);
        encoder->setBuffer(resources.buffer, 0, slot);
        if (slot < samplerSlots) encoder->setSamplerState(resources.sampler, slot);
    }
    encoder->dispatchThreadgroups({2, 2, 1}, {2, 2, 1});
    encoder->endEncoding();
}

void draw(MTLCommandBuffer& commands, const Resources& resources,
          const std::shared_ptr<MTLRenderPipelineState>& pipeline) {
    const auto encoder =
        commands.makeRenderCommandEncoder({resources.target, MTLLoadAction::clear, MTLStoreAction::store, {}});
    encoder->setRenderPipelineState(pipeline);
    for (int slot = 0; slot < textureSlots; ++slot) {
        encoder->setVertexTexture(resources.textures[slot], slot);
        encoder->setFragmentTexture(resources.textures[slot], slot);
        encoder->setVertexBuffer(resources.buffer, 0, slot);
        encoder->setFragmentBuffer(resources.buffer, 0, slot);
        if (slot >= samplerSlots) continue;
        encoder->setVertexSamplerState(resources.sampler, slot);
        encoder->setFragmentSamplerState(resources.sampler, slot);
    }
    encoder->drawIndexedPrimitives(MTLPrimitiveType::triangleStrip, 4, MTLIndexType::uint16, resources.indices, 0);
    encoder->endEncoding();
}

/// Runs every function that a pipeline takes.
void runAll(MTLDevice& device, MTLLibrary& library, const Resources& resources) {
    auto layout = std::make_shared<MTLVertexDescriptor>();
    for (std::uint64_t slot = 0; slot < maximumVertexInputs; ++slot) {
        layout->attributes[slot] = {MTLVertexFormat::float4, 0, 0};
    }
    layout->layouts[0].stride = 16;
    const auto queue = device.makeCommandQueue();
    const auto commands = queue->makeCommandBuffer();
    std::vector<std::shared_ptr<MTLFunction>> functions;
    for (const std::string& name : library.functionNames()) functions.push_back(library.makeFunction(name));
    NSError error;
    for (const auto& vertex : functions) {
        require(vertex != nullptr, "each function that is named");
        if (auto pipeline = device.makeComputePipelineState(vertex, &error)) dispatch(*commands, resources, pipeline);
        for (const auto& fragment : functions) {
            const MTLRenderPipelineDescriptor descriptor{vertex, fragment, layout, MTLPixelFormat::rgba8Unorm};
            if (auto pipeline = device.makeRenderPipelineState(descriptor, &error))
                draw(*commands, resources, pipeline);
        }
    }
    commands->commit();
    commands->waitUntilCompleted();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    static const auto device = software::Device::create(1, "plain", false);
    static const Resources resources(*device);
    static auto** const table =
        static_cast<const ModuleTable**>(dlsym(dlopen(FUZZ_LIBRARY "/plain.so", RTLD_NOW), "fuzzTable"));
    FuzzInput input(bytes, size);
    static ModuleTable made;
    made = makeTable(input);
    *table = &made;
    NSError error;
    const auto library = device->makeLibrary(URL(FUZZ_LIBRARY), &error);
    require((library == nullptr) == !error.localizedDescription().empty(), "a library, or else a reason");
    if (library != nullptr) runAll(*device, *library, resources);
    return 0;
}
