// The x86 vector intrinsics. GCC 12 takes the undefined lanes of some
// AVX-512 intrinsics for uninitialised variables once they are inlined, and
// warns; the warning is silenced for these headers only.
#pragma once

#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#include <immintrin.h>
#pragma GCC diagnostic pop
#else
#include <immintrin.h>
#endif
