// Effect factors: the present value of one quantity as a double, behind one
// virtual call. The answer is a constant, follows one of the host's values,
// or is a wave in time; the kaleidoscopes hold six and never know which.
#pragma once

#include <cstdint>

#include "shell/frame_params.h"

class CEffectFactor {
public:
    virtual double GetValue() = 0;
    virtual ~CEffectFactor() = default;
};

class CConstantEffectFactor : public CEffectFactor {
public:
    explicit CConstantEffectFactor(double v) : value(v) {}
    double GetValue() override { return value; }

    double value;
};

// A value between minimum and maximum read from g_frame.
class CVariableEffectFactor : public CEffectFactor {
public:
    CVariableEffectFactor(double lo, double hi) : frame(&g_frame), minimum(lo), maximum(hi) {}

    FrameParams* frame;
    double minimum;
    double maximum;
};

// Follows host value paramIndex: 0 gives minimum, 255 maximum; values
// outside 0-255 extrapolate, and an index outside 0-15 reads 0.
class CMidiEffectFactor : public CVariableEffectFactor {
public:
    CMidiEffectFactor(double lo, double hi, int32_t index) : CVariableEffectFactor(lo, hi), paramIndex(index) {}
    double GetValue() override;

    int32_t paramIndex;
};

// A wave in milliseconds: a sawtooth over period when halfPeriod is 0, else
// a triangle rising during halfPeriod and falling back.
class CTimeEffectFactor2 : public CVariableEffectFactor {
public:
    CTimeEffectFactor2(double lo, double hi, uint32_t halfPeriodMs, uint32_t periodMs, uint32_t mark)
        : CVariableEffectFactor(lo, hi), phase(0), timeMark(mark), period(periodMs), halfPeriod(halfPeriodMs) {}
    // Reads at the time since the previous read, with its sign reversed, and
    // moves the mark to now.
    double GetValue() override;
    virtual double ValueAt(uint32_t t);

    uint32_t phase;
    uint32_t timeMark;
    uint32_t period;
    uint32_t halfPeriod;
};

// The wave at the time since timeMark, which stays where the creator put it.
class CTimeEffectFactor : public CTimeEffectFactor2 {
public:
    using CTimeEffectFactor2::CTimeEffectFactor2;
    double GetValue() override;
};
