#include "colour/smooth_pass.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "colour/smooth_mean_rows.h"
#include "shell/numeric.h"

namespace {

// Room for width slots and one guard slot, grown to a multiple of 16 bytes.
uint32_t RowSlotBytes(int32_t width) {
    const uint32_t bytes = static_cast<uint32_t>(width) * 4 + 4;
    return bytes % 16 == 0 ? bytes : bytes + (16 - bytes % 16);
}

// A zeroed block of count times size bytes, the product taken in 32 bits: one
// that does not fit fails, as the largest request would.
uint8_t* AllocateBlock(uint32_t count, uint32_t size) {
    const uint64_t bytes = uint64_t{count} * size;
    if (bytes > UINT32_MAX) return nullptr;
    return static_cast<uint8_t*>(std::calloc(bytes, 1));
}

// The bytes a surface's own picture covers, as offsets from its pixels: its
// rows at rowBytes, each as wide as its bounds at its depth. Every access of
// the pass stays inside, so surfaces of other sizes, depths or steps than the
// picture being filtered never lead outside their memory.
struct Span {
    int64_t begin = 0;
    int64_t end = 0;
};

Span PictureSpan(const Surface& s) {
    const int64_t height = SurfaceHeight(s), width = SurfaceWidth(s), bytes = s.depth / 8;
    if (!s.pixels || height <= 0 || width <= 0 || bytes <= 0) return {};
    const int64_t lastRow = (height - 1) * int64_t{s.rowBytes};
    return {std::min<int64_t>(0, lastRow), std::max<int64_t>(0, lastRow) + width * bytes};
}

// The words [first, end) of a row of count words of size bytes at offset that
// lie wholly inside the span.
struct Cut {
    int32_t first;
    int32_t end;
};

Cut CutRow(const Span& span, int64_t offset, int32_t count, int32_t size) {
    const int64_t first = offset >= span.begin ? 0 : (span.begin - offset + size - 1) / size;
    const int64_t end =
        offset >= span.end ? 0 : std::min<int64_t>(count, (span.end - offset) / size);
    if (first >= end) return {0, 0};
    return {static_cast<int32_t>(first), static_cast<int32_t>(end)};
}

using Unpacker = void (*)(const uint8_t* pixels, uint8_t* slots, int32_t count, int32_t format,
                          SimdLevel level);
using Packer = void (*)(const uint8_t* slots, uint8_t* pixels, int32_t count, int32_t format,
                        SimdLevel level);

void Unpack16(const uint8_t* pixels, uint8_t* slots, int32_t count, int32_t format,
              SimdLevel level) {
    UnpackSlots16(reinterpret_cast<const uint16_t*>(pixels), slots, count, format, level);
}
void Pack16(const uint8_t* slots, uint8_t* pixels, int32_t count, int32_t format, SimdLevel level) {
    PackSlots16(slots, reinterpret_cast<uint16_t*>(pixels), count, format, level);
}
void Copy32(const uint8_t* from, uint8_t* to, int32_t count, int32_t, SimdLevel) {
    if (count > 0) std::memcpy(to, from, static_cast<size_t>(count) * 4);
}

// One call: the two surfaces with their spans, the width of the picture and
// the converters of its format.
struct Pass {
    Surface* from;
    Surface* to;
    Span fromSpan, toSpan;
    int32_t width;
    int32_t pixelBytes;
    int32_t format;
    SimdLevel level;
    Unpacker unpack;
    Packer pack;

    // The row of from at offset into slots; slots outside from's memory
    // read as 0.
    void ReadRow(int64_t offset, uint8_t* slots) const {
        const Cut cut = CutRow(fromSpan, offset, width, pixelBytes);
        std::memset(slots, 0, static_cast<size_t>(cut.first) * 4);
        if (cut.end > cut.first)
            unpack(from->pixels + offset + int64_t{cut.first} * pixelBytes, slots + 4 * cut.first,
                   cut.end - cut.first, format, level);
        const int32_t tail = std::max(cut.end, cut.first);
        std::memset(slots + 4 * tail, 0, static_cast<size_t>(width - tail) * 4);
    }
    void WriteRow(int64_t offset, const uint8_t* slots) const {
        const Cut cut = CutRow(toSpan, offset, width, pixelBytes);
        if (cut.end > cut.first)
            pack(slots + 4 * cut.first, to->pixels + offset + int64_t{cut.first} * pixelBytes,
                 cut.end - cut.first, format, level);
    }
    void ClearRow(int64_t offset) const {
        const Cut cut = CutRow(toSpan, offset, width, pixelBytes);
        if (cut.end > cut.first)
            std::memset(to->pixels + offset + int64_t{cut.first} * pixelBytes, 0,
                        static_cast<size_t>(cut.end - cut.first) * pixelBytes);
    }
};

void StoreZeroSlot(uint8_t* slots, int32_t index) {
    std::memset(slots + 4 * index, 0, 4);
}

// Whether the plain mean can run on the pixels themselves: both pictures of
// one depth and size, rows of whole pixels at one positive step, and the two
// either the same memory or apart.
bool DirectMean(const Surface& from, const Surface& to, SmoothWeightPair weights) {
    if (weights.neighbour != 8192 || weights.centre != 0) return false;
    if ((from.depth != 32 && from.depth != 16) || to.depth != from.depth) return false;
    const int32_t width = SurfaceWidth(from), height = SurfaceHeight(from);
    if (width < 3 || height < 3 || SurfaceWidth(to) < width || SurfaceHeight(to) < height)
        return false;
    const int64_t rowBytes = int64_t{width} * (from.depth / 8);
    if (from.rowBytes != to.rowBytes || from.rowBytes % 2 != 0 || from.rowBytes < rowBytes)
        return false;
    if (from.pixels == to.pixels) return true;
    const int64_t bytes = int64_t{height - 1} * from.rowBytes + rowBytes;
    const auto f = reinterpret_cast<uintptr_t>(from.pixels), t = reinterpret_cast<uintptr_t>(to.pixels);
    return f + static_cast<uint64_t>(bytes) <= t || t + static_cast<uint64_t>(bytes) <= f;
}

// The plain mean of 32-bit pictures row by row straight from from into to.
// One saved row holds the original of the row above, since in place the
// row itself is overwritten while the next row still needs it.
int32_t SmoothDirect32(const Surface& from, const Surface& to, SimdLevel level) {
    const int32_t width = SurfaceWidth(from), height = SurfaceHeight(from);
    const size_t rowBytes = static_cast<size_t>(width) * 4;
    const int64_t step = from.rowBytes;
    auto* save = static_cast<uint8_t*>(std::malloc(rowBytes));
    if (!save) return -1;
    std::memcpy(save, from.pixels, rowBytes);
    std::memset(to.pixels, 0, rowBytes);
    for (int32_t y = 1; y < height - 1; ++y) {
        const uint8_t* middle = from.pixels + y * step;
        MeanRow32(save, middle, middle + step, to.pixels + y * step, save, width, level);
    }
    std::memset(to.pixels + (height - 1) * step, 0, rowBytes);
    std::free(save);
    return 1;
}

// The plain mean of 16-bit pictures: each row is unpacked once into a ring
// of three slot rows, and the filter packs its pixels straight into to.
// A row of to is written only after the row below it has been unpacked, so
// the pass is safe in place.
int32_t SmoothDirect16(const Surface& from, const Surface& to, SimdLevel level) {
    const int32_t width = SurfaceWidth(from), height = SurfaceHeight(from);
    const int32_t format = from.pixelFormat;
    const int64_t step = from.rowBytes;
    const uint32_t slotBytes = RowSlotBytes(width);
    uint8_t* ring = AllocateBlock(3, slotBytes);
    if (!ring) return -1;
    uint8_t* rows[3] = {ring, ring + slotBytes, ring + 2 * slotBytes};
    const auto unpack = [&](int32_t y, uint8_t* slots) {
        UnpackSlots16(reinterpret_cast<const uint16_t*>(from.pixels + y * step), slots, width,
                      format, level);
    };
    unpack(0, rows[0]);
    unpack(1, rows[1]);
    std::memset(to.pixels, 0, static_cast<size_t>(width) * 2);
    for (int32_t y = 1; y < height - 1; ++y) {
        uint8_t* const above = rows[(y - 1) % 3];
        uint8_t* const middle = rows[y % 3];
        uint8_t* const below = rows[(y + 1) % 3];
        unpack(y + 1, below);
        MeanSlotsToPixels16(above, middle, below, to.pixels + y * step, width, format, level);
    }
    std::memset(to.pixels + (height - 1) * step, 0, static_cast<size_t>(width) * 2);
    std::free(ring);
    return 1;
}

}  // namespace

SmoothWeightPair SmoothWeights(float smoothAmount, float neighbourGain) {
    const float neighbour = smoothAmount * neighbourGain * 8192.0f;
    const double centre = (1.0 - static_cast<double>(smoothAmount)) * 65536.0;
    return {TruncToInt32(neighbour), TruncToInt32(centre)};
}

int32_t SmoothSurface(Surface* from, Surface* to, int32_t, float smoothAmount,
                      float neighbourGain) {
    return SmoothSurfaceWeighted(from, to, SmoothWeights(smoothAmount, neighbourGain));
}

int32_t SmoothSurfaceWeighted(Surface* from, Surface* to, SmoothWeightPair weights,
                              SimdLevel level) {
    if (!from || !to || !from->pixels || !to->pixels) return 1;
    // The direct 16-bit filter is the faster only with AVX-512; below it the
    // row kernels of smooth_kernels.h are.
    if (DirectMean(*from, *to, weights)) {
        if (from->depth == 32) return SmoothDirect32(*from, *to, level);
        if (level >= SimdLevel::kAvx512Vbmi) return SmoothDirect16(*from, *to, level);
    }
    const bool sixteen = to->depth == 16;
    Pass pass{from,
              to,
              PictureSpan(*from),
              PictureSpan(*to),
              std::max(0, SurfaceWidth(*from)),
              sixteen ? 2 : 4,
              from->pixelFormat,
              level,
              sixteen ? Unpack16 : Copy32,
              sixteen ? Pack16 : Copy32};
    const int32_t width = pass.width;
    const int32_t height = std::max(0, SurfaceHeight(*from));
    // Rows step by an even number of bytes.
    const int64_t fromStep = from->rowBytes / 2 * 2;
    const int64_t toStep = to->rowBytes / 2 * 2;

    const uint32_t rowSlotBytes = RowSlotBytes(width);
    uint8_t* rowBlock = AllocateBlock(3, rowSlotBytes);
    if (!rowBlock) return -1;
    uint8_t* outBlock = AllocateBlock(1, rowSlotBytes + 32);
    if (!outBlock) {
        std::free(rowBlock);
        return -1;
    }
    uint8_t* out = outBlock + 16;
    uint8_t* above = rowBlock;
    uint8_t* middle = rowBlock + rowSlotBytes;
    uint8_t* below = rowBlock + 2 * rowSlotBytes;

    pass.ReadRow(0, above);
    pass.ReadRow(fromStep, middle);
    // Row 0 is cleared only now that both rows it feeds have been read, so
    // the pass is safe in place. Row 1 of to lies one step of from below it.
    pass.ClearRow(0);
    int64_t toOffset = fromStep;

    for (int32_t y = 1; y < height - 1; ++y) {
        pass.ReadRow((y + 1) * fromStep, below);
        StoreZeroSlot(above, width);
        StoreZeroSlot(middle, width);
        StoreZeroSlot(below, width);
        StoreZeroSlot(out, 0);
        FilterSlotRow(above, middle, below, out, width, weights, sixteen, level);
        StoreZeroSlot(out, std::max(1, width - 1));
        pass.WriteRow(toOffset, out);
        toOffset += toStep;
        uint8_t* const oldAbove = above;
        above = middle;
        middle = below;
        below = oldAbove;
    }
    // The last row, or for a picture one row high the row below it.
    pass.ClearRow(toOffset);

    std::free(outBlock);
    std::free(rowBlock);
    return 1;
}
