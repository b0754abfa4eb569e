// The grain of the old movie as rows of bytes. Cursor B steps through the
// random table one entry a pixel and cursor A by the low three bits of each
// entry B lands on, so over one pass of B through the table the grain is set
// by where A stood when B left the table's end, modulo the table size: 2048
// possible rows of 2048 values, 4 MB in all, each made when first needed and
// kept, after which a pixel's grain is one byte read. A frame walks about one
// row for every 2048 pixels, so a film of large pictures makes them all when
// it is created (a few milliseconds) and no frame pays for them; a small one
// makes the few it walks as it goes.
#pragma once

#include <cstdint>
#include <memory>

#include "temporal/film_grain.h"

// Films of pictures this large (a frame walks 64 rows or more) make every row
// when they are created.
constexpr int64_t kMakeAllGrainPixels = 1 << 17;

class GrainRows {
public:
    // The table's values must stay as they are while this lives; its cursors
    // are the ones Take moves. shift is the grain's shift (12 or 10).
    GrainRows(RandomTable& table, int shift);

    // False when the rows could not be allocated: the film cannot draw.
    bool ready() const { return rows_ != nullptr; }
    // Makes every row now.
    void MakeAll();

    // The grain of the next pixels, at most `most` (above 0) and no further
    // than the end of the table for cursor B: sets grain to their values and
    // returns how many, having moved both cursors past them as NextGrain does.
    int32_t Take(int32_t most, const int8_t*& grain);

    RandomTable& table() { return table_; }

private:
    const int8_t* Row(uint32_t key);

    RandomTable& table_;
    int shift_;
    // Sum of the steps of cursor A over the entries before each one.
    uint32_t before_[kRandomTableSize + 1];
    std::unique_ptr<int8_t[]> rows_;
    std::unique_ptr<uint8_t[]> made_;  // one flag a row
};
