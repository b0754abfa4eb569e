// The built-in test card: colour bars, grey and colour ramps, a hue wheel,
// fine detail and sharp edges, generated in code at any size.
#pragma once

#include "host/picture_io.h"

namespace fxhost {

constexpr int kTestCardWidth = 640;
constexpr int kTestCardHeight = 360;

// Deterministic: the same size gives the same picture.
Image MakeTestCard(int width = kTestCardWidth, int height = kTestCardHeight);

}  // namespace fxhost
