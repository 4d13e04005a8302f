#include <algorithm>
#include <cassert>
#include <limits>

#include <ondrix/platform/software/ComputeCommandEncoder.h>
#include <ondrix/platform/software/Validation.h>

namespace ondrix::software {

namespace {

/// Returns the length of a grid in one dimension, at most `limit`.
std::int32_t gridSide(std::uint64_t groups, std::uint64_t threads, std::int32_t limit) {
    if (groups == 0 || threads == 0) return 0;
    const auto most = static_cast<std::uint64_t>(limit);
    return groups > most / threads ? limit : static_cast<std::int32_t>(std::min(groups * threads, most));
}

}  // namespace

void ComputeCommandEncoder::setComputePipelineState(std::shared_ptr<MTLComputePipelineState> pipelineState) {
    if (!commandBuffer_) return;
    commandBuffer_->record([&]() -> std::string {
        pipeline_ = dynamic_cast<const ComputePipeline*>(pipelineState.get());
        if (pipelineState && pipeline_ == nullptr) {
            return "setComputePipelineState: the pipeline state was made by another device";
        }
        commandBuffer_->hold(std::move(pipelineState));
        if (pipeline_ == nullptr) return {};
        commandBuffer_->setProblems(pipeline_->problems());
        bindings_.setFunction(&pipeline_->entry());
        return {};
    });
}

void ComputeCommandEncoder::setBuffer(std::shared_ptr<MTLBuffer> buffer, std::int64_t offset, std::int64_t index) {
    if (!commandBuffer_) return;
    commandBuffer_->record([&] {
        std::string problem = bindings_.setBuffer("setBuffer", buffer.get(), offset, index);
        commandBuffer_->hold(std::move(buffer));
        return problem;
    });
}

void ComputeCommandEncoder::setBytes(const void* bytes, std::int64_t length, std::int64_t index) {
    if (!commandBuffer_) return;
    commandBuffer_->record(
        [&] { return bindings_.setBytes("setBytes", bytes, length, index, commandBuffer_->memory()); });
}

void ComputeCommandEncoder::setTexture(std::shared_ptr<MTLTexture> texture, std::int64_t index) {
    if (!commandBuffer_) return;
    commandBuffer_->record([&] {
        std::string problem = bindings_.setTexture("setTexture", texture.get(), index);
        commandBuffer_->hold(std::move(texture));
        return problem;
    });
}

void ComputeCommandEncoder::setSamplerState(std::shared_ptr<MTLSamplerState> sampler, std::int64_t index) {
    if (!commandBuffer_) return;
    commandBuffer_->record([&] {
        std::string problem = bindings_.setSampler("setSamplerState", sampler.get(), index);
        commandBuffer_->hold(std::move(sampler));
        return problem;
    });
}

void ComputeCommandEncoder::dispatchThreadgroups(MTLSize threadgroupsPerGrid, MTLSize threadsPerThreadgroup) {
    if (!commandBuffer_) return;
    commandBuffer_->record([&] { return recordDispatch(threadgroupsPerGrid, threadsPerThreadgroup); });
}

std::string ComputeCommandEncoder::recordDispatch(MTLSize groups, MTLSize threads) {
    if (pipeline_ == nullptr) return "dispatchThreadgroups: no compute pipeline state is set";
    const shading::Entry& entry = pipeline_->entry();
    auto* command = commandBuffer_->make<DispatchCommand>();
    command->kind = Command::Kind::dispatch;
    std::string problem = bindings_.resolve(entry, commandBuffer_->memory(), command->function);
    if (!problem.empty()) return problem;
    command->function.problems = &pipeline_->problems();
    if (commandBuffer_->validates()) {
        if (pipeline_->function().isChecked()) prepareReport(command->function, commandBuffer_->memory());
        bindings_.tellLargeConstants(entry, pipeline_->problems());
    }
    std::int32_t width = 0, height = 0;
    for (const shading::Parameter& parameter : parameters(entry)) {
        const bool written = parameter.kind == shading::ParameterKind::target;
        if (!written && parameter.kind != shading::ParameterKind::texture) continue;
        const shading::TextureView& view = bindings_.texture(parameter.slot)->view();
        command->bytesPerRow += view.bytesPerRow;
        command->bytes += view.bytesPerRow * view.height;
        if (!written) continue;
        width = std::max(width, view.width);
        height = std::max(height, view.height);
        problem = bindings_.checkReads(entry, view, ("texture slot " + std::to_string(parameter.slot)).c_str());
        if (!problem.empty()) return problem;
    }
    command->serial = nextSerial();
    if (groups.depth == 0 || threads.depth == 0) return {};
    command->width = gridSide(groups.width, threads.width, width);
    command->height = gridSide(groups.height, threads.height, height);
    if (command->width > 0 && command->height > 0) commandBuffer_->append(*command);
    return {};
}

void ComputeCommandEncoder::endEncoding() {
    if (!commandBuffer_) return;
    if (commandBuffer_->validates()) {
        commandBuffer_->record([&]() -> std::string {
            if (pipeline_ != nullptr) bindings_.tellUnused(0, pipeline_->problems());
            return {};
        });
    }
    commandBuffer_->encoderEnded();
    commandBuffer_.reset();
}

}  // namespace ondrix::software
