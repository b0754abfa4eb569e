// In-process effect instances made as a host makes them, against surfaces of
// the reference host and with its blit service.
#pragma once

#include <gtest/gtest.h>

#include <array>

#include "host/blit_service.h"
#include "host/host_surface.h"
#include "render/render_interface.h"
#include "shell/entry_points.h"
#include "shell/factory.h"
#include "shell/module.h"

class EffectTest : public ::testing::Test {
protected:
    using HostSurface = fxhost::HostSurface;

    void SetUp() override { g_blitService = fxhost::GetBlitService(); }
    void TearDown() override { g_blitService = nullptr; }

    // The factory's instance for name; in place without dst.
    template <class Effect>
    static Effect* Make(const char* name, HostSurface& src, HostSurface* dst = nullptr) {
        return static_cast<Effect*>(CreateEffect(name, src.get(), dst ? dst->get() : nullptr));
    }
    // An instance built from the caller's record.
    template <class Effect, class Record>
    static Effect* MakeWith(const Record& record, HostSurface& src, HostSurface& dst) {
        g_frame.source = src.get();
        g_frame.destination = dst.get();
        return static_cast<Effect*>(NewZeroedEffect<Effect>(&record));
    }
    static void Render(CRenderInterface* effect, std::array<int32_t, 4> params, uint32_t time = 0,
                       Surface* source = nullptr) {
        entry::RenderEffect(effect, params.data(), source, time);
    }
};
