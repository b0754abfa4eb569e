// The cube: the source picture on all six faces of a box turning in space.
// The module rotates and projects the box's corners and hands every face in
// view to the host as a textured quadrilateral. "Cube3D" flies in from far
// away until one face fills the output, then copies; "Cube3DConstant" spins
// for ever. Geometry is in single precision; the sines and cosines, the
// perspective division and the orbit's centre are worked out in double.
#pragma once

#include <cstddef>
#include <cstdint>

#include "render/render_interface.h"

struct CubeParamRecord {
    uint8_t reserved[8];
    float IntroSeconds;  // length of the fly-in; 0 means 2
    int32_t DepthParam;
    int32_t OrbitEnabled;  // the centre spirals in during the fly-in
    int32_t OrbitRate;     // orbit speed; depth in units of 70 when endless; 0 means 10
    int32_t TurnSpeed;     // both speeds 0 means 1 and 2
    int32_t PitchSpeed;
    int32_t OrbitForward;  // 0: the orbit runs backwards
    int32_t FinalCopyMode4;
    uint8_t reserved2[8];
    int32_t Endless;  // 1: spin for ever
    int32_t TurnMode;   // when endless: 1 TurnSpeed, 2 host value, else still
    int32_t PitchMode;  // the same for PitchSpeed
};
static_assert(offsetof(CubeParamRecord, IntroSeconds) == 8);
static_assert(offsetof(CubeParamRecord, FinalCopyMode4) == 36);
static_assert(offsetof(CubeParamRecord, Endless) == 48);
static_assert(offsetof(CubeParamRecord, PitchMode) == 56);
static_assert(sizeof(CubeParamRecord) == 60);

struct CubePoint {
    int16_t x, y;
};

struct CubeFace {
    int32_t Corners[4];       // vertices on the source's corners, in quad order
    int32_t FacingPoints[3];  // vertices whose winding tells whether the face is in view
};

// Milliseconds to ticks of a 60th of a second, truncated.
int32_t CubeTick(uint32_t time);
// A float or double truncated toward zero as the processor's conversion does:
// a value outside 32 bits, or not a number, gives INT32_MIN.
int32_t TruncateToInt(double value);

class CCube3D : public CRenderInterface {
public:
    explicit CCube3D(const CubeParamRecord* record);
    void Render() override;

    // Rotates and projects the eight vertices into Projected.
    void ProjectCube(float turn, float pitch, int32_t eye, int32_t depth);
    // ProjectCube, then every face in view through the host.
    void DrawCube();

    bool usable;  // both surfaces were there at creation
    float TurnAngle, PitchAngle;
    int32_t Finished;
    int32_t OrbitSpeed;
    int32_t Depth;
    int32_t TurnSpeed, PitchSpeed, OrbitEnabled, OrbitForward, DepthParam, OrbitRate;
    int32_t TurnParam, PitchParam;
    int32_t FinalCopyMode4, Endless, TurnMode, PitchMode;
    int32_t LastTick;
    int32_t IntroTicks;
    int32_t TurnStart, PitchStart;
    float Progress;
    float IntroSeconds;
    SurfaceRect SourceRect, DestRect;
    float Vertices[8][3];
    CubePoint Projected[8];
    CubePoint Centre;
    CubePoint CurrentCentre;
    int16_t OrbitAngle[2], OrbitRadius[2];
    CubeFace Faces[6];
    BlitParams Quad;

private:
    void RenderFlyIn();
    void RenderEndless();
    void Orbit(int32_t elapsed);
};
