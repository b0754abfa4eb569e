// The frame engine of the kaleidoscopes. A shape paints one tile (or one
// band of tiles) from the output's centre point by sampling the source, and
// everything else comes from copying finished pixels across mirror lines:
// downward and upward by doubling strips, then to the right, then the left
// half as the mirror image of the right.
#pragma once

#include <cstddef>
#include <cstdint>

#include "geometry/affine_matrix.h"
#include "geometry/pixel_mirrors.h"
#include "render/effect_factor.h"
#include "render/render_interface.h"

#pragma pack(push, 1)
struct KaleidoParamRecord {
    uint8_t reserved0[8];
    uint8_t reserved8;
    uint8_t GridPercent;  // constant tile size, 25-100
    uint8_t reserved10;
    uint8_t GridMode;  // 0, 1, 3: presets; 2: host value; 4: time; else constant
    uint8_t reserved12;
    uint8_t reserved13[3];
    int16_t RotationCycle;  // half period of the rotation sweep in ms; 0 stops it
    int16_t RotationChannel;
    uint8_t reserved20[4];
    int16_t GridChannel;
    uint8_t flags;
    int8_t RotationMode;  // 1: host value; else time
    uint8_t reserved28[2];
    int16_t GridCycle;  // half period of the grid sweep in ms
    int16_t ScaleChannel;
    int16_t ScalePercent;  // 25-400
    int16_t TiltChannel;
    int16_t OffsetXChannel;
    int16_t OffsetYChannel;
    int16_t OffsetX;  // -100 to 100, in half source widths from the centre
    int16_t OffsetY;
    int8_t ScaleMode;   // 0: constant; 1: host value; else no factor (never ready)
    int8_t OffsetMode;  // 0: constant; 1: host value; else no factor (never ready)
    int8_t TiltMode;    // 1: host value; else constant
    uint8_t reserved49;
    int16_t Tilt;  // -100 to 100, percent of the tilt range
};
#pragma pack(pop)
static_assert(sizeof(KaleidoParamRecord) == 52);
static_assert(offsetof(KaleidoParamRecord, GridPercent) == 9);
static_assert(offsetof(KaleidoParamRecord, GridMode) == 11);
static_assert(offsetof(KaleidoParamRecord, reserved12) == 12);
static_assert(offsetof(KaleidoParamRecord, RotationCycle) == 16);
static_assert(offsetof(KaleidoParamRecord, RotationChannel) == 18);
static_assert(offsetof(KaleidoParamRecord, GridChannel) == 24);
static_assert(offsetof(KaleidoParamRecord, flags) == 26);
static_assert(offsetof(KaleidoParamRecord, RotationMode) == 27);
static_assert(offsetof(KaleidoParamRecord, GridCycle) == 30);
static_assert(offsetof(KaleidoParamRecord, ScaleChannel) == 32);
static_assert(offsetof(KaleidoParamRecord, ScalePercent) == 34);
static_assert(offsetof(KaleidoParamRecord, TiltChannel) == 36);
static_assert(offsetof(KaleidoParamRecord, OffsetXChannel) == 38);
static_assert(offsetof(KaleidoParamRecord, OffsetYChannel) == 40);
static_assert(offsetof(KaleidoParamRecord, OffsetX) == 42);
static_assert(offsetof(KaleidoParamRecord, OffsetY) == 44);
static_assert(offsetof(KaleidoParamRecord, ScaleMode) == 46);
static_assert(offsetof(KaleidoParamRecord, OffsetMode) == 47);
static_assert(offsetof(KaleidoParamRecord, TiltMode) == 48);
static_assert(offsetof(KaleidoParamRecord, Tilt) == 50);

// A record that is zero behind its first 8 bytes gets every default; then
// the tile and scale percentages, tilt and offsets are clamped.
void NormalizeKaleidoParams(KaleidoParamRecord* record);
// The eight fields with which the static kaleidoscopes follow the host's
// values: rotation 0, grid 1, scale 2, tilt 3.
void MakeStaticKaleidoRecord(KaleidoParamRecord* record);

// The square root of three as the tiles are measured with.
constexpr double kRootThree = 1.7320508075689;

enum KaleidoShape : int32_t { kShapeTriangle = 1, kShapeSquare = 2, kShapeHexagon = 3 };

// Tile sizes above what a span can hold end the frame (host values far
// outside 0-255 only).
constexpr int32_t kMaxTileColumns = 32767;

class CKaleido2Base : public CRenderInterface {
public:
    // Resolves the grid presets into record.
    CKaleido2Base(KaleidoParamRecord* record, int32_t shapeCode);
    ~CKaleido2Base() override;
    bool IsReady() override;
    void Render() override;

    // Paints the tile at the centre point; returns the rows finished on each
    // side of the centre row.
    virtual int32_t PaintTiles(double angle) = 0;
    // Replaces SpanBuffer for TileRows and TileColumns; TileRows 0 when it
    // cannot be allocated.
    virtual void BuildSpanTable() = 0;
    virtual double ComputeTileScale(double tileSize) = 0;

    SpanEntry* SpanBuffer;
    int32_t TileRows;
    int32_t TileColumns;
    CEffectFactor* GridFactor;
    CEffectFactor* RotationFactor;
    CEffectFactor* ScaleFactor;
    CEffectFactor* TiltFactor;
    CEffectFactor* OffsetXFactor;
    CEffectFactor* OffsetYFactor;
    double TileScale;
    double GridBase;
    double TileExtent;  // the tile size at grid value 1024, set by the shape
    double Zoom;
    int32_t ShapeCode;
    int32_t RotationCycle, RotationChannel, GridLevel, GridCycle, GridChannel, RotationMode, GridMode, OffsetMode,
        ScaleMode, TiltMode, OffsetX, OffsetY, OffsetXChannel, OffsetYChannel, ScalePercent, ScaleChannel, Tilt,
        TiltChannel;
    bool RowTableReady;
    uint32_t* RowOffsets;
    SimdLevel level;  // the painter's and the column mirrors' vector level

protected:
    // The output as memory, and the pixel at row, column of it.
    PixelPlane Plane() const;
    uint8_t* Pixel(int32_t row, int32_t column) const;
    // The address of row at the centre column.
    uint8_t* CentreRow(int32_t row) const { return Pixel(row, dstWidth >> 1); }
    // Samples through m into rows rows from row (upward when upward), each
    // starting at the centre column, along spans.
    void PaintSpans(const AffineMatrix& m, int32_t row, int32_t rows, bool upward, double xOffset, double yOffset,
                    const SpanEntry* spans);
    // A zeroed span table of count entries in place of the old one; null and
    // TileRows 0 when memory runs out.
    SpanEntry* NewSpanBuffer(int32_t count);
    // Cuts every Start and End of the table to min(TileColumns, W>>1): no
    // run reaches past the output's right edge.
    void ClampSpans(int32_t count);
    // Stretches m by the tilt factor's value, if there is one, then turns it
    // by angle.
    void TiltAndRotate(AffineMatrix& m, double angle);
    // Moves m by the offset factors, read y first.
    void AddOffsets(AffineMatrix& m);

private:
    void CreateFactors();
    // True when the frame's surfaces are those the instance was made for.
    bool SurfacesUnchanged() const;
    void DoubleVertically(int32_t finished);
    void DoubleHorizontally();
};
