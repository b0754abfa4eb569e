#include "shell/factory.h"

#include "colour/color_control_effect.h"
#include "colour/color_cycling.h"
#include "colour/contrast_effect.h"
#include "colour/stroboscope.h"
#include "colour/tintara.h"
#include "geometry/cube.h"
#include "geometry/hexagon_kaleido.h"
#include "geometry/square_kaleido.h"
#include "geometry/triangle_kaleido.h"
#include "shell/frame_params.h"
#include "temporal/ascii_art.h"
#include "temporal/motion_blur.h"
#include "temporal/old_movie.h"

namespace {

using Builder = CRenderInterface* (*)();

CRenderInterface* ColorControl(uint32_t useRgb, uint32_t useBrightnessContrast, uint8_t inverse) {
    ColorControlParams record{};
    record.recordVersion = kColorControlVersion;
    record.useRgb = useRgb;
    record.redParam = 0;
    record.greenParam = 1;
    record.blueParam = 2;
    record.useBrightnessContrast = useBrightnessContrast;
    record.brightnessParam = 0;
    record.contrastParam = 1;
    record.inverse = inverse;
    return NewZeroedEffect<ColorControlEffect>(&record);
}

// The table-driven colour effects differ in the effect, the stored
// intensity and the smooth pass.
CRenderInterface* TableColour(TableEffect effect, int8_t storedIntensity, uint8_t smooth) {
    TintaraParams record{};
    record.recordVersion = 1;
    record.quantiseRoute = 0;
    record.tableEffect = effect;
    record.useHostValue = 1;
    record.storedIntensity = storedIntensity;
    record.hostValueIndex = 0;
    for (int c = 0; c < 3; ++c) {
        record.channelSource[c] = static_cast<int8_t>(c + 1);
        record.channelGain[c] = 100;
    }
    record.smooth = smooth;
    return NewZeroedEffect<Tintara>(record);
}

// The contrast rows: levels from the host's values, or the fixed curve of
// the "old" names.
CRenderInterface* Contrast(bool fromHost, uint8_t inverse) {
    ContrastParams record{};
    record.recordVersion = kContrastVersion;
    record.lowParam = 0;
    record.highParam = 1;
    record.midParam = 2;
    record.midIsPercent = 1;
    record.luminance = 1;
    record.lowFromParam = record.highFromParam = record.midFromParam = fromHost;
    if (!fromHost) {
        record.lowValue = 30;
        record.highValue = 100;
        record.midValue = 64;
    }
    record.inverse = inverse;
    return NewZeroedEffect<ContrastEffect>(&record);
}

CRenderInterface* Stroboscope() {
    StroboscopeParams record{};
    record.recordVersion = kStroboscopeVersion;
    record.speedParam = 0;
    record.hueParam = 1;
    record.softnessParam = 2;
    return NewZeroedEffect<StroboscopeEffect>(&record);
}

CRenderInterface* ColourCycling(float red, float green, float blue, uint8_t flags) {
    ColorCyclingParams record{};
    record.secondsRed = red;
    record.secondsGreen = green;
    record.secondsBlue = blue;
    record.useTimeRed = record.useTimeGreen = record.useTimeBlue = 1;
    record.parameterIndexRed = 0;
    record.parameterIndexGreen = 1;
    record.parameterIndexBlue = 2;
    record.flags = flags;
    return NewZeroedEffect<ColorCycling>(&record);
}

// The kaleidoscopes start from the normalised record; the static ones then
// follow the host's values instead of time.
template <class Shape>
CRenderInterface* Kaleidoscope(bool cyclic) {
    KaleidoParamRecord record{};
    NormalizeKaleidoParams(&record);
    if (!cyclic) MakeStaticKaleidoRecord(&record);
    return NewZeroedEffect<Shape>(&record);
}

// One fixed recursive filter: three parts trail to one part source.
CRenderInterface* MotionBlur() {
    MotionBlurParams record{};
    record.recordVersion = kMotionBlurVersion;
    record.blendMode = 1;
    record.recordRevision = 2;
    record.fixedSkip = 1;
    record.secondValue = 25;
    return NewZeroedEffect<MotionBlurEffect>(&record);
}

// Black and white at 15 updates a second with flicker and grain; the dirty
// one adds dirt.
CRenderInterface* OldMovie(uint8_t dirt) {
    OldMovieParams record{};
    record.recordVersion = kOldMovieVersion;
    record.rateLimit = 1;
    record.frameRate = 15;
    record.dirt = dirt;
    record.reserved2 = 1;
    record.greyMap = record.flicker = record.grain = 1;
    record.lightColour.red = record.lightColour.green = record.lightColour.blue = 0xFF00;
    return NewZeroedEffect<OldMovieEffect>(&record);
}

CRenderInterface* Cube(int32_t endless) {
    CubeParamRecord record{};
    record.IntroSeconds = 2.0f;
    record.OrbitRate = 10;
    record.TurnSpeed = 1;
    record.PitchSpeed = 2;
    record.Endless = endless;
    record.TurnMode = record.PitchMode = endless;
    return NewZeroedEffect<CCube3D>(&record);
}

struct FactoryRow {
    const char* name;
    Builder build;  // null: the class is not part of this build
};

// clang-format off
const FactoryRow kFactoryRows[kFactoryNameCount] = {
    {"RGBControl", [] { return ColorControl(1, 0, 0); }},
    {"Brightness Contrast", [] { return ColorControl(0, 1, 0); }},
    {"RGBControl Inverse", [] { return ColorControl(1, 0, 1); }},
    {"Brightness Contrast Inverse", [] { return ColorControl(0, 1, 1); }},
    {"Stroboscope", [] { return Stroboscope(); }},
    {"Triangle Kaleido", [] { return Kaleidoscope<CTriangleKaleido>(false); }},
    {"Cyclic Triangle Kaleido", [] { return Kaleidoscope<CTriangleKaleido>(true); }},
    {"Square Kaleido", [] { return Kaleidoscope<CSquareKaleido>(false); }},
    {"Square Kaleido Cyclic", [] { return Kaleidoscope<CSquareKaleido>(true); }},
    {"Hexagon Kaleido", [] { return Kaleidoscope<CHexagonKaleido>(false); }},
    {"Hexagon Kaleido Cyclic", [] { return Kaleidoscope<CHexagonKaleido>(true); }},
    {"Lozenge Kaleido", [] { return Kaleidoscope<CLozengeKaleido>(false); }},
    {"Lozenge Kaleido Cyclic", [] { return Kaleidoscope<CLozengeKaleido>(true); }},
    {"AsciiArt1", []() -> CRenderInterface* { return NewAsciiArt(FactoryAsciiRecord(0, 1)); }},
    {"AsciiArt2", []() -> CRenderInterface* { return NewAsciiArt(FactoryAsciiRecord(1, 7)); }},
    {"Cube3D", [] { return Cube(0); }},
    {"Cube3DConstant", [] { return Cube(1); }},
    {"RGB Cycling Slow", [] { return ColourCycling(2.0f, 3.5f, 4.1f, 0xBE); }},
    {"RGB Cycling Fast", [] { return ColourCycling(1.0f, 1.0f, 1.0f, 0x3E); }},
    {"MotionBlur", [] { return MotionBlur(); }},
    {"Solarize", [] { return TableColour(kSineWave, 100, 0); }},
    {"Solarize Smooth", [] { return TableColour(kSineWave, 100, 1); }},
    {"Inverse Solarize", [] { return TableColour(kCosineWave, 100, 0); }},
    {"Inverse Solarize Smooth", [] { return TableColour(kCosineWave, 100, 1); }},
    {"Posterize", [] { return TableColour(kPosterizeLevels, 100, 0); }},
    {"Posterize Smooth", [] { return TableColour(kPosterizeLevels, 100, 1); }},
    {"Saturate Quantize", [] { return TableColour(kSaturateQuantize, 100, 0); }},
    {"Saturate Quantize Smooth", [] { return TableColour(kSaturateQuantize, 100, 1); }},
    {"Posterize Hue", [] { return TableColour(kHuePosterize, 100, 0); }},
    {"Posterize Hue Smooth", [] { return TableColour(kHuePosterize, 100, 1); }},
    {"Tinta Special FX", [] { return TableColour(kHueSpecial, 75, 0); }},
    {"Tinta Special FX Smooth", [] { return TableColour(kHueSpecial, 75, 1); }},
    {"OldMovieClean", [] { return OldMovie(0); }},
    {"OldMovieDirty", [] { return OldMovie(1); }},
    {"Brightness Contrast XT", [] { return Contrast(true, 0); }},
    {"CONTRAST_BRIGHTNESS old", [] { return Contrast(false, 0); }},
    {"Contrast_Bright_Invert old", [] { return Contrast(false, 1); }},
    {"Contrast Brightness XT Inverse", [] { return Contrast(true, 1); }},
};
// clang-format on

}  // namespace

const char* FactoryName(int index) {
    return index >= 0 && index < kFactoryNameCount ? kFactoryRows[index].name : nullptr;
}

CRenderInterface* CreateEffect(const char* name, Surface* source, Surface* destination) {
    g_frame.source = source;
    g_frame.destination = destination ? destination : source;
    for (const FactoryRow& row : kFactoryRows) {
        if (std::strcmp(name, row.name) != 0) continue;
        return row.build ? row.build() : nullptr;
    }
    return nullptr;
}
