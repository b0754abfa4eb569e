// Loading the built module for whole-module tests. Each fresh copy is a new
// file, so the dynamic loader gives it globals of its own.
#pragma once

#include <atomic>
#include <filesystem>
#include <memory>
#include <string>
#include <unistd.h>

#include "host/module_loader.h"

inline std::unique_ptr<fxhost::EffectModule> FreshModule(fxhost::ModuleOptions options = {}) {
    static std::atomic<int> counter{0};
    const auto dir = std::filesystem::temp_directory_path() /
                     ("effects-test-" + std::to_string(getpid()));
    std::filesystem::create_directories(dir);
    const auto copy = dir / ("module-" + std::to_string(counter++) + ".so");
    std::filesystem::copy_file(fxhost::DefaultModulePath(), copy,
                               std::filesystem::copy_options::overwrite_existing);
    auto module = std::make_unique<fxhost::EffectModule>(copy.string(), options);
    std::filesystem::remove(copy);  // the loaded mapping stays valid
    return module;
}

// The module every other test shares, opened once.
inline fxhost::EffectModule& SharedModule() {
    static fxhost::EffectModule module(fxhost::DefaultModulePath());
    return module;
}
