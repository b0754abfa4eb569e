#include "temporal/grain_rows.h"

#include <algorithm>
#include <cstddef>
#include <new>

GrainRows::GrainRows(RandomTable& table, int shift) : table_(table), shift_(shift) {
    uint32_t sum = 0;
    for (int32_t i = 0; i < kRandomTableSize; ++i) {
        before_[i] = sum;
        sum += table.values[i] & 7;
    }
    before_[kRandomTableSize] = sum;
    rows_.reset(new (std::nothrow) int8_t[size_t{kRandomTableSize} * kRandomTableSize]);
    made_.reset(new (std::nothrow) uint8_t[kRandomTableSize]());
    if (!made_) rows_.reset();
}

void GrainRows::MakeAll() {
    for (uint32_t key = 0; key < kRandomTableSize; ++key) Row(key);
}

// Row key holds the grain of a pixel whose cursor B lands on entry j when
// cursor A, less the steps of the entries before j, is key.
const int8_t* GrainRows::Row(uint32_t key) {
    int8_t* row = rows_.get() + size_t{key} * kRandomTableSize;
    if (made_[key]) return row;
    const uint32_t* values = table_.values;
    constexpr uint32_t kMask = kRandomTableSize - 1;
    for (uint32_t j = 0; j < kRandomTableSize; ++j) {
        const uint32_t n = values[(key + before_[j + 1]) & kMask] >> ((values[j] >> 5) & 15);
        row[j] = static_cast<int8_t>(static_cast<int16_t>(n) >> shift_);
    }
    made_[key] = 1;
    return row;
}

int32_t GrainRows::Take(int32_t most, const int8_t*& grain) {
    constexpr uint32_t kMask = kRandomTableSize - 1;
    const uint32_t first = (table_.cursorB + 1) & kMask;
    const int32_t count = std::min<int32_t>(most, static_cast<int32_t>(kRandomTableSize - first));
    grain = Row((table_.cursorA - before_[first]) & kMask) + first;
    table_.cursorA += before_[first + count] - before_[first];
    table_.cursorB += static_cast<uint32_t>(count);
    return count;
}
