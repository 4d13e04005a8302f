#include <ondrix/platform/software/DispatchGroup.h>
#include <ondrix/platform/software/ExecutionContext.h>
#include <ondrix/platform/software/Strips.h>
#include <ondrix/platform/software/Texture.h>
#include <ondrix/platform/software/Validation.h>

namespace ondrix::software {

namespace {

/// Few enough that comparing each dispatch with all others of its group is cheap, and that their rows fit into a cache.
constexpr int mostDispatches = 8;

/// What two dispatches have in common.
struct Common {
    bool memory = false;      ///< both use some memory
    bool handedOver = false;  ///< the earlier one writes some of it
    bool rowByRow = true;     ///< a row that one of them writes is used by the other's work on the same row only
};

Common common(const DispatchCommand& earlier, const DispatchCommand& later) noexcept {
    Common result;
    forEachUse(earlier.function, [&](const TextureUse& a) {
        forEachUse(later.function, [&](const TextureUse& b) {
            if (!overlap(a.view, b.view)) return;
            result.memory = true;
            result.handedOver = result.handedOver || a.written;
            if (!a.written && !b.written) return;
            constexpr auto own = shading::Reach::own;
            if (!same(a.view, b.view) || a.reach != own || b.reach != own) result.rowByRow = false;
        });
    });
    return result;
}

struct GroupRun {
    const DispatchGroup& group;
    Strips strips;

    static void strip(void* context, int strip, void* scratch) {
        const auto& run = *static_cast<const GroupRun*>(context);
        run.group.work({run.strips.begin(strip), run.strips.end(strip)}, scratch);
    }
};

}  // namespace

DispatchGroup::DispatchGroup(DispatchCommand& begin, bool fuses) noexcept : first(&begin) {
    take(begin);
    while (fuses && last->next != nullptr && last->next->kind == Command::Kind::dispatch) {
        auto& next = static_cast<DispatchCommand&>(*last->next);
        if (!canTake(next)) break;
        take(next);
    }
}

/// Dispatches may run together when the work of each on a row comes after all work of the earlier ones that it depends
/// on, and before all work of the later ones that depends on it. Strips run in any order on several threads, and within
/// a strip one dispatch comes after the other. So whatever one of two dispatches writes, the other may only use at its
/// own position, which is then the same row of the same strip. This excludes reading neighbours, and textures that
/// overlap without being the same. What both only read doesn't matter. Dispatches that have no memory in common would
/// gain nothing and stay apart, and those that are watched for findings run alone.
bool DispatchGroup::canTake(const DispatchCommand& command) const noexcept {
    if (count == mostDispatches || command.height != first->height) return false;
    if (first->function.bindings.report != nullptr || command.function.bindings.report != nullptr) return false;
    bool memory = false, rowByRow = true;
    forEach([&](const DispatchCommand& earlier) {
        const Common both = common(earlier, command);
        memory = memory || both.memory;
        rowByRow = rowByRow && both.rowByRow;
    });
    return memory && rowByRow;
}

void DispatchGroup::take(DispatchCommand& command) noexcept {
    command.streaming = exceedsCaches(command.bytes);
    if (count > 0) {
        // What a later dispatch uses should still be in the cache then.
        forEach([&](DispatchCommand& earlier) {
            if (earlier.streaming && common(earlier, command).handedOver) earlier.streaming = false;
        });
    }
    bytesPerRow += command.bytesPerRow;
    bytes += command.bytes;
    last = &command;
    ++count;
}

bool DispatchGroup::prepare(ExecutionContext& context) const {
    bool reserved = true;
    forEach([&](const DispatchCommand& command) {
        command.function.copyConstants();
        reserved = reserved && context.pool.reserveScratch(command.function.scratchBytes(command.width));
    });
    return reserved;
}

void DispatchGroup::work(RowRange rows, void* scratch) const {
    forEach([&](const DispatchCommand& command) {
        const BoundFunction& function = command.function;
        const shading::ComputeTask task{function.bindings, command.width, rows.y0,          rows.y1,
                                        command.serial,    scratch,       command.streaming};
        function.entry->runCompute(&task);
    });
}

bool DispatchGroup::run(ExecutionContext& context) const {
    if (!prepare(context)) return false;
    const WrittenPixels written(*first);  // a dispatch that is watched is alone in its group
    GroupRun run{*this, Strips(0, first->height, bytesPerRow, context.pool.threadCount())};
    context.pool.run(run.strips.count(), GroupRun::strip, &run, bytes);
    written.tell();
    tellFindings(first->function);
    return true;
}

}  // namespace ondrix::software
