#include "geometry/kaleido_base.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <new>

#include "shell/numeric.h"

namespace {

constexpr double kRotationLimit = 3.1415926535898;
constexpr double kTiltLimit = 0.6283185307179601;
// The painter's 16.16 coordinates cover two source widths in 31 bits.
constexpr int32_t kMaxSourceSide = 8191;

template <class T>
T Clamp(T v, int lo, int hi) {
    return static_cast<T>(std::clamp<int>(v, lo, hi));
}

}  // namespace

void NormalizeKaleidoParams(KaleidoParamRecord* r) {
    const auto* bytes = reinterpret_cast<const uint8_t*>(r);
    if (std::all_of(bytes + 8, bytes + sizeof *r, [](uint8_t b) { return b == 0; })) {
        r->GridPercent = 100;
        r->GridMode = 4;
        r->reserved12 = 3;
        r->RotationCycle = 3000;
        r->RotationChannel = 7;
        r->GridChannel = 7;
        r->flags |= 0x80;
        r->GridCycle = 2000;
        r->ScalePercent = 100;
    }
    r->GridPercent = Clamp(r->GridPercent, 25, 100);
    r->ScalePercent = Clamp(r->ScalePercent, 25, 400);
    r->Tilt = Clamp(r->Tilt, -100, 100);
    r->OffsetX = Clamp(r->OffsetX, -100, 100);
    r->OffsetY = Clamp(r->OffsetY, -100, 100);
}

void MakeStaticKaleidoRecord(KaleidoParamRecord* r) {
    r->RotationChannel = 0;
    r->RotationMode = 1;
    r->GridChannel = 1;
    r->GridMode = 2;
    r->ScaleMode = 1;
    r->ScaleChannel = 2;
    r->TiltMode = 1;
    r->TiltChannel = 3;
}

CKaleido2Base::CKaleido2Base(KaleidoParamRecord* record, int32_t shapeCode) {
    SpanBuffer = nullptr;
    GridFactor = RotationFactor = ScaleFactor = TiltFactor = OffsetXFactor = OffsetYFactor = nullptr;
    RowOffsets = nullptr;
    TileRows = TileColumns = 0;
    GridBase = TileExtent = 0.0;
    RowTableReady = false;
    ShapeCode = shapeCode;
    RotationCycle = record->RotationCycle;
    RotationChannel = record->RotationChannel;
    GridCycle = record->GridCycle;
    GridChannel = record->GridChannel;
    RotationMode = record->RotationMode;
    OffsetMode = record->OffsetMode;
    ScaleMode = record->ScaleMode;
    TiltMode = record->TiltMode;
    OffsetX = record->OffsetX;
    OffsetY = record->OffsetY;
    OffsetXChannel = record->OffsetXChannel;
    OffsetYChannel = record->OffsetYChannel;
    ScalePercent = record->ScalePercent;
    ScaleChannel = record->ScaleChannel;
    Tilt = record->Tilt;
    TiltChannel = record->TiltChannel;
    level = MachineSimdLevel();

    // Presets: a constant tile of 100, 75 or 50 percent.
    switch (record->GridMode) {
    case 0: record->GridPercent = 100; record->GridMode = 6; break;
    case 1: record->GridPercent = 75; record->GridMode = 6; break;
    case 3: record->GridPercent = 50; record->GridMode = 6; break;
    default: break;
    }
    GridMode = record->GridMode;
    GridLevel = (std::clamp<int32_t>(record->GridPercent, 25, 100) - 25) * 127 / 75;

    if (!valid || !source || (bytesPerPixel != 2 && bytesPerPixel != 4)) return;
    // Surfaces the painter and the copies can address: pixels present, rows
    // at least a picture wide, the source small enough for 16.16
    // coordinates and for 32-bit row offsets.
    if (!source->pixels || !destination->pixels || dstWidth < 1 || dstHeight < 1 || srcWidth < 1 ||
        srcHeight < 1 || srcWidth > kMaxSourceSide || srcHeight > kMaxSourceSide ||
        srcRowBytes < srcWidth * bytesPerPixel || dstRowBytes < dstWidth * bytesPerPixel ||
        int64_t{srcRowBytes} * srcHeight > INT32_MAX)
        return;
    GridBase = std::pow(5.333333333333333, 0.0009765625);
    CreateFactors();  // a factor that cannot be allocated stays null
    if (!TiltFactor || !ScaleFactor || !GridFactor || !RotationFactor || !OffsetXFactor || !OffsetYFactor) return;
    RowOffsets = static_cast<uint32_t*>(std::malloc(sizeof(uint32_t) * static_cast<size_t>(srcHeight)));
    if (!RowOffsets) return;
    for (int32_t i = 0; i < srcHeight; ++i) RowOffsets[i] = static_cast<uint32_t>(i * srcRowBytes);
    RowTableReady = true;
}

void CKaleido2Base::CreateFactors() {
    const uint32_t now = frame->time;
    // A time factor sweeps from minimum to maximum in cycle ms and back.
    auto wave = [now](double lo, double hi, int32_t cycle) -> CEffectFactor* {
        const uint32_t half = static_cast<uint32_t>(cycle);
        return new (std::nothrow) CTimeEffectFactor(lo, hi, half, half * 2u, now);
    };
    if (RotationMode == 1)
        RotationFactor = new (std::nothrow) CMidiEffectFactor(-kRotationLimit, kRotationLimit, RotationChannel);
    else if (RotationCycle != 0)
        RotationFactor = wave(-kRotationLimit, kRotationLimit, RotationCycle);
    else
        RotationFactor = new (std::nothrow) CConstantEffectFactor(0.0);

    if (GridMode == 2)
        GridFactor = new (std::nothrow) CMidiEffectFactor(0.0, 1024.0, GridChannel);
    else if (GridMode == 4)
        GridFactor = wave(0.0, 1024.0, GridCycle);
    else
        GridFactor = new (std::nothrow) CConstantEffectFactor(static_cast<double>((GridLevel << 10) / 127));

    if (ScaleMode == 0)
        ScaleFactor = new (std::nothrow) CConstantEffectFactor(std::log(ScalePercent / 100.0) / std::log(2.0));
    else if (ScaleMode == 1)
        ScaleFactor = new (std::nothrow) CMidiEffectFactor(-2.0, 2.0, ScaleChannel);

    if (TiltMode == 1)
        TiltFactor = new (std::nothrow) CMidiEffectFactor(-kTiltLimit, kTiltLimit, TiltChannel);
    else
        TiltFactor = new (std::nothrow) CConstantEffectFactor(Tilt * kTiltLimit / 100.0);

    if (OffsetMode == 0) {
        OffsetXFactor = new (std::nothrow) CConstantEffectFactor(static_cast<double>((srcWidth >> 1) * (OffsetX + 1)));
        OffsetYFactor = new (std::nothrow) CConstantEffectFactor(static_cast<double>((srcHeight >> 1) * (OffsetY + 1)));
    } else if (OffsetMode == 1) {
        OffsetXFactor = new (std::nothrow) CMidiEffectFactor(0.0, srcWidth - 1, OffsetXChannel);
        OffsetYFactor = new (std::nothrow) CMidiEffectFactor(0.0, srcHeight - 1, OffsetYChannel);
    }
}

CKaleido2Base::~CKaleido2Base() {
    std::free(RowOffsets);
    RowOffsets = nullptr;
    std::free(SpanBuffer);
    SpanBuffer = nullptr;
    for (CEffectFactor** f : {&GridFactor, &RotationFactor, &ScaleFactor, &TiltFactor, &OffsetXFactor, &OffsetYFactor}) {
        delete *f;
        *f = nullptr;
    }
}

bool CKaleido2Base::IsReady() { return valid && source && RowTableReady; }

bool CKaleido2Base::SurfacesUnchanged() const {
    return source->pixels && source->depth == bytesPerPixel * 8 && SurfaceWidth(*source) == srcWidth &&
           SurfaceHeight(*source) == srcHeight && source->rowBytes == srcRowBytes && destination->pixels &&
           destination->depth == bytesPerPixel * 8 &&
           SurfaceWidth(*destination) == dstWidth && SurfaceHeight(*destination) == dstHeight &&
           destination->rowBytes == dstRowBytes;
}

PixelPlane CKaleido2Base::Plane() const {
    uint8_t* pixels = destination->pixels;
    const ptrdiff_t L = dstRowBytes;
    return {pixels, L, bytesPerPixel, pixels + (dstHeight - 1) * L + ptrdiff_t{dstWidth} * bytesPerPixel};
}

uint8_t* CKaleido2Base::Pixel(int32_t row, int32_t column) const { return Plane().at(row, column); }

void CKaleido2Base::PaintSpans(const AffineMatrix& m, int32_t row, int32_t rows, bool upward, double xOffset,
                               double yOffset, const SpanEntry* spans) {
    if (rows <= 0) return;
    const AffineSource from{source->pixels, RowOffsets, srcRowBytes, srcWidth, srcHeight, bytesPerPixel};
    const SpanTarget to{CentreRow(row), upward ? -ptrdiff_t{dstRowBytes} : dstRowBytes, rows, spans, TileColumns};
    PaintAffineSpans(from, m, to, xOffset, yOffset, level);
}

SpanEntry* CKaleido2Base::NewSpanBuffer(int32_t count) {
    std::free(SpanBuffer);
    SpanBuffer = static_cast<SpanEntry*>(std::calloc(static_cast<size_t>(count), sizeof(SpanEntry)));
    if (!SpanBuffer) TileRows = 0;
    return SpanBuffer;
}

void CKaleido2Base::ClampSpans(int32_t count) {
    const int16_t limit = static_cast<int16_t>(std::min(TileColumns, dstWidth >> 1));
    for (int32_t i = 0; i < count; ++i) {
        SpanBuffer[i].Start = std::min(SpanBuffer[i].Start, limit);
        SpanBuffer[i].End = std::min(SpanBuffer[i].End, limit);
    }
}

void CKaleido2Base::TiltAndRotate(AffineMatrix& m, double angle) {
    if (TiltFactor) StretchDiagonal(m, TiltFactor->GetValue());
    Rotate(m, angle);
}

void CKaleido2Base::AddOffsets(AffineMatrix& m) {
    const double y = OffsetYFactor->GetValue();
    const double x = OffsetXFactor->GetValue();
    m.e += x;
    m.f += y;
}

void CKaleido2Base::Render() {
    if (!IsReady() || !SurfacesUnchanged()) return;
    Zoom = ScaleFactor ? std::pow(0.5, ScaleFactor->GetValue()) : 1.0;
    const double T = std::pow(GridBase, GridFactor->GetValue()) * 0.1875 * TileExtent;
    TileScale = ComputeTileScale(T);
    TileRows = TruncToInt32(ShapeCode == kShapeSquare ? T : T / kRootThree);
    TileColumns = TruncToInt32(T);
    // A tile of less than a row (outputs of about ten pixels), or wider than
    // a span can say (its size may be past 32 bits), ends the frame.
    if (TileRows <= 0 || TileColumns <= 0 || TileColumns > kMaxTileColumns) return;
    BuildSpanTable();
    if (TileRows <= 0) return;
    const int32_t finished = PaintTiles(RotationFactor->GetValue());
    if (ShapeCode != kShapeTriangle) DoubleVertically(finished);
    DoubleHorizontally();
    MirrorColumnsLeft(Plane(), Pixel(0, dstWidth >> 1), dstWidth >> 1, dstHeight, level);
}

void CKaleido2Base::DoubleVertically(int32_t c) {
    const int32_t half = dstHeight >> 1;
    const int32_t rem = half - c;
    if (rem <= 0 || c <= 0) return;
    const PixelPlane plane = Plane();
    int32_t top = half - c, bottom = half + c - 1;
    int32_t s = c, f = c;
    if (s <= rem) {
        do {
            MirrorRowsUp(plane, CentreRow(top), TileColumns, s);
            MirrorRowsDown(plane, CentreRow(bottom), TileColumns, s);
            top -= s;
            bottom += s;
            s *= 2;
            f += s;
        } while (f <= rem);
    }
    const int32_t last = s + rem - f;
    MirrorRowsUp(plane, CentreRow(top), TileColumns, last);
    MirrorRowsDown(plane, CentreRow(bottom), TileColumns, last);
}

void CKaleido2Base::DoubleHorizontally() {
    const int32_t W = dstWidth;
    int32_t x = (W >> 1) + TileColumns;
    int32_t k = TileColumns;
    while (x <= W) {
        if (x + k > W) {
            MirrorColumnsRight(Plane(), Pixel(0, x), W - x, dstHeight, level);
            return;
        }
        MirrorColumnsRight(Plane(), Pixel(0, x), k, dstHeight, level);
        x += k;
        k *= 2;
    }
}
