// The grain of the old movie as rows of bytes. Cursor B steps through the
// random table one entry a pixel and cursor A by the low three bits of each
// entry B lands on, so over one pass of B through the table the grain is set
// by where A stood when B left the table's end, modulo the table size: 2048
// possible rows of 2048 values. All of them are made with the film (4 MB, a
// few milliseconds), so that no frame pays for them and a pixel's grain is
// one byte read.
#pragma once

#include <cstdint>
#include <memory>

#include "temporal/film_grain.h"

class GrainRows {
public:
    // The table's values must stay as they are while this lives; its cursors
    // are the ones Take moves. shift is the grain's shift (12 or 10).
    GrainRows(RandomTable& table, int shift);

    // False when the rows could not be allocated: the film cannot draw.
    bool ready() const { return rows_ != nullptr; }

    // The grain of the next pixels, at most `most` (above 0) and no further
    // than the end of the table for cursor B: sets grain to their values and
    // returns how many, having moved both cursors past them as NextGrain does.
    int32_t Take(int32_t most, const int8_t*& grain);

    RandomTable& table() { return table_; }

private:
    const int8_t* Row(uint32_t key) const;

    RandomTable& table_;
    int shift_;
    // Sum of the steps of cursor A over the entries before each one.
    uint32_t before_[kRandomTableSize + 1];
    std::unique_ptr<int8_t[]> rows_;
};
