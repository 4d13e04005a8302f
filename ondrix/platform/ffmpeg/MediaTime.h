#pragma once

#include <cstdint>

extern "C" {
#include <libavutil/avutil.h>
#include <libavutil/mathematics.h>
#include <libavutil/rational.h>
}

#include <ondrix/platform/coremedia/CMTime.h>

namespace ondrix {

/// Exact; invalid for ticks that aren't known.
[[nodiscard]] inline CMTime timeOf(std::int64_t ticks, AVRational timeBase) {
    std::int64_t value = 0;
    if (ticks == AV_NOPTS_VALUE || __builtin_mul_overflow(ticks, std::int64_t{timeBase.num}, &value)) {
        return kCMTimeInvalid;
    }
    return CMTimeMake(value, timeBase.den);
}

/// The last tick at `time`, which must be numeric, or before.
[[nodiscard]] inline std::int64_t ticksAt(CMTime time, AVRational timeBase) {
    return av_rescale_q_rnd(time.value, {1, time.timescale}, timeBase, AV_ROUND_DOWN);
}

}  // namespace ondrix
