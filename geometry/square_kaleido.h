// The shapes on 90-degree symmetry: one triangular cell of a tile square,
// right of and below the centre point, is sampled; diagonal mirrors fill the
// tile square, the rest is doubling. The cell lies above the main diagonal
// (on the square's top row) on a wide output and below it (on the left
// column) on a tall one; on a wide output the sampling swaps its axes so
// that the picture does not depend on the choice.
#pragma once

#include <algorithm>

#include "geometry/kaleido_base.h"

class CSquareBase : public CKaleido2Base {
public:
    explicit CSquareBase(KaleidoParamRecord* record) : CKaleido2Base(record, kShapeSquare) {}

protected:
    // The unit matrix, with x and y swapped on a wide output by a quarter
    // turn of 1.5707963267949 (whose cosine is not quite 0).
    AffineMatrix CellMatrix() const;
    // Rows and columns of the tile square inside the output's lower right
    // quarter.
    int32_t CellRows() const { return std::min(dstHeight >> 1, TileRows); }
    int32_t CellColumns() const { return std::min(dstWidth >> 1, TileRows); }
};

// Half a tile square, cut by the main diagonal; one diagonal mirror fills
// the square.
class CSquareKaleido : public CSquareBase {
public:
    explicit CSquareKaleido(KaleidoParamRecord* record);
    int32_t PaintTiles(double angle) override;
    void BuildSpanTable() override;
    double ComputeTileScale(double tileSize) override;
};

// A quarter of a tile square, between one side and the middle; a diagonal
// and an anti-diagonal mirror fill the square, and mirrored squares show
// diamonds.
class CLozengeKaleido : public CSquareBase {
public:
    explicit CLozengeKaleido(KaleidoParamRecord* record);
    int32_t PaintTiles(double angle) override;
    void BuildSpanTable() override;
    // Replaced by PaintTiles before it is used.
    double ComputeTileScale(double tileSize) override { return srcHeight / tileSize; }

private:
    void MirrorCell();
};
