#define PROBE_HAS_CREATE 1
#define PROBE_HAS_DESTROY 0
#include "support/plugin_probe_exports.h"
