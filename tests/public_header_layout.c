/* The public header's records as a C compiler (and, built a second time, a
 * C++ compiler) lays them out, with its constants: a table that
 * public_header_test compares with the module's own records. */
#include <effects/effects.h>
#include <stddef.h>

/* One row: a record's size, a field's offset or a constant's value. The
 * test declares the same record. */
typedef struct LayoutEntry {
    const char* name;
    uint64_t value;
} LayoutEntry;

#define SIZE(type) {"sizeof " #type, sizeof(type)}
#define FIELD(type, field) {#type "." #field, offsetof(type, field)}
#define VALUE(name) {#name, (uint64_t)(name)}

#ifdef __cplusplus
extern "C" const LayoutEntry kPublicLayoutCxx[];
const LayoutEntry kPublicLayoutCxx[] = {
#else
const LayoutEntry kPublicLayoutC[] = {
#endif
#include "public_header_fields.inc"

    VALUE(EFFECTS_API_VERSION),
    VALUE(EFFECTS_MIN_HOST_VERSION),
    VALUE(EFFECTS_CODE_BLIT),
    VALUE(EFFECTS_CODE_SERV),
    VALUE(EFFECTS_CODE_EFFX),
    VALUE(EFFECTS_PLUGIN_KIND),
    VALUE(EFFECTS_PLUGIN_IDENTITY),
    VALUE(EFFECTS_PLUGIN_OPEN),
    VALUE(EFFECTS_PLUGIN_CLOSE),
    VALUE(EFFECTS_PLUGIN_GET_API),
    VALUE(EFFECTS_HOST_FIND_SERVICE),
    VALUE(EFFECTS_HOST_LOG),
    VALUE(EFFECTS_FORMAT_555),
    VALUE(EFFECTS_FORMAT_565),
    VALUE(EFFECTS_FORMAT_XRGB),
    VALUE(EFFECTS_BLIT_PLAIN),
    VALUE(EFFECTS_BLIT_COPY_ALT),
    VALUE(EFFECTS_BLIT_BLEND),
    VALUE(EFFECTS_BLIT_REDUCE),
    {NULL, 0},
};
