/*
 * list_and_render: a minimal host for the effects module, in C.
 *
 * Loads the module with dlopen (LoadLibrary on Windows), opens it through
 * plugin_main, prints the catalogue, then draws one frame of Posterize on a
 * 64x48 gradient and prints a checksum of the result.
 *
 *   cc list_and_render.c $(pkg-config --cflags --libs effects) -o list_and_render
 *   ./list_and_render "$(pkg-config --variable=module effects)"
 *   list_and_render.exe effects.dll
 */
#ifdef _WIN32
#include <windows.h>
#else
#include <dlfcn.h>
#endif
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <effects/effects.h>

#define WIDTH 64
#define HEIGHT 48
#define EFFECT "Posterize"

/* The module keeps the context of the open and reaches the host through it,
 * so both records live as long as the program. */
static HostContext context;
static HostTable table;
static PluginMainFn module_main;

/* ---- The blit service: just enough for effects on 32-bit surfaces ------ */

static int32_t check_rect(const SurfaceRect* a, const SurfaceRect* b) {
    return a->right > a->left && a->bottom > a->top && a->left >= b->left && a->top >= b->top &&
           a->right <= b->right && a->bottom <= b->bottom;
}

static uint8_t* pixel_at(const Surface* s, int x, int y) {
    return s->pixels + (size_t)(y - s->bounds.top) * (size_t)s->rowBytes + (size_t)(x - s->bounds.left) * 4;
}

static int clamp(int v, int lo, int hi) { return v < lo ? lo : v > hi ? hi : v; }

/* Maps fromRect onto toRect, nearest neighbour, whatever the mode. Only
 * 32-bit surfaces: other depths are left alone. */
static void blit_copy(Surface* from, Surface* to, const SurfaceRect* fromRect, const SurfaceRect* toRect,
                      int32_t mode) {
    const int fw = fromRect->right - fromRect->left, fh = fromRect->bottom - fromRect->top;
    const int tw = toRect->right - toRect->left, th = toRect->bottom - toRect->top;
    int x, y;
    (void)mode;
    if (from->depth != 32 || to->depth != 32 || fw <= 0 || fh <= 0 || tw <= 0 || th <= 0) return;
    for (y = 0; y < th; ++y) {
        const int ty = toRect->top + y;
        const int sy = clamp(fromRect->top + y * fh / th, from->bounds.top, from->bounds.bottom - 1);
        if (ty < to->bounds.top || ty >= to->bounds.bottom) continue;
        for (x = 0; x < tw; ++x) {
            const int tx = toRect->left + x;
            const int sx = clamp(fromRect->left + x * fw / tw, from->bounds.left, from->bounds.right - 1);
            if (tx < to->bounds.left || tx >= to->bounds.right) continue;
            memcpy(pixel_at(to, tx, ty), pixel_at(from, sx, sy), 4);
        }
    }
}

/* No blends or quads: the effects that need them draw nothing of them. */
static BlitService blit_service = {{0}, blit_copy, NULL, check_rect};

/* ---- Host functions ----------------------------------------------------- */

static void* host_find_service(HostContext* ctx, uint32_t code) {
    (void)ctx;
    return code == EFFECTS_CODE_BLIT ? &blit_service : NULL;
}

static void host_log(const char* text) { fprintf(stderr, "module: %s\n", text); }

static HostFunction host_get_function(uint32_t number) {
    switch (number) {
    case EFFECTS_HOST_FIND_SERVICE: return (HostFunction)host_find_service;
    case EFFECTS_HOST_LOG: return (HostFunction)host_log;
    default: return NULL;
    }
}

static uint64_t call(uint32_t code) {
    context.functionCode = code;
    context.result = 0;
    module_main(&context);
    return context.result;
}

static int fail(const char* what) {
    fprintf(stderr, "list_and_render: %s\n", what);
    return 1;
}

/* ---- Surfaces ----------------------------------------------------------- */

static Surface make_surface(uint8_t* pixels) {
    Surface s;
    memset(&s, 0, sizeof s);
    s.pixels = pixels;
    s.depth = 32;
    s.bounds.bottom = HEIGHT;
    s.bounds.right = WIDTH;
    s.rowBytes = WIDTH * 4;
    s.pixelFormat = EFFECTS_FORMAT_XRGB;
    return s;
}

/* Blue across, green down, red along the diagonal; the top byte 0. */
static void fill_gradient(uint8_t* pixels) {
    int x, y;
    for (y = 0; y < HEIGHT; ++y)
        for (x = 0; x < WIDTH; ++x) {
            uint8_t* p = pixels + (y * WIDTH + x) * 4;
            p[0] = (uint8_t)(x * 255 / (WIDTH - 1));
            p[1] = (uint8_t)(y * 255 / (HEIGHT - 1));
            p[2] = (uint8_t)((x + y) * 255 / (WIDTH + HEIGHT - 2));
            p[3] = 0;
        }
}

/* FNV-1a over the blue, green and red bytes of every pixel. */
static uint32_t checksum(const uint8_t* pixels) {
    uint32_t hash = 2166136261u;
    int i;
    for (i = 0; i < WIDTH * HEIGHT * 4; ++i) {
        if (i % 4 == 3) continue;
        hash = (hash ^ pixels[i]) * 16777619u;
    }
    return hash;
}

int main(int argc, char** argv) {
    static uint8_t source_pixels[WIDTH * HEIGHT * 4], target_pixels[WIDTH * HEIGHT * 4];
    Surface source = make_surface(source_pixels), target = make_surface(target_pixels);
    const EffectApi* api;
    EffectHandle* effect;
    int32_t params[4];
    int32_t i, count;
#ifdef _WIN32
    HMODULE module;
    FARPROC symbol;
#else
    void* module;
    void* symbol;
#endif
    const uint8_t* centre;

    if (argc != 2) return fail("usage: list_and_render MODULE (pkg-config --variable=module effects)");
#ifdef _WIN32
    module = LoadLibraryA(argv[1]);
    if (!module) return fail("LoadLibrary could not load the module");
    symbol = GetProcAddress(module, "plugin_main");
#else
    module = dlopen(argv[1], RTLD_NOW | RTLD_LOCAL);
    if (!module) return fail(dlerror());
    symbol = dlsym(module, "plugin_main");
#endif
    if (!symbol) return fail("the module has no plugin_main");
    memcpy(&module_main, &symbol, sizeof module_main); /* to a function pointer of the right type */

    /* The handshake: kind, identity, open, then the entry points. */
    table.version = EFFECTS_MIN_HOST_VERSION;
    table.HostGetFunction = host_get_function;
    context.hostTable = &table;
    context.hostStatus = 1;
    if (call(EFFECTS_PLUGIN_KIND) != EFFECTS_CODE_SERV || call(EFFECTS_PLUGIN_IDENTITY) != EFFECTS_CODE_EFFX)
        return fail("not an effects module");
    call(EFFECTS_PLUGIN_OPEN);
    if (context.hostStatus == 0) return fail("the module refused to open");
    api = (const EffectApi*)(uintptr_t)call(EFFECTS_PLUGIN_GET_API);
    if (!api || api->apiVersion != EFFECTS_API_VERSION) return fail("unexpected entry points");

    count = api->GetEffectCount();
    printf("%d effects\n", (int)count);
    for (i = 0; i < count; ++i) {
        EffectInfo info;
        int32_t k;
        memset(&info, 0, sizeof info);
        api->GetEffectInfo(i, &info);
        printf("%s", info.name);
        for (k = 0; k < info.paramCount; ++k) printf("%s%s", k ? ", " : ": ", info.labels[k]);
        printf("\n");
    }

    fill_gradient(source_pixels);
    effect = api->CreateEffect(EFFECT, &source, &target);
    if (!effect) return fail("no effect named " EFFECT);
    api->GetEffectDefaults(EFFECT, params);
    api->RenderEffect(effect, params, &source, 0);
    api->DestroyEffect(effect);

    centre = target_pixels + ((HEIGHT / 2) * WIDTH + WIDTH / 2) * 4;
    printf("%s %dx%d at 0 ms, parameters %d %d %d %d\n", EFFECT, WIDTH, HEIGHT, (int)params[0], (int)params[1],
           (int)params[2], (int)params[3]);
    printf("centre pixel: red %d green %d blue %d\n", centre[2], centre[1], centre[0]);
    printf("checksum: %08x\n", (unsigned)checksum(target_pixels));

    call(EFFECTS_PLUGIN_CLOSE);
#ifdef _WIN32
    FreeLibrary(module);
#else
    dlclose(module);
#endif
    return 0;
}
