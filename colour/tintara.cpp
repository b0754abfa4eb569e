#include "colour/tintara.h"

#include "colour/channel_tables.h"
#include "colour/hsv_tables.h"
#include "colour/smooth_pass.h"
#include "colour/tintara_quantise.h"
#include "colour/tintara_kernels.h"

namespace {

void ForceDefaults(TintaraParams& s) {
    s.recordVersion = 1;
    s.quantiseRoute = 0;
    s.tableEffect = kSineWave;
    s.useHostValue = 1;
    s.storedIntensity = 100;
    s.hostValueIndex = 7;  // a parameter nothing writes: intensity 0, a copy
    for (int c = 0; c < 3; ++c) {
        s.channelSource[c] = static_cast<int8_t>(c + 1);
        s.channelShift[c] = 0;
        s.channelGain[c] = 100;
        s.channelInvert[c] = 0;
    }
    s.smooth = 0;
}

int32_t WordBytes(int32_t pixelFormat) { return pixelFormat == kFormatXrgb ? 4 : 2; }

bool IsChannelFormat(int32_t pixelFormat) {
    return pixelFormat == kFormat555 || pixelFormat == kFormat565 || pixelFormat == kFormatXrgb;
}

}  // namespace

Tintara::Tintara(const TintaraParams& record) {
    failed = 0;
    if (!valid || !source) {
        failed = 1;
        return;
    }
    if (SurfaceWidth(*source) != SurfaceWidth(*destination) ||
        SurfaceHeight(*source) != SurfaceHeight(*destination))
        MatchSourceToDestination();  // without an offscreen, the source is read as it is
    depthBits = destination->depth;
    if (depthBits != 16 && depthBits != 32) {
        failed = 1;
        return;
    }
    settings = record;
    if (settings.recordVersion != 1) ForceDefaults(settings);
}

void Tintara::Render() {
    if (failed) return;
    if (settings.quantiseRoute == 0) {
        switch (settings.tableEffect) {
        case kSineWave:
        case kCosineWave: RenderWave(); break;
        case kPosterizeLevels:
        case kSaturateQuantize: RenderLevels(); break;
        case kHuePosterize:
        case kHueSpecial: RenderHue(); break;
        default: break;
        }
    } else {
        RenderQuantised();
    }
    if (settings.smooth) SmoothSurface(destination, destination, 0, 1.0f, 1.0f);
}

void Tintara::RenderQuantised() {
    const int8_t* shift = settings.channelShift;
    const int number = QuantiseMemberNumber(settings.channelSource[0], shift[0] > 0, shift[1] > 0, shift[2] > 0);
    if (number) QuantiseMemberByNumber(number)(*this);
}

int32_t Tintara::IntensityLevel() const {
    if (!settings.useHostValue) return settings.storedIntensity * 127 / 100;
    return FrameParam(frame, settings.hostValueIndex) >> 1;
}

float Tintara::IntensityFraction() const {
    if (!settings.useHostValue) return static_cast<float>(settings.storedIntensity) / 100.0f;
    return static_cast<float>(IntensityLevel()) / 127.0f;
}

void Tintara::MapChannels() {
    if (!IsChannelFormat(pixelFormat)) return;
    const PixelRows rows = WordLoop(WordBytes(pixelFormat));
    if (pixelFormat == kFormatXrgb)
        ApplyChannelTable(rows, table8, 0);
    else
        MapChannels16(rows, table5, pixelFormat);
}

void Tintara::RenderWave() {
    RefreshWorkSurface();
    const float a = IntensityFraction();
    if (a == 0.0f) return CopySourceToDestination();  // the table stays as it was
    const WaveCurve curve = settings.tableEffect == kSineWave ? WaveCurve::kSine : WaveCurve::kCosine;
    if (depthBits == 32)
        BuildWaveTable8(curve, a, table8);
    else if (depthBits == 16)
        BuildWaveTable5(curve, a, table5);
    MapChannels();
}

void Tintara::RenderLevels() {
    RefreshWorkSurface();
    const int32_t v = IntensityLevel();
    int32_t level = v * 8 / 127;
    if (level == 0) return CopySourceToDestination();
    if (level < 8) ++level;
    const int32_t level5 = level * 5 / 8;
    if (settings.tableEffect == kPosterizeLevels) {
        if (depthBits == 32)
            BuildSteppedTable(v, kTable8Size, 255, table8);
        else if (depthBits == 16)
            BuildSteppedTable(v, kTable5Size, 31, table5);
    } else {
        if (depthBits == 32)
            BuildSaturateTable8(level, table8);
        else if (depthBits == 16)
            BuildSaturateTable5(level5, table5);
    }
    MapChannels();
}

void Tintara::RenderHue() {
    RefreshWorkSurface();
    const int32_t v = IntensityLevel();
    const bool special = settings.tableEffect == kHueSpecial;
    if (special) {
        BuildSteppedTable(v, kTable5Size, 31, table5);
    } else {
        const int32_t level = v * 5 / 127;
        if (level == 0) return CopySourceToDestination();
        BuildHuePosterizeTable(level, table5);
    }
    const int32_t depth = destination->depth;
    if (depth != 16 && depth != 32) return;
    const PixelRows rows = WordLoop(depth / 8);
    if (rows.rows <= 0) return;  // the tables are fetched by the first row
    int8_t forwardKind = kHsvFrom555, inverseKind = kHsvToXrgb;
    if (depth == 16 && pixelFormat == kFormat555) inverseKind = kHsvTo555;
    if (depth == 16 && pixelFormat != kFormat555) forwardKind = kHsvFrom565, inverseKind = kHsvTo565;
    rgbToHsv = GetRgbToHsvTable(forwardKind);
    const uint32_t* inverse = GetHsvToRgbTable(inverseKind);
    if (!rgbToHsv || !inverse) return;  // out of memory: the frame is left as it was
    MapHue(rows, depth / 8, HueTables{rgbToHsv, inverse, table5, special}, hueComposition);
}
