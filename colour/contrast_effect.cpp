#include "colour/contrast_effect.h"

#include <cstring>
#include <new>

#include "colour/channel_tables.h"

namespace {

ContrastParams FallbackRecord() {
    ContrastParams r{};
    r.recordVersion = kContrastVersion;
    r.lowValue = 0;
    r.lowParam = 0;
    r.highValue = 127;
    r.highParam = 1;
    r.midValue = 50;
    r.midParam = 2;
    r.luminance = 1;
    r.midIsPercent = 1;
    r.lowFromParam = 1;
    r.highFromParam = 1;
    return r;
}

// A zero-filled table, or null when memory runs out.
template <class T>
T* NewTable(size_t entries) {
    return new (std::nothrow) T[entries]();
}

}  // namespace

ContrastEffect::ContrastEffect(const ContrastParams* params) {
    effectReady = false;
    keepTables = 0;
    pixelTable = nullptr;
    pixelTableDue = false;
    pixelTableFormat = 0;
    deltaTable = nullptr;
    levelTable = nullptr;
    if (!valid || !source) return;
    std::memcpy(&record, params, sizeof record);
    if (record.recordVersion != kContrastVersion) record = FallbackRecord();
    keepTables = record.perChannel;
    const int32_t depth = destination->depth;
    if (record.perChannel && !(levelTable = NewTable<uint8_t>(256))) return;
    if (depth == 16 && !(pixelTable = NewTable<uint16_t>(65536))) return;
    // The 16-bit table is made from the deltas, which its vector loops read too.
    if (record.luminance && !(deltaTable = new (std::nothrow) LuminanceTables())) return;
    if (depth != 16 && depth != 32) return;
    if (EnsureSameSize()) {
        effectReady = true;
        lowLevel = midLevel = highLevel = -1;  // no computed level: the first frame builds
    }
}

// The tables belong to the instance whatever keepTables says: nothing else
// refers to them.
ContrastEffect::~ContrastEffect() {
    delete[] pixelTable;
    delete deltaTable;
    delete[] levelTable;
}

bool ContrastEffect::IsReady() { return valid && source && effectReady; }

ContrastLevels ContrastEffect::FrameLevels() const {
    auto fetch = [this](bool fromParam, int32_t index, int32_t fixed) {
        return fromParam ? FrameParam(frame, index) >> 1 : fixed;
    };
    const int32_t high = fetch(record.highFromParam, record.highParam, record.highValue);
    const int32_t low = fetch(record.lowFromParam, record.lowParam, record.lowValue);
    const int32_t mid = fetch(record.midFromParam, record.midParam,
                              record.midIsPercent ? record.midValue * 127 / 100 : 64);
    const float scale = record.perChannel         ? kScaleChannel
                        : destination->depth == 32 ? kScaleLuminance32
                                                   : kScaleLuminance16;
    return ComputeContrastLevels(low, mid, high, scale);
}

void ContrastEffect::RebuildTables() {
    ++rebuilds;
    const int32_t format = destination->pixelFormat;
    const bool formatFits = destination->depth == 16 ? format == kFormat555 || format == kFormat565
                                                     : format == kFormatXrgb;
    // The table of every word keeps what the last fitting rebuild gave it,
    // made from the level table before this rebuild changes it.
    if (!formatFits) MakePixelTable();
    const ContrastLevels levels{lowLevel, midLevel, highLevel};
    if (record.perChannel)
        for (uint32_t i = 0; i < 256; ++i) levelTable[i] = static_cast<uint8_t>(ChannelLevel(i, levels));
    if (!formatFits) return;  // a format the depth does not fit: the tables keep what they hold
    if (deltaTable) {
        BuildDeltaTable(levels, deltaTable->deltas);
        PrepareLuminanceTables(*deltaTable);
    }
    // 65536 entries: made when a frame reads them, which the vector loops
    // working from the deltas never do.
    pixelTableDue = pixelTable != nullptr;
    pixelTableFormat = format;
}

void ContrastEffect::MakePixelTable() {
    if (!pixelTableDue) return;
    BuildPixelTable16(pixelTableFormat, deltaTable ? deltaTable->deltas : nullptr, levelTable, pixelTable);
    pixelTableDue = false;
}

void ContrastEffect::Render() {
    if (!IsReady()) return;
    RefreshWorkSurface();
    const ContrastLevels levels = FrameLevels();
    if (levels != ContrastLevels{lowLevel, midLevel, highLevel}) {
        lowLevel = levels.low;
        midLevel = levels.mid;
        highLevel = levels.high;
        RebuildTables();
    }
    if (destination->depth == 16) {
        const uint16_t xorMask = record.inverse ? 0xFFFF : 0;
        const int32_t format = destination->pixelFormat;
        if (!record.luminance || Luminance16ReadsTable(*deltaTable, format)) MakePixelTable();
        if (record.luminance)
            ApplyLuminance16(WholeWordLoop(2), pixelTable, *deltaTable, format, xorMask);
        else
            LookUpWords16(WholeWordLoop(2), pixelTable, xorMask);
    } else if (destination->depth == 32) {
        const PixelRows rows = WholeWordLoop(4);
        const uint32_t xorMask = record.inverse ? 0xFFFFFFFFu : 0u;
        if (record.luminance)
            ApplyLuminanceDeltas(rows, *deltaTable, xorMask);
        else if (record.perChannel)
            ApplyChannelTable(rows, levelTable, xorMask);
    }
}
