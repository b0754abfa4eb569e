// 30-60-90 triangles whose corners form hexagons: a band T wide and three
// tile rows high is cut into six triangles, painted downward in an order
// that lets later pieces cover what earlier runs overreach, then mirrored
// upward and doubled.
#pragma once

#include "geometry/triangle_kaleido.h"

class CHexagonKaleido : public CTriangleBase {
public:
    explicit CHexagonKaleido(KaleidoParamRecord* record) : CTriangleBase(record, kShapeHexagon) {}
    int32_t PaintTiles(double angle) override;
    void BuildSpanTable() override;

    // Into SpanBuffer, one table per triangle of the band.
    SpanEntry* HexSpanTable[6];

private:
    void PaintHexagonTile(int32_t index, int32_t row, int32_t rows, double yOffset, const SpanEntry* spans,
                          double angle);
};
