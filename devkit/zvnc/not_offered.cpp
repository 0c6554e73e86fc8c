// Functions of the client library that exist to be bound. What they take is nobody's business here:
// they read nothing, so any arguments are safe.

#include "_base/abi.h"
#include "devkit/zvnc/status.h"

// NOLINTBEGIN(bugprone-macro-parentheses): the argument is a name being declared.
#define ANSWERS_STATUS(name)          \
  ABI_EXPORT std::uint32_t name() {   \
    return zvnc::status::not_offered; \
  }
#define ANSWERS_NULL(name)  \
  ABI_EXPORT void* name() { \
    return nullptr;         \
  }
#define ANSWERS_ZERO(name)          \
  ABI_EXPORT std::uint64_t name() { \
    return 0;                       \
  }
// NOLINTEND(bugprone-macro-parentheses)

ANSWERS_STATUS(zvcirrel_push_info)
ANSWERS_STATUS(zvcirrel_push_json)
ANSWERS_STATUS(zvcirrel_push_bin)
ANSWERS_STATUS(zvcirrel_ask_json)
ANSWERS_STATUS(zvcirrel_ask_bin)
ANSWERS_STATUS(zvcirrel_ask_async)
ANSWERS_STATUS(zvcirrel_ask_json_async)
ANSWERS_STATUS(zvcirrel_ask_bin_async)
ANSWERS_NULL(zvcirrel_dup_option)
ANSWERS_STATUS(zvcirrel_free_option)
ANSWERS_STATUS(zvcirrel_file_upload_async)
ANSWERS_STATUS(zvcirrel_mem_upload)
ANSWERS_STATUS(zvcirrel_mem_upload_async)
ANSWERS_STATUS(zvcirrel_gen_upload)
ANSWERS_STATUS(zvcirrel_gen_upload_async)
ANSWERS_NULL(zvcirrel_json_alloc)
ANSWERS_STATUS(zvcirrel_json_free)
ANSWERS_NULL(zvcirrel_json_object)
ANSWERS_NULL(zvcirrel_json_path)
ANSWERS_STATUS(zvcirrel_json_foreach)
ANSWERS_NULL(zvcirrel_json_array_at)
ANSWERS_ZERO(zvcirrel_json_array_size)
ANSWERS_NULL(zvcirrel_json_string)
ANSWERS_ZERO(zvcirrel_json_long)
ABI_EXPORT double zvcirrel_json_real() {
  return 0;
}
ANSWERS_ZERO(zvcirrel_json_type_of)
