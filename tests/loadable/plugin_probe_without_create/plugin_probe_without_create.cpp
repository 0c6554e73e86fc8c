#define PROBE_HAS_CREATE 0
#define PROBE_HAS_DESTROY 1
#include "support/plugin_probe_exports.h"
