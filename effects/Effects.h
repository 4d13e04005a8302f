#pragma once

#include <any>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include <ondrix/Ondrix.h>
#include <ondrix/effects/EffectCatalog.h>
#include <ondrix/effects/LookUpTable.h>

#include "Properties.h"
#include "Step.h"

/// What the source of an effect includes, and the list of all effects.
namespace ondrix::effects {

EffectDescription chromaKey();
EffectDescription colour();
EffectDescription crossFade();
EffectDescription edges();
EffectDescription gaussianBlur();
EffectDescription lookUp();
EffectDescription scope();
EffectDescription unsharpMask();
EffectDescription vignette();

}  // namespace ondrix::effects
