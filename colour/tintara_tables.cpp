#include "colour/tintara_tables.h"

#include <cmath>

namespace {

// The constant as these tables have always used it, not the nearest double.
constexpr double kPi = 3.1415926535898;

double Curve(WaveCurve curve, double x) { return curve == WaveCurve::kSine ? std::sin(x) : std::cos(x); }

// entry * (1 - a) + curve * a, every step rounded to float.
void BlendWithIdentity(float a, uint8_t* table, int32_t entries) {
    const float w = 1.0f - a;
    for (int32_t i = 0; i < entries; ++i) {
        const float identity = static_cast<float>(i) * w;
        const float curve = static_cast<float>(table[i]) * a;
        table[i] = static_cast<uint8_t>(static_cast<int32_t>(identity + curve));
    }
}

// Quotient of the stepped builders; a step of 0 (a shift count past the word
// on out-of-range levels) gives 0 rather than a fault.
int32_t Quotient(int32_t n, int32_t step) { return step != 0 ? n / step : 0; }

void FillSteps(int32_t step, int32_t start, int32_t size, uint8_t top, uint8_t* table) {
    const int32_t count = size - start;
    const auto stepByte = static_cast<uint8_t>(step);
    for (int32_t i = 0; i < size; ++i)
        table[i] = i < count ? static_cast<uint8_t>(static_cast<uint8_t>(Quotient(start + i, step)) * stepByte)
                             : top;
}

}  // namespace

void BuildWaveTable8(WaveCurve curve, float a, uint8_t table8[kTable8Size]) {
    for (int32_t i = 0; i < 128; ++i)
        table8[i] = static_cast<uint8_t>(static_cast<int32_t>(Curve(curve, i * kPi / 255.0) * 255.0));
    for (int32_t i = 0; i < 128; ++i) table8[255 - i] = table8[i];
    BlendWithIdentity(a, table8, kTable8Size);
}

void BuildWaveTable5(WaveCurve curve, float a, uint8_t table5[kTable5Size + 1]) {
    for (int32_t i = 0; i < 16; ++i)
        table5[i] = static_cast<uint8_t>(static_cast<int32_t>(Curve(curve, i * kPi / 31.0) * 31.0));
    const int32_t mirror = curve == WaveCurve::kSine ? 32 : 31;
    for (int32_t i = 0; i < 16; ++i) table5[mirror - i] = table5[i];
    BlendWithIdentity(a, table5, kTable5Size);
}

void BuildSteppedTable(int32_t v, int32_t size, uint8_t top, uint8_t* table) {
    int32_t step = static_cast<int32_t>(static_cast<float>(v - 1) * static_cast<float>(size) / 127.0f);
    if (step < 1) step = 1;
    FillSteps(step, step > 2 ? step / 2 - 1 : 0, size, top, table);
}

void BuildSaturateTable8(int32_t level, uint8_t table8[kTable8Size]) {
    for (int32_t i = 0; i < kTable8Size; ++i)
        table8[i] = i <= 224 ? static_cast<uint8_t>(((i + 31) / 63 + level) * 63) : 255;
}

void BuildSaturateTable5(int32_t level5, uint8_t table5[kTable5Size]) {
    for (int32_t i = 0; i < kTable5Size; ++i)
        table5[i] = i <= 24 ? static_cast<uint8_t>(((i + 7) / 15 + level5) * 15) : 31;
}

void BuildHuePosterizeTable(int32_t level, uint8_t table5[kTable5Size]) {
    // Shift counts beyond the word wrap as the processor's shifts do.
    const uint32_t one = 1u << (static_cast<uint32_t>(level) & 31);
    const auto step = static_cast<int32_t>(one - 1);
    const int32_t start = static_cast<int32_t>(one) / 2 - 1;
    FillSteps(step, start, kTable5Size, 31, table5);
}
