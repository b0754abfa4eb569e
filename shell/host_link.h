// The host's side of the boundary: the records the host hands to plugin_main
// and the host functions the module fetches by number.
#pragma once

#include <cstddef>
#include <cstdint>

// Four-character codes, read big-endian.
constexpr uint32_t kCodeBlit = 0x424C4954;  // 'BLIT': the blit service
constexpr uint32_t kCodeServ = 0x53455256;  // 'SERV': what kind of module this is
constexpr uint32_t kCodeEffx = 0x45464658;  // 'EFFX': which service it is

// Function codes of plugin_main.
enum PluginFunction : uint32_t {
    kPluginKind = 5,
    kPluginIdentity = 7,
    kPluginOpen = 8,
    kPluginClose = 9,
    kPluginGetApi = 10,
};

// Host function numbers, fetched anew through HostGetFunction at each use.
enum HostFunctionNumber : uint32_t {
    kHostFindService = 6,
    kHostLog = 18,
};

// The lowest HostTable version the module opens with.
constexpr int32_t kMinHostVersion = 0x20000;

struct HostContext;

using HostFunction = void (*)();
using HostGetFunctionFn = HostFunction (*)(uint32_t number);
using HostFindServiceFn = void* (*)(HostContext* context, uint32_t code);
using HostLogFn = void (*)(const char* text);

struct HostTable {
    int32_t version;
    uint8_t hostWords[164];
    HostGetFunctionFn HostGetFunction;
};
static_assert(offsetof(HostTable, version) == 0);
static_assert(offsetof(HostTable, HostGetFunction) == 168);
static_assert(sizeof(HostTable) == 176);

struct HostContext {
    uint64_t hostStatus;    // cleared by the module when it refuses the host
    uint64_t hostWord;      // the host's
    uint32_t functionCode;  // the request of this call
    uint32_t hostWord2;     // the host's
    HostTable* hostTable;
    uint64_t result;  // the module's answer
};
static_assert(offsetof(HostContext, hostStatus) == 0);
static_assert(offsetof(HostContext, functionCode) == 16);
static_assert(offsetof(HostContext, hostTable) == 24);
static_assert(offsetof(HostContext, result) == 32);
static_assert(sizeof(HostContext) == 40);
