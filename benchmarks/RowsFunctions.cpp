// Rows that run functions of the benchmarks' own library.

#include <stdexcept>

#include <ondrix/passes/ComputePass.h>
#include <ondrix/resources/ConstantBuffer.h>
#include <ondrix/shaders/Shader.h>

#include "FunctionLibrary.h"
#include "Loops.h"
#include "Pixels.h"
#include "Reference.h"
#include "Rows.h"

namespace ondrix::benchmarks {

std::shared_ptr<ShaderLibrary> makeFunctionLibrary(Device& device) {
    auto library = device.makeDefaultShaderLibrary();
    if (!library) throw std::runtime_error("no library of functions beside the program");
    return library;
}

namespace {

/// A row whose input and output are 1920×1080, its effect so far without passes, and what passes are made with.
class FunctionRow {
public:
    FunctionRow(Bench& bench, std::uint32_t seed)
        : device_(bench.device),
          workers_(bench.workers),
          library_(makeFunctionLibrary(*device_)),
          effect_(Effect::create(device_)),
          input_(std::make_shared<const Frame>(Frame::noisy(hd1080.width, hd1080.height, 4, seed))),
          latest_(makeTexture(*device_, *input_)) {
        row_.output = std::make_shared<Frame>(hd1080.width, hd1080.height, 4);
    }

    [[nodiscard]] const std::shared_ptr<const Frame>& input() const { return input_; }
    [[nodiscard]] Row& row() { return row_; }

    /// Appends a pass that runs a function from the latest texture to a new one.
    std::shared_ptr<Shader> addPass(const std::string& function) {
        auto shader = library_->makeShader(function, ShaderType::computeShader);
        if (!shader) throw std::runtime_error("no function " + function);
        const auto output = makeTexture(*device_, hd1080.width, hd1080.height);
        shader->setShaderResource(latest_, 0);
        shader->setShaderResource(output, 1);
        effect_->add(ComputePass::create(device_, shader, output), std::to_string(++passes_));
        latest_ = output;
        return shader;
    }
    template <class Constants>
    void addPass(const std::string& function, const Constants& constants) {
        addPass(function)->setShaderResource(device_->makeConstantBuffer(&constants, sizeof constants), 0);
    }
    /// Adds the effect, when it has all its passes.
    void addOurs() { row_.contenders.push_back(contender("ondrix", effect_, latest_)); }

    /// Adds a loop over the rows of the output.
    void addLoop(const std::string& name, std::function<void(int firstRow, int endRow)> loop) {
        Contender contender{name, Role::loop, {}, [output = row_.output] { return output; }};
        contender.run = [&workers = workers_, loop] {
            workers.forRows(hd1080.height, [&](const Workers::Share& share) { loop(share.firstRow, share.endRow); });
            return true;
        };
        row_.contenders.push_back(std::move(contender));
    }

private:
    std::shared_ptr<Device> device_;
    Workers& workers_;
    std::shared_ptr<ShaderLibrary> library_;
    std::shared_ptr<Effect> effect_;
    std::shared_ptr<const Frame> input_;
    std::shared_ptr<Texture> latest_;
    int passes_ = 0;
    Row row_;
};

struct AddPass {
    FunctionRow& to;

    void operator()(const Levels& levels) const { to.addPass("Bench::Levels", levels); }
    void operator()(const Square&) const { to.addPass("Bench::Square"); }
    void operator()(const MixInverse& mix) const { to.addPass("Bench::MixInverse", mix); }
};

}  // namespace

Row makePointChainRow(Bench& bench) {
    FunctionRow made(bench, 8);
    Row& row = made.row();
    row.reference = std::make_shared<const Frame>(pointChained(*made.input()));
    for (const PointOperation& operation : pointChain) std::visit(AddPass{made}, operation);
    made.addOurs();
    for (const auto& peer : bench.peers) addPeer(row, peer->name(), peer->applyPointChain(made.input(), row.output));
    made.addLoop("fused-float-loop", [input = made.input(), output = row.output](int firstRow, int endRow) {
        loops::applyPointChain(*input, *output, firstRow, endRow);
    });
    const std::size_t size = bytesOf(hd1080);
    addMemory(row, bench.workers, "memory", std::vector<Traffic>(pointChain.size(), {size, size}));
    addMemory(row, bench.workers, "memory-fused", {{size, size}});
    return std::move(row);
}

Row makeConvolutionRow(Bench& bench) {
    FunctionRow made(bench, 9);
    Row& row = made.row();
    row.reference = std::make_shared<const Frame>(convolved(*made.input()));
    made.addPass("Bench::Convolve", kernel);
    made.addOurs();
    for (const auto& peer : bench.peers) addPeer(row, peer->name(), peer->convolve(made.input(), row.output));
    if (loops::canConvolve()) {
        made.addLoop("planar-avx2-loop", [input = made.input(), output = row.output](int firstRow, int endRow) {
            loops::convolve(kernel, *input, *output, firstRow, endRow);
        });
    }
    addMemory(row, bench.workers, "memory", {{bytesOf(hd1080), bytesOf(hd1080)}});
    return std::move(row);
}

Row makeLookUpRow(Bench& bench) {
    FunctionRow made(bench, 10);
    Row& row = made.row();
    const Frame table = makeColourTable();
    row.reference = std::make_shared<const Frame>(lookedUp(*made.input(), table));
    made.addPass("Bench::LookUp")->setShaderResource(makeTexture(*bench.device, table), 2);
    made.addOurs();
    const auto prepared = std::make_shared<const loops::ColourTable>(table);
    made.addLoop("look-up-loop", [prepared, input = made.input(), output = row.output](int firstRow, int endRow) {
        prepared->lookUp(*input, *output, firstRow, endRow);
    });
    addMemory(row, bench.workers, "memory", {{bytesOf(hd1080), bytesOf(hd1080)}});
    return std::move(row);
}

}  // namespace ondrix::benchmarks
