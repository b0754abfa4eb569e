// Conversions with the machine's defined results where C++ leaves them open.
#pragma once

#include <cstdint>

// Double to 32-bit integer, truncating toward zero. NaN and values out of
// range give INT32_MIN, the answer of the processor's truncating conversion.
inline int32_t TruncToInt32(double v) {
    if (v > -2147483649.0 && v < 2147483648.0) return static_cast<int32_t>(v);
    return INT32_MIN;
}

// 32-bit addition that wraps.
inline int32_t WrapAdd(int32_t a, int32_t b) {
    return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b));
}
