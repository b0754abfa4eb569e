#include "render/effect_factor.h"

double CMidiEffectFactor::GetValue() {
    const int16_t v = static_cast<int16_t>(FrameParam(frame, paramIndex));
    return (maximum - minimum) * static_cast<double>(v) / 255.0 + minimum;
}

double CTimeEffectFactor2::ValueAt(uint32_t t) {
    if (period == 0) return minimum;
    uint32_t u = (phase + t) % period;
    if (halfPeriod != 0 && u > halfPeriod) u = period - u;
    const double divisor = static_cast<double>(halfPeriod != 0 ? halfPeriod : period);
    return (maximum - minimum) * static_cast<double>(u) / divisor + minimum;
}

double CTimeEffectFactor2::GetValue() {
    const uint32_t now = frame->time;
    const double value = ValueAt(timeMark - now);
    timeMark = now;
    return value;
}

double CTimeEffectFactor::GetValue() { return ValueAt(frame->time - timeMark); }
