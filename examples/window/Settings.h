#pragma once

/// Buffer 0 of the function "Example::Lens": the centre of the lens, 0 to 1 from the top left.
struct Settings {
    float x, y;
};
