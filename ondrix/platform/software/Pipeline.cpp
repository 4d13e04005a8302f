#include <string>

#include <ondrix/platform/os/OutOfMemory.h>
#include <ondrix/platform/software/Commands.h>
#include <ondrix/platform/software/Pipeline.h>

namespace ondrix::software {

namespace {

using shading::Entry;
using shading::FunctionKind;
using shading::Parameter;
using shading::ParameterKind;

/// Returns why a parameter can't be bound on this device, or an empty text.
std::string slotProblem(const Entry& entry) {
    for (const Parameter& parameter : parameters(entry)) {
        std::uint32_t slots = shading::maximumVaryings;
        if (parameter.kind == ParameterKind::texture || parameter.kind == ParameterKind::target) {
            slots = shading::textureSlots;
        } else if (parameter.kind == ParameterKind::sampler) {
            slots = shading::samplerSlots;
        } else if (parameter.kind == ParameterKind::constants) {
            slots = shading::bufferSlots;
        } else if (parameter.kind == ParameterKind::vertexInput) {
            slots = shading::maximumVertexInputs;
        }
        if (parameter.slot >= slots) {
            return std::string(entry.name) + ": slot " + std::to_string(parameter.slot) + " is out of range";
        }
    }
    return {};
}

const char* nameOf(FunctionKind kind) {
    switch (kind) {
        case FunctionKind::vertex:
            return "vertex";
        case FunctionKind::fragment:
            return "fragment";
        case FunctionKind::compute:
            break;
    }
    return "compute";
}

/// Returns the function as one of this device if it is of this kind, otherwise null and a problem.
std::shared_ptr<Function> checked(const std::shared_ptr<MTLFunction>& function, FunctionKind kind,
                                  std::string& problem) {
    const std::string needed = nameOf(kind);
    auto own = std::dynamic_pointer_cast<Function>(function);
    if (!function) {
        problem = "the " + needed + " function is missing";
    } else if (!own) {
        problem = "the function '" + function->name() + "' is not of this device";
    } else if (own->entry().kind != kind) {
        problem = "the function '" + function->name() + "' is a " + nameOf(own->entry().kind) + " function, but a " +
                  needed + " function is needed";
    } else {
        problem = slotProblem(own->entry());
    }
    return problem.empty() ? own : nullptr;
}

std::uint32_t componentsOf(MTLVertexFormat format) {
    switch (format) {
        case MTLVertexFormat::float1:
            return 1;
        case MTLVertexFormat::float2:
            return 2;
        case MTLVertexFormat::float3:
            return 3;
        case MTLVertexFormat::float4:
            return 4;
        case MTLVertexFormat::invalid:
            break;
    }
    return 0;
}

/// Fills `attribute` for one vertex input; returns the problem or nothing.
std::string describeInput(const Entry& vertex, const Parameter& input, const MTLVertexDescriptor* descriptor,
                          RenderPipeline::Attribute& attribute) {
    const std::string name = std::string(vertex.name) + ": vertex attribute " + std::to_string(input.slot);
    if (descriptor == nullptr || !descriptor->attributes.contains(input.slot)) {
        return name + " is read, but the vertex descriptor lacks it";
    }
    const MTLVertexAttributeDescriptor& given = descriptor->attributes.at(input.slot);
    attribute.components = componentsOf(given.format);
    attribute.bufferIndex = given.bufferIndex;
    attribute.offset = given.offset;
    if (attribute.components == 0) {
        return name + " has the unknown format " + std::to_string(static_cast<std::uint64_t>(given.format));
    }
    if (given.bufferIndex >= shading::bufferSlots) {
        return name + " names buffer slot " + std::to_string(given.bufferIndex) + "; the slots are 0 to 30";
    }
    const auto layout = descriptor->layouts.find(given.bufferIndex);
    if (layout == descriptor->layouts.end()) {
        return name + " names buffer slot " + std::to_string(given.bufferIndex) + ", which has no layout";
    }
    if (layout->second.stepFunction == MTLVertexStepFunction::perVertex) attribute.stride = layout->second.stride;
    constexpr std::uint64_t longest = std::uint64_t{1} << 31;
    if (attribute.stride > longest || attribute.offset > longest) return name + " lies too far from its neighbours";
    return {};
}

/// Compares what the fragment function reads with what the vertex function hands on; counts the components of both.
std::string matchVaryings(const Entry& vertex, const Entry& fragment, int& vertexComponents, int& fragmentComponents) {
    std::uint32_t provided = 0, read = 0;
    for (std::uint32_t index = 0; index < vertex.varyingCount; ++index) provided += vertex.varyingSizes[index];
    if (vertex.varyingCount > shading::maximumVaryings || provided > shading::maximumVaryingComponents) {
        return std::string(vertex.name) + ": too many varyings";
    }
    std::uint32_t count = 0;
    for (const Parameter& parameter : parameters(fragment)) {
        if (parameter.kind != ParameterKind::varying) continue;
        const std::string name = std::string(fragment.name) + ": varying " + std::to_string(parameter.slot);
        if (parameter.slot != count) return name + " is out of order";
        if (parameter.slot >= vertex.varyingCount) {
            return name + " is not provided by '" + vertex.name + "', which returns " +
                   std::to_string(vertex.varyingCount);
        }
        if (parameter.size != vertex.varyingSizes[parameter.slot]) {
            return name + " has " + std::to_string(parameter.size) + " components, but '" + vertex.name +
                   "' provides " + std::to_string(vertex.varyingSizes[parameter.slot]);
        }
        read += parameter.size;
        ++count;
    }
    vertexComponents = static_cast<int>(provided);
    fragmentComponents = static_cast<int>(read);
    return {};
}

template <typename State>
std::shared_ptr<State> finish(std::shared_ptr<State> state, const std::string& problem, NSError* error) {
    if (problem.empty()) return state;
    if (error == nullptr) deviceLogger().error("%s", problem.c_str());  // a caller that takes no reason finds it there
    if (error != nullptr) *error = NSError(problem);
    return nullptr;
}

}  // namespace

std::shared_ptr<ComputePipeline> ComputePipeline::create(const std::shared_ptr<MTLFunction>& function, NSError* error) {
    return os::orAbsent(error, [&] {
        std::string problem;
        auto own = checked(function, FunctionKind::compute, problem);
        return finish(std::shared_ptr<ComputePipeline>(new ComputePipeline(std::move(own))), problem, error);
    });
}

std::shared_ptr<RenderPipeline> RenderPipeline::create(const MTLRenderPipelineDescriptor& descriptor, NSError* error) {
    return os::orAbsent(error, [&] {
        std::shared_ptr<RenderPipeline> pipeline(new RenderPipeline);
        std::string problem;
        pipeline->vertex_ = checked(descriptor.vertexFunction, FunctionKind::vertex, problem);
        if (problem.empty()) {
            pipeline->fragment_ = checked(descriptor.fragmentFunction, FunctionKind::fragment, problem);
        }
        if (!problem.empty()) return finish(pipeline, problem, error);
        pipeline->pixelFormat_ = descriptor.colorAttachment0PixelFormat;
        if (descriptor.vertexDescriptor) {
            for (const auto& [slot, layout] : descriptor.vertexDescriptor->layouts) {
                if (slot < shading::bufferSlots) pipeline->meshBuffers_ |= 1u << slot;
            }
        }
        if (!pixelFormatInfo(pipeline->pixelFormat_)) {
            problem = "the colour attachment's pixel format is unknown: " + description(pipeline->pixelFormat_);
        }
        for (const Parameter& parameter : parameters(pipeline->vertex())) {
            if (!problem.empty()) break;
            if (parameter.kind != ParameterKind::vertexInput) continue;
            problem = describeInput(pipeline->vertex(), parameter, descriptor.vertexDescriptor.get(),
                                    pipeline->attributes_[parameter.slot]);
        }
        if (problem.empty()) {
            problem = matchVaryings(pipeline->vertex(), pipeline->fragment(), pipeline->vertexComponents_,
                                    pipeline->fragmentComponents_);
        }
        return finish(pipeline, problem, error);
    });
}

}  // namespace ondrix::software
