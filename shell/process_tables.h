// The process-wide tables that effects share, built when the module opens so
// that no effect's first frame pays for them.
#pragma once

// Builds every shared table not built yet. Cheap once they exist.
void BuildProcessTables();
