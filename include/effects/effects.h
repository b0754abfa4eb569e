/*
 * effects.h - the boundary of the effects module (libeffects.so), for hosts.
 *
 * The module exports one function, plugin_main. A host dlopens the module,
 * looks plugin_main up, and calls it with a HostContext whose functionCode
 * says what it asks:
 *
 *   EFFECTS_PLUGIN_KIND (5)      result = EFFECTS_CODE_SERV ('SERV')
 *   EFFECTS_PLUGIN_IDENTITY (7)  result = EFFECTS_CODE_EFFX ('EFFX')
 *   EFFECTS_PLUGIN_OPEN (8)      result = 0; the module keeps the context,
 *                                which must outlive it. A hostTable below
 *                                EFFECTS_MIN_HOST_VERSION is refused:
 *                                hostStatus is cleared, result is left alone
 *                                and the EffectApi is zeroed.
 *   EFFECTS_PLUGIN_GET_API (10)  result = address of the module's EffectApi
 *   EFFECTS_PLUGIN_CLOSE (9)     result = 0
 *
 * The module asks the host for functions by number through
 * HostTable.HostGetFunction, at each use:
 *
 *   EFFECTS_HOST_FIND_SERVICE (6)  a HostFindServiceFn; the module asks it
 *                                  for EFFECTS_CODE_BLIT ('BLIT') and expects
 *                                  a BlitService
 *   EFFECTS_HOST_LOG (18)          a HostLogFn for the module's log lines
 *
 * A host answers null for any function it does not have. Without a blit
 * service every entry point of the EffectApi gives its empty answer
 * (GetEffectCount returns 0, CreateEffect returns null), so a host must at
 * least provide BlitCheckRect and BlitCopy for 32-bit surfaces.
 *
 * Plain C99 and C++; the records match the module's for x86-64 Linux.
 */
#ifndef EFFECTS_EFFECTS_H
#define EFFECTS_EFFECTS_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Version word of the EffectApi this header describes. */
#define EFFECTS_API_VERSION 0x10000u
/* The lowest HostTable.version the module opens with. */
#define EFFECTS_MIN_HOST_VERSION 0x20000

/* Four-character codes, read big-endian. */
#define EFFECTS_CODE_BLIT 0x424C4954u /* 'BLIT': the blit service */
#define EFFECTS_CODE_SERV 0x53455256u /* 'SERV': answer to code 5 */
#define EFFECTS_CODE_EFFX 0x45464658u /* 'EFFX': answer to code 7 */

/* Function codes of plugin_main (HostContext.functionCode). */
#define EFFECTS_PLUGIN_KIND 5u
#define EFFECTS_PLUGIN_IDENTITY 7u
#define EFFECTS_PLUGIN_OPEN 8u
#define EFFECTS_PLUGIN_CLOSE 9u
#define EFFECTS_PLUGIN_GET_API 10u

/* Host function numbers the module passes to HostGetFunction. */
#define EFFECTS_HOST_FIND_SERVICE 6u
#define EFFECTS_HOST_LOG 18u

/* Values of Surface.pixelFormat. */
#define EFFECTS_FORMAT_555 1  /* 16 bits: blue 0-4, green 5-9, red 10-14 */
#define EFFECTS_FORMAT_565 2  /* 16 bits: blue 0-4, green 5-10, red 11-15 */
#define EFFECTS_FORMAT_XRGB 3 /* 32 bits: blue 0-7, green 8-15, red 16-23 */

/* Modes the module passes to BlitCopy and BlitTransform. */
#define EFFECTS_BLIT_PLAIN 1     /* nearest-neighbour copy or textured quad */
#define EFFECTS_BLIT_COPY_ALT 4  /* nearest-neighbour copy */
#define EFFECTS_BLIT_BLEND 5     /* BlitTransform: blend by blendLevel */
#define EFFECTS_BLIT_REDUCE 0x81 /* BlitCopy: average of covered pixels */

/* ---- Host side ---------------------------------------------------------- */

typedef struct HostContext HostContext;

typedef void (*HostFunction)(void);
typedef HostFunction (*HostGetFunctionFn)(uint32_t number);
/* Number 6: the service of code, or null. context is the one given to open. */
typedef void* (*HostFindServiceFn)(HostContext* context, uint32_t code);
/* Number 18: one log line, without its newline. */
typedef void (*HostLogFn)(const char* text);

typedef struct HostTable {
    int32_t version;                   /* at least EFFECTS_MIN_HOST_VERSION */
    uint8_t hostWords[164];            /* the host's; the module ignores them */
    HostGetFunctionFn HostGetFunction; /* host functions by number, or null */
} HostTable;

struct HostContext {
    uint64_t hostStatus;   /* cleared by the module when it refuses the host */
    uint64_t hostWord;     /* the host's */
    uint32_t functionCode; /* the request of this call */
    uint32_t hostWord2;    /* the host's */
    HostTable* hostTable;  /* the host's table; must outlive the open module */
    uint64_t result;       /* the module's answer */
};

/* ---- Surfaces ----------------------------------------------------------- */

/* A rectangle; bottom and right are exclusive. */
typedef struct SurfaceRect {
    int16_t top;
    int16_t left;
    int16_t bottom;
    int16_t right;
} SurfaceRect;

typedef struct Surface {
    uint8_t* pixels;     /* first byte of the first row; may be null */
    int32_t depth;       /* bits per pixel: 16 or 32 */
    SurfaceRect bounds;  /* the picture, usually {0, 0, height, width} */
    int32_t rowBytes;    /* bytes from one row to the next */
    int32_t ownsPixels;  /* 0 for host surfaces */
    int32_t pixelFormat; /* EFFECTS_FORMAT_* */
    uint64_t reserved;   /* 0 */
    int32_t reserved2;   /* 0 */
    int32_t unused;      /* 0 */
} Surface;

/* ---- The blit service (EFFECTS_CODE_BLIT) -------------------------------- */

/* A corner of a textured quadrilateral: destination in whole pixels, source
 * in 16.16 fixed point. */
typedef struct BlitCorner {
    int32_t dstX;
    int32_t dstY;
    int32_t srcX;
    int32_t srcY;
} BlitCorner;

typedef struct BlitParams {
    uint64_t kind;         /* 0 for a blend */
    int32_t word8;         /* not needed by a host */
    int32_t blendLevel;    /* blend: the source's weight in percent */
    uint8_t words16[20];   /* not needed by a host */
    int32_t blendKind;     /* 5 for a blend */
    int32_t word40;        /* not needed by a host */
    BlitCorner corners[4]; /* mode 1: the quadrilateral; all zero for a copy */
} BlitParams;

/* Maps fromRect of from onto toRect of to (each in its surface's bounds). */
typedef void (*BlitCopyFn)(Surface* from, Surface* to, const SurfaceRect* fromRect,
                           const SurfaceRect* toRect, int32_t mode);
/* Blends (mode 5) or draws a textured quadrilateral (mode 1). */
typedef void (*BlitTransformFn)(Surface* from, Surface* to, const SurfaceRect* fromRect,
                                const SurfaceRect* toRect, int32_t mode, BlitParams* params);
/* Non-zero when a is non-empty and lies within b. */
typedef int32_t (*BlitCheckRectFn)(const SurfaceRect* a, const SurfaceRect* b);

typedef struct BlitService {
    void* words[11];               /* the host's; the module ignores them */
    BlitCopyFn BlitCopy;           /* needed by every effect */
    BlitTransformFn BlitTransform; /* blends and quads; may be null */
    BlitCheckRectFn BlitCheckRect; /* needed by every effect */
} BlitService;

/* ---- Module side -------------------------------------------------------- */

/* An effect instance, opaque to the host. */
typedef struct EffectHandle EffectHandle;

/* A catalogue row, filled by GetEffectInfo. */
typedef struct EffectInfo {
    const char* name;       /* the name CreateEffect takes; "" past the end */
    int32_t paramCount;     /* labels up to the last of two or more characters */
    int32_t notWritten;     /* left as the host set it */
    const char* labels[4];  /* parameter labels; "" for none */
} EffectInfo;

typedef int32_t (*GetEffectCountFn)(void);
typedef void (*GetEffectInfoFn)(int32_t index, EffectInfo* out);
/* The four default parameter values (0-255) of a catalogued name. */
typedef void (*GetEffectDefaultsFn)(const char* name, int32_t out[4]);
/* An instance drawing source onto destination (null: onto source itself);
 * both must stay valid while it lives. Null for an unknown name. */
typedef EffectHandle* (*CreateEffectFn)(const char* name, Surface* source, Surface* destination);
/* Draws one frame: four parameters 0-255, time in milliseconds; a null
 * source keeps the last one. Returns 0. */
typedef int32_t (*RenderEffectFn)(EffectHandle* effect, const int32_t* params, Surface* source,
                                  uint32_t time);
typedef void (*DestroyEffectFn)(EffectHandle* effect);
/* The module's colour wheel: hue to 8-bit red, green and blue. */
typedef void (*HueToRGBFn)(uint32_t hue, uint32_t* red, uint32_t* green, uint32_t* blue);
/* The module's level curve for a level and a value. */
typedef float (*LevelCurveFn)(int32_t level, float value);

/* What code 10 hands out; every pointer is null until a successful open. */
typedef struct EffectApi {
    uint64_t apiVersion;       /* EFFECTS_API_VERSION */
    uint32_t word;             /* 0 */
    uint8_t reserved[12];      /* not written */
    HostContext* hostContext;  /* the context of the open */
    GetEffectCountFn GetEffectCount;
    GetEffectInfoFn GetEffectInfo;
    GetEffectDefaultsFn GetEffectDefaults;
    CreateEffectFn CreateEffect;
    RenderEffectFn RenderEffect;
    DestroyEffectFn DestroyEffect;
    HueToRGBFn HueToRGB;
    LevelCurveFn LevelCurve;
} EffectApi;

/* The module's one export, for dlsym(module, "plugin_main"). */
typedef int32_t (*PluginMainFn)(HostContext* context);
int32_t plugin_main(HostContext* context);

/* Sizes of the 64-bit layout, checked where the language has the means. */
#if defined(__cplusplus) && __cplusplus >= 201103L
#define EFFECTS_LAYOUT_CHECK(what, size) static_assert(sizeof(what) == (size), #what " size")
#elif defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L
#define EFFECTS_LAYOUT_CHECK(what, size) _Static_assert(sizeof(what) == (size), #what " size")
#endif
#ifdef EFFECTS_LAYOUT_CHECK
EFFECTS_LAYOUT_CHECK(HostTable, 176);
EFFECTS_LAYOUT_CHECK(HostContext, 40);
EFFECTS_LAYOUT_CHECK(Surface, 48);
EFFECTS_LAYOUT_CHECK(BlitService, 112);
EFFECTS_LAYOUT_CHECK(EffectInfo, 48);
EFFECTS_LAYOUT_CHECK(EffectApi, 96);
#undef EFFECTS_LAYOUT_CHECK
#endif

#ifdef __cplusplus
}
#endif

#endif /* EFFECTS_EFFECTS_H */
