#include <ondrix/platform/software/Dispatch.h>
#include <ondrix/platform/software/Strips.h>

namespace ondrix::software {

namespace {

struct DispatchRun {
    const DispatchCommand& command;
    Strips strips;
    std::uint64_t serial;

    static void strip(void* context, int strip, void* scratch) {
        const auto& run = *static_cast<const DispatchRun*>(context);
        const BoundFunction& function = run.command.function;
        const shading::ComputeTask task{function.bindings,     run.command.width, run.strips.begin(strip),
                                        run.strips.end(strip), run.serial,        scratch};
        function.entry->runCompute(&task);
    }
};

}  // namespace

bool run(const DispatchCommand& command, ExecutionContext& context) {
    command.function.copyConstants();
    if (!context.pool.reserveScratch(command.function.scratchBytes(command.width))) return false;
    DispatchRun run{command, Strips(0, command.height, command.bytesPerRow, context.pool.threadCount()), nextSerial()};
    context.pool.run(run.strips.count(), DispatchRun::strip, &run);
    return true;
}

}  // namespace ondrix::software
