#pragma once

#include <ondrix/platform/foundation/NSError.h>

namespace ondrix {

class Effect;

/// Hears when an effect's GPU work is handed over and when it has ended. Held weakly by the effect.
class EffectDelegate {
public:
    virtual ~EffectDelegate() = default;

    /// On the thread that applies the effect, when everything is recorded and just before it is committed.
    virtual void effectDidStartGPUTasks(Effect& effect) = 0;
    /// On the device's completion thread, whether the work succeeded or not. Not called when the effect has gone, which
    /// one whose work was waited for has not.
    virtual void effectDidCompleteGPUTasks(Effect& effect) = 0;

    /// On the device's completion thread, just before `effectDidCompleteGPUTasks`, when the work ended with an error:
    /// what the effect should have drawn is then undefined. Does nothing here.
    virtual void effectDidFailGPUTasks(Effect& /*effect*/, const NSError& /*reason*/) {}
};

}  // namespace ondrix
