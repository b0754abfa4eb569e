// The shapes on 60-degree symmetry. A column band from the centre column is
// cut into triangles by span tables; a fixed transform per piece sends each
// onto one triangle of a unit space, so every tile shows the same piece of
// the source, turned or mirrored, and neighbours meet along mirror lines.
#pragma once

#include "geometry/kaleido_base.h"

class CTriangleBase : public CKaleido2Base {
public:
    CTriangleBase(KaleidoParamRecord* record, int32_t shapeCode);
    double ComputeTileScale(double tileSize) override { return tileSize; }
};

// Equilateral triangles: the band is painted over the whole height, strip
// by strip, so nothing is doubled vertically.
class CTriangleKaleido : public CTriangleBase {
public:
    explicit CTriangleKaleido(KaleidoParamRecord* record) : CTriangleBase(record, kShapeTriangle) {}
    int32_t PaintTiles(double angle) override;
    void BuildSpanTable() override;

    // Into SpanBuffer: A, a triangle pointing right from column 0 (2n rows);
    // B, one pointing left from the band's right edge (2n rows); C, kept
    // and never painted.
    SpanEntry* SpanTableA;
    SpanEntry* SpanTableB;
    SpanEntry* SpanTableC;

private:
    void PaintTriangleTile(int32_t index, int32_t row, int32_t rows, bool upward, double yOffset,
                           const SpanEntry* spans, double angle);
};
