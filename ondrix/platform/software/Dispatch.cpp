#include <ondrix/platform/software/Dispatch.h>
#include <ondrix/platform/software/Strips.h>
#include <ondrix/platform/software/Validation.h>

namespace ondrix::software {

namespace {

struct GroupRun {
    const DispatchGroup& group;
    Strips strips;

    static void strip(void* context, int strip, void* scratch) {
        const auto& run = *static_cast<const GroupRun*>(context);
        run.group.forEach([&](const DispatchCommand& command) {
            const BoundFunction& function = command.function;
            const shading::ComputeTask task{function.bindings,     command.width,  run.strips.begin(strip),
                                            run.strips.end(strip), command.serial, scratch,
                                            command.streaming};
            function.entry->runCompute(&task);
        });
    }
};

}  // namespace

bool run(const DispatchGroup& group, ExecutionContext& context) {
    bool reserved = true;
    group.forEach([&](const DispatchCommand& command) {
        command.function.copyConstants();
        reserved = reserved && context.pool.reserveScratch(command.function.scratchBytes(command.width));
    });
    if (!reserved) return false;
    const WrittenPixels written(*group.first);  // of a group of one, if it is watched at all
    GroupRun run{group, Strips(0, group.first->height, group.bytesPerRow, context.pool.threadCount())};
    context.pool.run(run.strips.count(), GroupRun::strip, &run, group.bytes);
    written.tell();
    tellFindings(group.first->function);
    return true;
}

}  // namespace ondrix::software
