// plugin_main and the module's link to the host.
#include <cstring>

#include "shell/entry_points.h"
#include "shell/frame_params.h"
#include "shell/module.h"
#include "shell/process_tables.h"

EffectApi g_effectApi;
BlitService* g_blitService;
FrameParams g_frame;

HostFunction GetHostFunction(uint32_t number) {
    HostContext* context = g_effectApi.hostContext;
    if (!context || !context->hostTable || !context->hostTable->HostGetFunction) return nullptr;
    return context->hostTable->HostGetFunction(number);
}

bool EnsureBlitService() {
    if (g_blitService) return true;
    auto findService = reinterpret_cast<HostFindServiceFn>(GetHostFunction(kHostFindService));
    if (!findService) return false;
    g_blitService = static_cast<BlitService*>(findService(g_effectApi.hostContext, kCodeBlit));
    return g_blitService != nullptr;
}

namespace {

void OpenModule(HostContext* context) {
    if (!context->hostTable || context->hostTable->version < kMinHostVersion) {
        context->hostStatus = 0;
        std::memset(&g_effectApi, 0, sizeof g_effectApi);
        return;
    }
    g_effectApi.apiVersion = kEffectApiVersion;
    g_effectApi.word = 0;
    g_effectApi.GetEffectCount = entry::GetEffectCount;
    g_effectApi.GetEffectInfo = entry::GetEffectInfo;
    g_effectApi.GetEffectDefaults = entry::GetEffectDefaults;
    g_effectApi.CreateEffect = entry::CreateEffect;
    g_effectApi.RenderEffect = entry::RenderEffect;
    g_effectApi.DestroyEffect = entry::DestroyEffect;
    g_effectApi.HueToRGB = entry::HueToRGB;
    g_effectApi.LevelCurve = entry::LevelCurve;
    g_effectApi.hostContext = context;
    context->result = 0;
    g_blitService = nullptr;  // a second open looks the service up afresh
    BuildProcessTables();
}

}  // namespace

extern "C" __attribute__((visibility("default"))) int32_t plugin_main(HostContext* context) {
    if (!context) return 0;
    switch (context->functionCode) {
    case kPluginKind:
        context->result = kCodeServ;
        break;
    case kPluginIdentity:
        context->result = kCodeEffx;
        break;
    case kPluginOpen:
        OpenModule(context);
        break;
    case kPluginClose:
        context->result = 0;
        break;
    case kPluginGetApi:
        context->result = reinterpret_cast<uintptr_t>(&g_effectApi);
        break;
    default:
        break;
    }
    return 0;
}
