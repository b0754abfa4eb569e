#include "shell/process_tables.h"

#include <initializer_list>

#include "colour/hsv_tables.h"
#include "temporal/ascii_glyphs.h"

void BuildProcessTables() {
    for (int8_t kind : {kHsvFrom555, kHsvFrom565}) GetRgbToHsvTable(kind);
    for (int8_t kind : {kHsvTo555, kHsvTo565, kHsvToXrgb}) GetHsvToRgbTable(kind);
    GetHsvCodeTable();
}
