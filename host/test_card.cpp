#include "host/test_card.h"

#include <algorithm>
#include <cmath>

#include "host/host_error.h"
#include "host/pixel_convert.h"

namespace fxhost {

namespace {

// Layout, top to bottom: colour bars (upper third), four ramps (grey, red,
// green, blue) down to half height, then three panels side by side: fine
// detail, a hue wheel, and hard edges.
struct Layout {
    int width, height;
    int barsEnd, rampsEnd;
};

constexpr Rgb8 kBars[8] = {{255, 255, 255}, {255, 255, 0}, {0, 255, 255}, {0, 255, 0},
                           {255, 0, 255},   {255, 0, 0},   {0, 0, 255},   {0, 0, 0}};
constexpr Rgb8 kWhite{255, 255, 255};
constexpr Rgb8 kBlack{0, 0, 0};

Rgb8 Ramp(const Layout& l, int x, int y) {
    const int w1 = l.width - 1;
    const auto v = static_cast<uint8_t>(w1 > 0 ? (x * 255 + w1 / 2) / w1 : 0);
    switch ((y - l.barsEnd) * 4 / (l.rampsEnd - l.barsEnd)) {
    case 0: return Rgb8{v, v, v};
    case 1: return Rgb8{v, 0, 0};
    case 2: return Rgb8{0, v, 0};
    default: return Rgb8{0, 0, v};
    }
}

// Two rows of four gratings: checkerboards of 1 and 2 pixels, then lines of
// periods 2, 4 and 8, vertical in the upper row and horizontal in the lower.
Rgb8 Detail(int x, int y, int w, int h) {
    const int col = x * 4 / w, row = y * 2 / h;
    const int sx = x - col * w / 4, sy = y - row * h / 2;
    int on;
    if (col == 0) {
        on = row == 0 ? (sx + sy) & 1 : ((sx >> 1) + (sy >> 1)) & 1;
    } else {
        const int v = row == 0 ? sx : sy;
        on = (v >> (col - 1)) & 1;
    }
    return on ? kWhite : kBlack;
}

uint8_t Unit8(double v) { return static_cast<uint8_t>(std::lround(std::clamp(v, 0.0, 1.0) * 255.0)); }

// Full hue circle around the centre (red to the right, turning
// anticlockwise), saturation growing from white at the centre to full at the
// rim, on a dark grey ground.
Rgb8 HueWheel(int x, int y, int w, int h) {
    const double dx = x + 0.5 - w / 2.0, dy = y + 0.5 - h / 2.0;
    double radius = std::min(w, h) / 2.0 - 2.0;
    if (radius < 0.5) radius = std::min(w, h) / 2.0;
    const double dist = std::sqrt(dx * dx + dy * dy);
    if (dist > radius) return Rgb8{48, 48, 48};
    const double pi = std::acos(-1.0);
    double hue = std::atan2(-dy, dx) * 3.0 / pi;  // sixths of a turn
    if (hue < 0) hue += 6.0;
    const double s = dist / radius;
    const int sector = std::min(5, static_cast<int>(hue));
    const double f = hue - sector;
    const double p = 1.0 - s, q = 1.0 - s * f, t = 1.0 - s * (1.0 - f);
    switch (sector) {
    case 0: return Rgb8{Unit8(1), Unit8(t), Unit8(p)};
    case 1: return Rgb8{Unit8(q), Unit8(1), Unit8(p)};
    case 2: return Rgb8{Unit8(p), Unit8(1), Unit8(t)};
    case 3: return Rgb8{Unit8(p), Unit8(q), Unit8(1)};
    case 4: return Rgb8{Unit8(t), Unit8(p), Unit8(1)};
    default: return Rgb8{Unit8(1), Unit8(p), Unit8(q)};
    }
}

// White above the diagonal from top left to bottom right, black below, with
// the colours swapped inside a centred rectangle of half the size.
Rgb8 Edges(int x, int y, int w, int h) {
    bool white = int64_t(2 * x + 1) * h > int64_t(2 * y + 1) * w;
    if (x >= w / 4 && x < w * 3 / 4 && y >= h / 4 && y < h * 3 / 4) white = !white;
    return white ? kWhite : kBlack;
}

Rgb8 CardPixel(const Layout& l, int x, int y) {
    if (y < l.barsEnd) return kBars[x * 8 / l.width];
    if (y < l.rampsEnd) return Ramp(l, x, y);
    // Panel k spans [k*W/3, (k+1)*W/3); at tiny widths some panels are empty.
    int panel = 2;
    while (x < panel * l.width / 3) --panel;
    const int x0 = panel * l.width / 3, x1 = (panel + 1) * l.width / 3;
    const int lx = x - x0, ly = y - l.rampsEnd, w = x1 - x0, h = l.height - l.rampsEnd;
    if (panel == 0) return Detail(lx, ly, w, h);
    if (panel == 1) return HueWheel(lx, ly, w, h);
    return Edges(lx, ly, w, h);
}

}  // namespace

Image MakeTestCard(int width, int height) {
    if (width < 1 || height < 1 || width > 32767 || height > 32767) {
        throw HostError("test card size " + std::to_string(width) + "x" + std::to_string(height) +
                        " is out of range (1 to 32767 a side)");
    }
    Layout l{width, height, (height + 2) / 3, 0};
    l.rampsEnd = std::max(l.barsEnd, height / 2);
    Image image;
    image.width = width;
    image.height = height;
    image.rgb.resize(size_t(width) * size_t(height) * 3);
    uint8_t* out = image.rgb.data();
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x, out += 3) {
            const Rgb8 c = CardPixel(l, x, y);
            out[0] = c.r;
            out[1] = c.g;
            out[2] = c.b;
        }
    }
    return image;
}

}  // namespace fxhost
