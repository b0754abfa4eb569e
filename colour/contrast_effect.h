// Brightness through a three-point curve on luminance: the same correction is
// added to each channel, so hues stay. Two rows take the levels from the
// host, two have a fixed curve; each has an inverted form.
#pragma once

#include <cstddef>
#include <cstdint>

#include "colour/contrast_curve.h"
#include "colour/contrast_kernels.h"
#include "render/render_interface.h"

constexpr uint32_t kContrastVersion = 2304;

struct ContrastParams {
    uint8_t reserved[8];
    uint32_t recordVersion;
    int32_t lowValue;  // 0 to 127
    int32_t lowParam;
    int32_t highValue;  // 0 to 127
    int32_t highParam;
    int32_t midValue;  // percent when midIsPercent
    int32_t midParam;
    uint8_t perChannel;  // each channel through the curve on its own
    uint8_t luminance;   // the luminance correction; wins over perChannel
    uint8_t midIsPercent;
    uint8_t midFromParam;
    uint8_t lowFromParam;
    uint8_t reservedA;
    uint8_t highFromParam;
    uint8_t reservedB;
    uint8_t inverse;  // the output word is complemented
};
static_assert(offsetof(ContrastParams, recordVersion) == 8);
static_assert(offsetof(ContrastParams, midParam) == 32);
static_assert(offsetof(ContrastParams, perChannel) == 36);
static_assert(offsetof(ContrastParams, highFromParam) == 42);
static_assert(offsetof(ContrastParams, inverse) == 44);

class ContrastEffect : public CRenderInterface {
public:
    explicit ContrastEffect(const ContrastParams* record);
    ~ContrastEffect() override;
    bool IsReady() override;
    void Render() override;

    // The levels of this frame's values on the destination's scale.
    ContrastLevels FrameLevels() const;
    // Rebuilds the tables of the destination's format for the stored levels;
    // the 16-bit table of every word is only marked, and made by MakePixelTable.
    void RebuildTables();
    // Makes the 16-bit table of every word from what the last rebuild for a
    // fitting format left, if it was marked since it was last made.
    void MakePixelTable();

    uint32_t keepTables;
    bool effectReady;
    ContrastParams record;
    uint16_t* pixelTable;  // 16-bit destinations
    bool pixelTableDue;    // pixelTable is to be made for pixelTableFormat
    int32_t pixelTableFormat;
    LuminanceTables* deltaTable;  // with luminance: the deltas at the destination's scale
    uint8_t* levelTable;   // perChannel
    int32_t lowLevel, midLevel, highLevel;
    uint32_t rebuilds;  // tables built so far
};
