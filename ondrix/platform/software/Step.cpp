#include <algorithm>

#include <ondrix/platform/software/Step.h>
#include <ondrix/platform/software/Texture.h>

namespace ondrix::software {

using shading::Reach;

template <typename Visit>
void Step::forEachUse(Visit visit) const {
    if (dispatches_) {
        dispatches_->forEach([&](const DispatchCommand& command) { software::forEachUse(command.function, visit); });
    } else {
        software::forEachUse(*passCommand_, visit);
    }
}

void Step::begin(Command& command, ExecutionContext& context) {
    context_ = &context;
    if (command.kind == Command::Kind::dispatch) {
        dispatches_.emplace(static_cast<DispatchCommand&>(command), context.fuses);
    } else {
        passCommand_ = &static_cast<RenderPassCommand&>(command);
    }
}

bool Step::prepare() {
    if (prepared_) return true;
    if (dispatches_) {
        prepared_ = dispatches_->prepare(*context_);
    } else if (RenderPassRun::fitsChains(*passCommand_)) {
        pass_.emplace(*passCommand_, *context_);
        prepared_ = pass_->prepare();
    }
    return prepared_;
}

bool Step::addNeeds(const Step& earlier, int index) {
    bool known = true;
    earlier.forEachUse([&](const TextureUse& before) {
        forEachUse([&](const TextureUse& now) {
            if ((!before.written && !now.written) || !overlap(before.view, now.view)) return;
            // What is overwritten here must have been used row by row before.
            known = known && same(before.view, now.view) && (before.written || before.reach == Reach::own) &&
                    now.reach != Reach::anywhere &&
                    addNeed({index, reachNumber(now.reach, now.near), now.view.height, !now.written});
        });
    });
    return known;
}

bool Step::addNeed(const Need& need) noexcept {
    const auto isSame = [&](const Need& other) {
        return other.step == need.step && other.reach == need.reach && other.height == need.height &&
               other.read == need.read;
    };
    if (std::any_of(needs_.begin(), needs_.begin() + needCount_, isSame)) return true;
    if (needCount_ == static_cast<int>(needs_.size())) return false;
    needs_[static_cast<std::size_t>(needCount_++)] = need;
    return true;
}

bool Step::arrange(std::span<const Step> earlier, int threadCount) {
    RowRange rows{0, 0};
    std::int64_t bytesPerRow = 0;
    if (dispatches_) {
        rows.y1 = dispatches_->first->height;
        bytesPerRow = dispatches_->bytesPerRow;
    } else {
        rows = pass_->rows();
        bytesPerRow = pass_->bytesPerRow();
    }
    strips_ = Strips(rows.y0, rows.y1, bytesPerRow, threadCount);
    bool decided = false;
    for (const Need& need : needs()) {
        bool upwards = earlier[static_cast<std::size_t>(need.step)].upwards_;
        if (shading::reachOf(need.reach) == Reach::varying) {
            const auto course = pass_->course();
            if (course == RenderPassRun::Course::none) return false;
            upwards = upwards != (course == RenderPassRun::Course::opposite);
        }
        if (decided && upwards != upwards_) return false;
        upwards_ = upwards;
        decided = true;
    }
    if (strips_.count() == 0) return true;
    return std::all_of(needs().begin(), needs().end(), [&](const Need& need) {
        const Step& other = earlier[static_cast<std::size_t>(need.step)];
        const RowRange first = neededRows(need, stripRows(0));
        const std::int32_t half = (other.strips_.y0 + other.strips_.y1) / 2;
        return first.y0 >= first.y1 || (other.upwards_ ? first.y0 >= half : first.y1 <= half);
    });
}

void Step::keepInCaches() noexcept {
    if (pass_) pass_->keepInCaches();
    if (dispatches_) dispatches_->forEach([](DispatchCommand& command) { command.streaming = false; });
}

bool Step::runAlone() {
    return dispatches_ ? dispatches_->run(*context_) : RenderPassRun(*passCommand_, *context_).run();
}

RowRange Step::stripRows(int strip) const noexcept {
    const int place = upwards_ ? strips_.count() - 1 - strip : strip;
    return {strips_.begin(place), strips_.end(place)};
}

RowRange Step::neededRows(const Need& need, RowRange rows) const noexcept {
    const Reach reach = shading::reachOf(need.reach);
    if (reach == Reach::own) return rows;
    if (reach == Reach::varying) return pass_->sampledRows(rows, need.height);
    const shading::NearRows near = shading::nearRowsOf(need.reach);
    const auto inside = [&](std::int64_t row) {
        return static_cast<std::int32_t>(std::clamp<std::int64_t>(row, 0, need.height - 1));
    };
    return {inside(rows.y0 / near.divisor - near.above),
            inside(std::int64_t{rows.y1 - 1} * near.factor + near.below) + 1};
}

Step::StripRange Step::stripsOf(RowRange rows) const noexcept {
    rows = {std::max(rows.y0, strips_.y0), std::min(rows.y1, strips_.y1)};
    if (rows.y0 >= rows.y1) return {};
    const int first = (rows.y0 - strips_.y0) / strips_.rows, last = (rows.y1 - 1 - strips_.y0) / strips_.rows;
    const int count = strips_.count();
    return upwards_ ? StripRange{count - 1 - last, count - first} : StripRange{first, last + 1};
}

void Step::work(RowRange rows, void* scratch) const {
    dispatches_ ? dispatches_->work(rows, scratch) : pass_->work(rows, scratch);
}

Command* Step::last() const noexcept {
    return dispatches_ ? static_cast<Command*>(dispatches_->last) : passCommand_;
}

bool Step::hasReport() const noexcept {
    if (dispatches_) return dispatches_->first->function.bindings.report != nullptr;
    const DrawCommand* const draw = passCommand_->firstDraw;
    return draw != nullptr && (draw->vertex.bindings.report != nullptr || draw->fragment.bindings.report != nullptr);
}

std::int64_t Step::bytes() const noexcept {
    return dispatches_ ? dispatches_->bytes : pass_->bytes();
}

}  // namespace ondrix::software
