#include "temporal/old_movie.h"

#include <cmath>
#include <cstring>
#include <new>

uint32_t g_movieSeed = 0;

int32_t StepMovieSeed() {
    g_movieSeed = NextMovieSeed(g_movieSeed);
    return static_cast<int32_t>(g_movieSeed) >> 16;
}

void FillRandomTable(RandomTable& table) {
    uint32_t seed = g_movieSeed;
    for (int32_t i = 0; i < kRandomTableSize; ++i) {
        seed = NextMovieSeed(seed);
        const uint32_t low = static_cast<uint32_t>(static_cast<int32_t>(seed) >> 16) & 0xFFFF;
        seed = NextMovieSeed(seed);
        const uint32_t high = static_cast<uint32_t>(static_cast<int32_t>(seed) >> 16) & 0xFFFF;
        table.values[i] = high << 16 | low;
    }
    g_movieSeed = seed;
    table.cursorA = table.values[0];
    table.cursorB = table.values[1];
}

namespace {

template <class Entry, class Pack>
void FillRamp(Entry* ramp, int32_t entries, const RampLine& line, Pack pack) {
    const int32_t steps = entries / 2;
    for (int32_t i = 0; i < steps; ++i)
        ramp[i] = pack(static_cast<uint32_t>(line.start[0] + i * line.step[0]),
                       static_cast<uint32_t>(line.start[1] + i * line.step[1]),
                       static_cast<uint32_t>(line.start[2] + i * line.step[2]));
    // Overshoot lands on the light end, a negative brightness on the dark end.
    const int32_t topEnd = steps + (entries - steps) / 2;
    for (int32_t i = steps; i < topEnd; ++i) ramp[i] = ramp[steps - 1];
    for (int32_t i = topEnd; i < entries; ++i) ramp[i] = ramp[0];
}

// Words of wordBytes in one row of the surface's picture.
int32_t WordsInRow(const Surface& s, int32_t wordBytes) {
    const int32_t bytes = SurfaceWidth(s) * (s.depth >> 3);
    return bytes > 0 ? bytes / wordBytes : 0;
}

// Dirt on the destination in the ramp's dark colour, at positions taken from
// the source's size; positions the destination does not hold are skipped.
template <class Word>
class DirtPainter {
public:
    DirtPainter(Surface& target, Word colour)
        : target_(target),
          rows_(target.pixels ? SurfaceHeight(target) : 0),
          words_(WordsInRow(target, sizeof(Word))),
          colour_(colour) {}

    void Fill(int32_t row, int32_t count) {
        if (row < 0 || row >= rows_) return;
        Word* line = reinterpret_cast<Word*>(target_.pixels + static_cast<intptr_t>(row) * target_.rowBytes);
        const int32_t n = count < words_ ? count : words_;
        for (int32_t x = 0; x < n; ++x) StorePixel(line, x, colour_);
    }
    void Dot(int32_t row, int32_t column) {
        if (row < 0 || row >= rows_ || column < 0 || column >= words_) return;
        StorePixel(reinterpret_cast<Word*>(target_.pixels + static_cast<intptr_t>(row) * target_.rowBytes), column,
                   colour_);
    }

private:
    Surface& target_;
    int32_t rows_, words_;
    Word colour_;
};

constexpr int32_t Bits16To23(uint32_t s) { return static_cast<int32_t>((s >> 16) & 0xFF); }

template <class Word>
void PaintDirt(Surface& target, Word colour, int32_t h, int32_t w) {
    DirtPainter<Word> paint(target, colour);
    uint32_t s = NextMovieSeed(g_movieSeed);
    if (((s >> 16) & 0xF) == 0) {  // a scratch, one frame in 16
        s = NextMovieSeed(s);
        paint.Fill((h * Bits16To23(s)) >> 8, w);
    }
    for (int speck = 0; speck < 3; ++speck) {
        const uint32_t s1 = NextMovieSeed(s), s2 = NextMovieSeed(s1);
        paint.Dot((Bits16To23(s1) * h) >> 8, (Bits16To23(s2) * w) >> 8);
        s = s2;
    }
    s = NextMovieSeed(s);
    g_movieSeed = s;
    if (((s >> 16) & 0x3F) == 0) {  // a blot, one frame in 64: a half disc on the left edge
        const int32_t radius = h >> 3;
        const int32_t top = (h >> 2) - radius;
        for (int32_t y = 1 - radius, row = top; y < radius; ++y, ++row) {
            const float square = static_cast<float>(radius * radius - y * y);
            paint.Fill(row, static_cast<int32_t>(std::sqrt(static_cast<double>(square))));
        }
    }
}

}  // namespace

RampLine MakeRampLine(const FilmColour& dark, const FilmColour& light, int32_t depth) {
    const int32_t scale = depth == 32 ? 256 : 1, shift = depth == 32 ? 1 : 7;
    return RampLine{{dark.red * scale, dark.green * scale, dark.blue * scale},
                    {(light.red - dark.red) >> shift, (light.green - dark.green) >> shift,
                     (light.blue - dark.blue) >> shift}};
}

uint8_t* BuildRamp(const FilmColour& dark, const FilmColour& light, int32_t depth, int32_t format) {
    if (depth == 8) return static_cast<uint8_t*>(::operator new(256));
    const RampLine line = MakeRampLine(dark, light, depth);
    if (depth == 16) {
        auto* ramp = static_cast<uint16_t*>(::operator new(sizeof(uint16_t) * kRamp16Storage));
        if (format == kFormat565)
            FillRamp(ramp, kRamp16Entries, line, [](uint32_t r, uint32_t g, uint32_t b) {
                return PackRamp565(static_cast<uint16_t>(r), static_cast<uint16_t>(g), static_cast<uint16_t>(b));
            });
        else
            FillRamp(ramp, kRamp16Entries, line, [](uint32_t r, uint32_t g, uint32_t b) {
                return PackRamp555(static_cast<uint16_t>(r), static_cast<uint16_t>(g), static_cast<uint16_t>(b));
            });
        ramp[kRamp16Entries] = ramp[kRamp16Entries + 1] = 0;
        return reinterpret_cast<uint8_t*>(ramp);
    }
    if (depth == 32) {
        auto* ramp = static_cast<uint32_t*>(::operator new(sizeof(uint32_t) * kRamp32Entries));
        FillRamp(ramp, kRamp32Entries, line, PackRamp32);
        return reinterpret_cast<uint8_t*>(ramp);
    }
    return nullptr;
}

OldMovieEffect::OldMovieEffect(const OldMovieParams* params) {
    ramp = nullptr;
    level = MachineSimdLevel();
    FillRandomTable(noise);
    if (!valid || !source) {
        failed = 1;
        return;
    }
    failed = 0;
    depth = static_cast<uint32_t>(destination->depth);
    formatCopy = static_cast<uint32_t>(destination->pixelFormat);
    std::memcpy(&record, params, sizeof record);
    if (record.recordVersion != kOldMovieVersion) {
        record.recordVersion = kOldMovieVersion;
        record.rateLimit = 1;
        record.frameRate = 15;
        record.dirt = 1;
        record.reserved2 = 1;
        record.greyMap = record.flicker = record.grain = 1;
        record.lightColour.red = record.lightColour.green = record.lightColour.blue = 0xFF00;
        record.darkColour.red = record.darkColour.green = record.darkColour.blue = 0;
    }
    createdTime = frame->time;
    lastFrameTime = 0;
    ramp = BuildRamp(record.darkColour, record.lightColour, static_cast<int32_t>(depth),
                     static_cast<int32_t>(formatCopy));
    if (!ramp) failed = 1;
    line = MakeRampLine(record.darkColour, record.lightColour, static_cast<int32_t>(depth));
    if (record.grain && (depth == 16 || depth == 32)) {
        grainRows.reset(new (std::nothrow) GrainRows(noise, depth == 32 ? 10 : 12));
        if (!grainRows || !grainRows->ready())
            failed = 1;
        else if (int64_t{SurfaceWidth(*destination)} * SurfaceHeight(*destination) >= kMakeAllGrainPixels)
            grainRows->MakeAll();
    }
    // The kernels work on two pictures of one size: a larger source is read
    // through a destination-sized copy, a smaller one is drawn at its own size
    // and copied out at the end of each frame.
    const int32_t sw = SurfaceWidth(*source), sh = SurfaceHeight(*source);
    const int32_t dw = SurfaceWidth(*destination), dh = SurfaceHeight(*destination);
    if (sw > dw || sh > dh) MatchSourceToDestination();
    if (!workSurface && (sw < dw || sh < dh)) RedirectDestination(&source->bounds);
}

OldMovieEffect::~OldMovieEffect() { ::operator delete(ramp); }

bool OldMovieEffect::TooSoon() {
    if (record.frameRate <= 0) record.frameRate = 1;
    const auto elapsed = static_cast<int32_t>(frame->time - lastFrameTime);
    if (!(static_cast<double>(elapsed) > 1000.0 / record.frameRate)) return true;
    lastFrameTime = frame->time;
    return false;
}

void OldMovieEffect::ProcessPixels() {
    if (!record.greyMap) {
        CopySurface(source, destination);
        return;
    }
    GrainRows* grain = record.grain ? grainRows.get() : nullptr;
    switch (depth) {
    case 8: InvertBytes(WordLoop(1), level); return;
    case 16: {
        const int32_t f = static_cast<int16_t>(StepMovieSeed()) >> 11;
        const int32_t flicker = record.flicker ? f : 0;
        if (formatCopy == kFormat565)
            GreyMap565(WordLoop(2), line, flicker, grain, level);
        else
            GreyMap555(WordLoop(2), line, flicker, grain, level);
        return;
    }
    case 32: {
        const int32_t f = static_cast<int16_t>(StepMovieSeed()) >> 9;
        GreyMap32(WordLoop(4), line, record.flicker ? f : 0, grain, level);
        return;
    }
    default: return;
    }
}

void OldMovieEffect::AddDirt() {
    const int32_t h = RectHeight(source->bounds), w = RectWidth(source->bounds);
    if (depth == 16) PaintDirt(*destination, reinterpret_cast<const uint16_t*>(ramp)[0], h, w);
    if (depth == 32) PaintDirt(*destination, reinterpret_cast<const uint32_t*>(ramp)[0], h, w);
}

void OldMovieEffect::Render() {
    if (failed) return;
    if (record.rateLimit && TooSoon()) return;
    RefreshWorkSurface();
    ProcessPixels();
    if (record.dirt) AddDirt();
    if (workSurface && hostDestination) CopySurface(workSurface, hostDestination);
}
