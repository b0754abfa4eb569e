// Loading the built module for whole-module tests.
#pragma once

#include <memory>

#include "host/module_loader.h"

// A module with globals of its own, as a host would see it in a new process.
inline std::unique_ptr<fxhost::EffectModule> FreshModule(fxhost::ModuleOptions options = {}) {
    return fxhost::LoadModuleCopy(options);
}

// The module every other test shares, opened once.
inline fxhost::EffectModule& SharedModule() {
    static fxhost::EffectModule module(fxhost::DefaultModulePath());
    return module;
}
