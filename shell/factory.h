// The factory: effect names to classes and their construction records.
#pragma once

#include <cstring>
#include <new>

#include "render/surface.h"

class CRenderInterface;

// The factory's names in the order in which they are compared.
constexpr int kFactoryNameCount = 38;
// Name number index, or null out of range.
const char* FactoryName(int index);

// Stores the surfaces in g_frame (no destination: in place), then builds the
// first row whose name equals name. Null for an unknown name, and for names
// whose class this build does not have.
CRenderInterface* CreateEffect(const char* name, Surface* source, Surface* destination);

// Allocates an instance, fills it with zero bytes and constructs it.
template <class Effect, class... Args>
CRenderInterface* NewZeroedEffect(const Args&... args) {
    void* block = ::operator new(sizeof(Effect));
    std::memset(block, 0, sizeof(Effect));
    // The fill must survive: the compiler may otherwise drop stores made
    // before the object's lifetime begins.
    asm volatile("" : : "r"(block) : "memory");
    try {
        return new (block) Effect(args...);
    } catch (...) {
        ::operator delete(block);
        throw;
    }
}
