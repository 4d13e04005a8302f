#pragma once

namespace ondrix {

class Effect;

/// Hears when an effect's GPU work is handed over and when it has ended. Held weakly by the effect.
class EffectDelegate {
public:
    virtual ~EffectDelegate() = default;

    /// On the thread that applies the effect, when everything is recorded and just before it is committed.
    virtual void effectDidStartGPUTasks(Effect& effect) = 0;
    /// On the device's completion thread, whether the work succeeded or not. Not called when the effect has gone.
    virtual void effectDidCompleteGPUTasks(Effect& effect) = 0;
};

}  // namespace ondrix
