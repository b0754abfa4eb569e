#include "geometry/cube.h"

#include <cmath>

#include "shell/module.h"

namespace {

constexpr double kMsPerTick = 16.666666666666668;
constexpr double kPi = 3.141592654;

// Faces in drawing order: the vertices on the source's four corners, and
// the three whose winding on the output tells whether the face looks at the
// viewer.
constexpr int32_t kFaceCorners[6][4] = {{1, 0, 3, 2}, {0, 4, 7, 3}, {4, 5, 6, 7},
                                        {5, 1, 2, 6}, {5, 4, 0, 1}, {2, 3, 7, 6}};
constexpr int32_t kFacingPoints[6][3] = {{0, 3, 2}, {4, 7, 3}, {5, 6, 7}, {1, 2, 6}, {4, 0, 1}, {3, 7, 6}};

// The box's corners as multiples of the half width, half height and half
// height: it is as deep as it is high.
constexpr int8_t kVertexSigns[8][3] = {{1, -1, 1},  {-1, -1, 1}, {-1, 1, 1},  {1, 1, 1},
                                       {1, -1, -1}, {-1, -1, -1}, {-1, 1, -1}, {1, 1, -1}};

int32_t WrapAdd(int32_t a, int32_t b) { return static_cast<int32_t>(static_cast<uint32_t>(a) + static_cast<uint32_t>(b)); }
int32_t WrapSub(int32_t a, int32_t b) { return static_cast<int32_t>(static_cast<uint32_t>(a) - static_cast<uint32_t>(b)); }
int32_t WrapMul(int32_t a, int32_t b) { return static_cast<int32_t>(static_cast<uint32_t>(a) * static_cast<uint32_t>(b)); }

int32_t Fixed16(int32_t v) { return static_cast<int32_t>(static_cast<uint32_t>(v) << 16); }

}  // namespace

int32_t TruncateToInt(double value) {
    if (!(value > -2147483649.0 && value < 2147483648.0)) return INT32_MIN;
    return static_cast<int32_t>(value);
}

int32_t CubeTick(uint32_t time) { return TruncateToInt(time / kMsPerTick); }

CCube3D::CCube3D(const CubeParamRecord* record) {
    cubeFlag = true;
    // Without both surfaces there is nothing to measure the box by: such an
    // instance draws nothing.
    usable = destination && source && valid;
    if (!usable) return;

    IntroSeconds = record->IntroSeconds != 0.0f ? record->IntroSeconds : 2.0f;
    DepthParam = record->DepthParam;
    OrbitEnabled = record->OrbitEnabled;
    OrbitRate = record->OrbitRate != 0 ? record->OrbitRate : 10;
    TurnSpeed = record->TurnSpeed;
    PitchSpeed = record->PitchSpeed;
    if (TurnSpeed == 0 && PitchSpeed == 0) {
        TurnSpeed = 1;
        PitchSpeed = 2;
    }
    OrbitForward = record->OrbitForward;
    FinalCopyMode4 = record->FinalCopyMode4;
    Endless = record->Endless;
    TurnMode = record->TurnMode;
    PitchMode = record->PitchMode;
    IntroTicks = TruncateToInt(IntroSeconds * 60.0f);
    TurnStart = WrapMul(TurnSpeed, 100);
    PitchStart = WrapMul(PitchSpeed, 100);
    OrbitSpeed = OrbitForward ? OrbitRate : WrapSub(0, OrbitRate);

    SourceRect = source->bounds;
    DestRect = destination->bounds;
    Centre = {static_cast<int16_t>(DestRect.right / 2), static_cast<int16_t>(DestRect.bottom / 2)};
    CurrentCentre = Centre;
    const float half[3] = {static_cast<float>(Centre.x), static_cast<float>(Centre.y), static_cast<float>(Centre.y)};
    for (int v = 0; v < 8; ++v)
        for (int k = 0; k < 3; ++k) Vertices[v][k] = kVertexSigns[v][k] * half[k];
    for (int f = 0; f < 6; ++f) {
        for (int k = 0; k < 4; ++k) Faces[f].Corners[k] = kFaceCorners[f][k];
        for (int k = 0; k < 3; ++k) Faces[f].FacingPoints[k] = kFacingPoints[f][k];
    }
    const int32_t sw = Fixed16(SourceRect.right - 1), sh = Fixed16(SourceRect.bottom - 1);
    const int32_t sourceCorners[4][2] = {{0, 0}, {sw, 0}, {sw, sh}, {0, sh}};
    for (int k = 0; k < 4; ++k) {
        Quad.corners[k].srcX = sourceCorners[k][0];
        Quad.corners[k].srcY = sourceCorners[k][1];
    }
    TurnAngle = PitchAngle = 0.0f;
    LastTick = CubeTick(frame->time);
}

void CCube3D::ProjectCube(float turn, float pitch, int32_t eye, int32_t depth) {
    const double a = static_cast<double>(turn + 90.0f) * kPi / 180.0;
    const double b = static_cast<double>(pitch + 180.0f) * kPi / 180.0;
    const auto sa = static_cast<float>(std::sin(a)), ca = static_cast<float>(std::cos(a));
    const auto sb = static_cast<float>(std::sin(b)), cb = static_cast<float>(std::cos(b));
    const auto distance = static_cast<float>(WrapAdd(WrapAdd(depth, 1000), eye));
    for (int v = 0; v < 8; ++v) {
        const float x = Vertices[v][0], y = Vertices[v][1], z = Vertices[v][2];
        const float d = distance - x * (sb * ca) - y * (sb * sa) - z * cb;
        const auto s = static_cast<float>(1000.0 / static_cast<double>(d));
        const float screenX = (y * ca - x * sa) * s + static_cast<float>(CurrentCentre.x);
        const float screenY = (z * sb - x * (cb * ca) - y * (cb * sa)) * s + static_cast<float>(CurrentCentre.y);
        Projected[v] = {static_cast<int16_t>(TruncateToInt(screenX)), static_cast<int16_t>(TruncateToInt(screenY))};
    }
}

void CCube3D::DrawCube() {
    ProjectCube(TurnAngle, PitchAngle, Centre.y, Depth);
    for (const CubeFace& face : Faces) {
        const CubePoint p0 = Projected[face.FacingPoints[0]];
        const CubePoint p1 = Projected[face.FacingPoints[1]];
        const CubePoint p2 = Projected[face.FacingPoints[2]];
        const int32_t c = WrapSub(WrapMul(p2.y - p1.y, p1.x - p0.x), WrapMul(p1.y - p0.y, p2.x - p1.x));
        if (c <= 0) continue;
        for (int k = 0; k < 4; ++k) {
            Quad.corners[k].dstX = Projected[face.Corners[k]].x;
            Quad.corners[k].dstY = Projected[face.Corners[k]].y;
        }
        if (g_blitService && g_blitService->BlitTransform)
            g_blitService->BlitTransform(source, destination, &SourceRect, &DestRect, kBlitPlain, &Quad);
    }
}

void CCube3D::Orbit(int32_t elapsed) {
    if (!OrbitEnabled) {
        OrbitRadius[0] = OrbitRadius[1] = 0;
        return;
    }
    const int32_t k = WrapMul(elapsed, OrbitSpeed) / 5;
    OrbitAngle[0] = OrbitAngle[1] = static_cast<int16_t>(k & 255);
    const float exact = static_cast<float>(Centre.y) - static_cast<float>(Centre.y) * Progress;
    int32_t r = TruncateToInt(exact);
    if (exact - static_cast<float>(r) >= 0.5f) ++r;
    OrbitRadius[0] = OrbitRadius[1] = static_cast<int16_t>(r);
    const double angle = OrbitAngle[0] * 1.40625 * kPi / 180.0;
    CurrentCentre.x = static_cast<int16_t>(TruncateToInt(std::cos(angle) * r + Centre.x));
    CurrentCentre.y = static_cast<int16_t>(TruncateToInt(std::sin(angle) * r + Centre.y));
}

void CCube3D::RenderFlyIn() {
    if (Finished) {
        CopySurfaceRect(source, destination, &SourceRect, &DestRect, FinalCopyMode4 ? kBlitCopyAlt : kBlitPlain);
        return;
    }
    const int32_t elapsed = WrapSub(CubeTick(frame->time), LastTick);
    Progress = static_cast<float>(elapsed) / static_cast<float>(IntroTicks);
    if (Progress >= 1.0f) {
        Progress = 1.0f;
        Finished = 1;
    }
    Orbit(elapsed);
    TurnAngle = static_cast<float>(TurnStart) - static_cast<float>(TurnStart) * Progress;
    PitchAngle = static_cast<float>(PitchStart) - static_cast<float>(PitchStart) * Progress;
    Depth = TruncateToInt(8000.0f - Progress * 8000.0f);
    DrawCube();
}

void CCube3D::RenderEndless() {
    const auto tick = static_cast<float>(CubeTick(frame->time));
    Progress = tick - static_cast<float>(LastTick);
    LastTick = TruncateToInt(tick);
    Depth = WrapMul(OrbitRate, 70);
    // A host value's zero point is 126.
    const auto speedOf = [this](int32_t mode, int32_t speed, int32_t param) {
        return mode == 2 ? FrameParam(frame, param) - 126 : speed;
    };
    if (TurnMode == 1 || TurnMode == 2)
        TurnAngle += static_cast<float>(speedOf(TurnMode, TurnSpeed, TurnParam)) * Progress / 5.0f;
    if (PitchMode == 1 || PitchMode == 2)
        PitchAngle += static_cast<float>(speedOf(PitchMode, PitchSpeed, PitchParam)) * Progress / 5.0f;
    DrawCube();
}

void CCube3D::Render() {
    if (!usable) return;
    if (Endless == 1)
        RenderEndless();
    else
        RenderFlyIn();
}
