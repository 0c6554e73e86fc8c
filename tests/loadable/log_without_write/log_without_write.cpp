#define RECORDER_HAS_LOG_WRITE 0
#define RECORDER_HAS_OTHERS 1
#include "support/log_recorder_exports.h"
