// The old movie: every pixel's brightness mapped onto a ramp between two
// colours, the whole frame flickering, grain on every pixel and, in the dirty
// form, scratches, specks and blots, all at a film-like rate of its own.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

#include "render/render_interface.h"
#include "render/simd_level.h"
#include "temporal/film_grain.h"
#include "temporal/grain_rows.h"

constexpr uint32_t kOldMovieVersion = 2302;

// A colour with 0xFF00 as full scale in each channel.
struct FilmColour {
    uint16_t reserved;
    uint16_t red, green, blue;
};

struct OldMovieParams {
    uint8_t header[8];
    uint32_t recordVersion;
    uint8_t rateLimit;  // non-zero: draw at most frameRate times a second
    uint8_t reserved[3];
    int32_t frameRate;
    uint8_t dirt;
    uint8_t reserved2;
    uint8_t greyMap;  // zero: a plain copy instead of the ramp
    uint8_t flicker;
    uint8_t grain;
    uint8_t reserved3;
    FilmColour lightColour;
    FilmColour darkColour;  // also the colour of all dirt
    uint8_t tail[2];
};
static_assert(offsetof(OldMovieParams, recordVersion) == 8);
static_assert(offsetof(OldMovieParams, rateLimit) == 12);
static_assert(offsetof(OldMovieParams, frameRate) == 16);
static_assert(offsetof(OldMovieParams, dirt) == 20);
static_assert(offsetof(OldMovieParams, greyMap) == 22);
static_assert(offsetof(OldMovieParams, grain) == 24);
static_assert(offsetof(OldMovieParams, lightColour) == 26);
static_assert(offsetof(OldMovieParams, darkColour) == 34);
static_assert(sizeof(OldMovieParams) == 44);

// The module-wide random seed that every instance draws from: 0 when the
// module loads, never taken from a clock, so that the same calls in the same
// order give the same pictures.
extern uint32_t g_movieSeed;
constexpr uint32_t NextMovieSeed(uint32_t seed) { return seed * 1103515245u + 12345u; }
// One step of g_movieSeed; its output is the new seed, signed, shifted right 16.
int32_t StepMovieSeed();

// 2048 pairs of 16-bit outputs, then the cursors set from the first two words.
void FillRandomTable(RandomTable& table);

// The line of the ramp from dark to light at a depth of 16 or 32: 128 steps
// of the colours at 16 bits, 512 at 32.
RampLine MakeRampLine(const FilmColour& dark, const FilmColour& light, int32_t depth);

// The ramp from dark to light in the pixel format of the depth (8: 256 bytes
// left as they are; 16: 256 words; 32: 1024 words), or null for another depth.
// Its last stretches repeat the ends, so that an overshooting or negative
// brightness, masked, clamps itself.
uint8_t* BuildRamp(const FilmColour& dark, const FilmColour& light, int32_t depth, int32_t format);

class OldMovieEffect : public CRenderInterface {
public:
    explicit OldMovieEffect(const OldMovieParams* params);
    ~OldMovieEffect() override;
    void Render() override;

    uint32_t failed;
    uint32_t depth;
    uint32_t formatCopy;
    OldMovieParams record;
    uint32_t createdTime;
    uint32_t lastFrameTime;
    uint8_t* ramp;  // the dirt takes its first entry
    RampLine line;
    RandomTable noise;
    std::unique_ptr<GrainRows> grainRows;  // over noise, at 16 and 32 bits
    SimdLevel level;

private:
    bool TooSoon();
    void ProcessPixels();
    void AddDirt();
};
