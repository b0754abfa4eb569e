#include "shell/entry_points.h"

#include "render/render_interface.h"
#include "shell/catalogue.h"
#include "shell/colour_helpers.h"
#include "shell/factory.h"
#include "shell/frame_params.h"
#include "shell/module.h"

namespace entry {

int32_t GetEffectCount() {
    if (!EnsureBlitService()) return 0;
    return kCatalogueSize;
}

// Null pointers from the host get the empty answer of each entry: nothing is
// written through them, and a null name is a name no effect has.

void GetEffectInfo(int32_t index, EffectInfo* out) {
    if (!out) return;
    if (!EnsureBlitService()) {
        ClearEffectInfo(out);
        return;
    }
    ::GetEffectInfo(index, out);
}

void GetEffectDefaults(const char* name, int32_t out[4]) {
    if (!EnsureBlitService() || !out) return;
    ::GetEffectDefaults(name ? name : "", out);
}

CRenderInterface* CreateEffect(const char* name, Surface* source, Surface* destination) {
    if (!EnsureBlitService()) return nullptr;
    return ::CreateEffect(name ? name : "", source, destination);
}

int32_t RenderEffect(CRenderInterface* effect, const int32_t* params, Surface* source, uint32_t time) {
    if (!EnsureBlitService() || !effect || !params) return 0;
    g_frame.time = time;
    for (int i = 0; i < 4; ++i) g_frame.params[i] = static_cast<int16_t>(static_cast<uint16_t>(params[i]));
    if (effect->startTime == kStartTimeUnset) effect->startTime = time;
    if (source) {
        g_frame.source = source;
        effect->source = source;
        effect->hostSource = source;
    }
    effect->Render();
    return 0;
}

void DestroyEffect(CRenderInterface* effect) {
    if (!EnsureBlitService()) return;
    delete effect;
}

void HueToRGB(uint32_t hue, uint32_t* red, uint32_t* green, uint32_t* blue) {
    if (!EnsureBlitService() || !red || !green || !blue) return;
    ::HueToRGB(hue, red, green, blue);
}

float LevelCurve(int32_t level, float value) {
    if (!EnsureBlitService()) return 0.0f;
    return ::LevelCurve(level, value);
}

}  // namespace entry
