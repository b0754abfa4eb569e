// Module-wide globals and the lazy link to the host's blit service.
#pragma once

#include "render/surface.h"
#include "shell/effect_api.h"

extern EffectApi g_effectApi;
extern BlitService* g_blitService;

// Finds 'BLIT' through the host if it is not known yet; true when the service
// is available. Every entry point starts with it.
bool EnsureBlitService();

// Fetches a host function by number through the HostTable of the opened
// context; null when there is no context or the host has no such function.
HostFunction GetHostFunction(uint32_t number);
