#include <ondrix/platform/software/Caches.h>
#include <ondrix/platform/software/Dispatch.h>
#include <ondrix/platform/software/Strips.h>
#include <ondrix/platform/software/Validation.h>

namespace ondrix::software {

namespace {

struct DispatchRun {
    const DispatchCommand& command;
    Strips strips;
    std::uint64_t serial;
    bool streaming;

    static void strip(void* context, int strip, void* scratch) {
        const auto& run = *static_cast<const DispatchRun*>(context);
        const BoundFunction& function = run.command.function;
        const shading::ComputeTask task{function.bindings,     run.command.width, run.strips.begin(strip),
                                        run.strips.end(strip), run.serial,        scratch,
                                        run.streaming};
        function.entry->runCompute(&task);
    }
};

}  // namespace

bool run(const DispatchCommand& command, ExecutionContext& context) {
    command.function.copyConstants();
    if (!context.pool.reserveScratch(command.function.scratchBytes(command.width))) return false;
    const WrittenPixels written(command);
    DispatchRun run{command, Strips(0, command.height, command.bytesPerRow, context.pool.threadCount()), nextSerial(),
                    exceedsCaches(command.bytes)};
    context.pool.run(run.strips.count(), DispatchRun::strip, &run, command.bytes);
    written.tell();
    tellFindings(command.function);
    return true;
}

}  // namespace ondrix::software
