// include/effects/effects.h against the module's own records: every record's
// size, every field's offset and every constant, as a C compiler and as a C++
// compiler read the public header (tests/public_header_layout.c, built twice).
#include <gtest/gtest.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>

#include "render/surface.h"
#include "shell/effect_api.h"
#include "shell/host_link.h"

struct LayoutEntry {
    const char* name;
    uint64_t value;
};
extern "C" const LayoutEntry kPublicLayoutC[];
extern "C" const LayoutEntry kPublicLayoutCxx[];

namespace {

#define SIZE(type) {"sizeof " #type, sizeof(type)}
#define FIELD(type, field) {#type "." #field, offsetof(type, field)}

// The module's side, row for row under the public header's names.
std::map<std::string, uint64_t> ModuleLayout() {
    return {
#include "public_header_fields.inc"

        {"EFFECTS_API_VERSION", kEffectApiVersion},
        {"EFFECTS_MIN_HOST_VERSION", kMinHostVersion},
        {"EFFECTS_CODE_BLIT", kCodeBlit},
        {"EFFECTS_CODE_SERV", kCodeServ},
        {"EFFECTS_CODE_EFFX", kCodeEffx},
        {"EFFECTS_PLUGIN_KIND", kPluginKind},
        {"EFFECTS_PLUGIN_IDENTITY", kPluginIdentity},
        {"EFFECTS_PLUGIN_OPEN", kPluginOpen},
        {"EFFECTS_PLUGIN_CLOSE", kPluginClose},
        {"EFFECTS_PLUGIN_GET_API", kPluginGetApi},
        {"EFFECTS_HOST_FIND_SERVICE", kHostFindService},
        {"EFFECTS_HOST_LOG", kHostLog},
        {"EFFECTS_FORMAT_555", kFormat555},
        {"EFFECTS_FORMAT_565", kFormat565},
        {"EFFECTS_FORMAT_XRGB", kFormatXrgb},
        {"EFFECTS_BLIT_PLAIN", kBlitPlain},
        {"EFFECTS_BLIT_COPY_ALT", kBlitCopyAlt},
        {"EFFECTS_BLIT_BLEND", kBlitBlend},
        {"EFFECTS_BLIT_REDUCE", kBlitReduce},
    };
}

#undef SIZE
#undef FIELD

std::map<std::string, uint64_t> Read(const LayoutEntry* table) {
    std::map<std::string, uint64_t> rows;
    for (; table->name; ++table) EXPECT_TRUE(rows.emplace(table->name, table->value).second) << table->name;
    return rows;
}

// Every row on both sides, with the same value: nothing missing, nothing
// extra, nothing moved.
void ExpectSameLayout(const std::map<std::string, uint64_t>& header) {
    const auto module = ModuleLayout();
    for (const auto& [name, value] : module) {
        auto it = header.find(name);
        if (it == header.end()) {
            ADD_FAILURE() << name << " is not checked through the public header";
            continue;
        }
        EXPECT_EQ(it->second, value) << name;
    }
    for (const auto& [name, value] : header)
        EXPECT_TRUE(module.count(name)) << name << " has no counterpart in the module";
}

TEST(PublicHeader, CLayoutMatchesModule) {
    const auto header = Read(kPublicLayoutC);
    EXPECT_EQ(header.size(), 81u);
    ExpectSameLayout(header);
}

TEST(PublicHeader, CxxLayoutMatchesModule) {
    const auto header = Read(kPublicLayoutCxx);
    EXPECT_EQ(header.size(), 81u);
    ExpectSameLayout(header);
}

// Spot values a host author reads off the header, independently of the
// module's own constants.
TEST(PublicHeader, KnownOffsetsAndCodes) {
    const auto header = Read(kPublicLayoutC);
    EXPECT_EQ(header.at("HostTable.HostGetFunction"), 168u);
    EXPECT_EQ(header.at("HostContext.result"), 32u);
    EXPECT_EQ(header.at("BlitService.BlitCheckRect"), 104u);
    EXPECT_EQ(header.at("BlitParams.corners"), 44u);
    EXPECT_EQ(header.at("sizeof BlitParams"), 112u);
    EXPECT_EQ(header.at("EffectApi.LevelCurve"), 88u);
    EXPECT_EQ(header.at("EFFECTS_CODE_BLIT"), 0x424C4954u);
    EXPECT_EQ(header.at("EFFECTS_PLUGIN_GET_API"), 10u);
}

}  // namespace
