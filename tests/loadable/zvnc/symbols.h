#pragma once

/// The 36 functions of the client library, in the order of the module's table.
#define ZVNC_SYMBOLS(X)         \
  X(zvcirrel_init)              \
  X(zvcirrel_uninit)            \
  X(zvcirrel_push_info)         \
  X(zvcirrel_push_json)         \
  X(zvcirrel_push_bin)          \
  X(zvcirrel_ask)               \
  X(zvcirrel_ask_json)          \
  X(zvcirrel_ask_bin)           \
  X(zvcirrel_ask_async)         \
  X(zvcirrel_ask_json_async)    \
  X(zvcirrel_ask_bin_async)     \
  X(zvcirrel_free_response)     \
  X(zvcirrel_text)              \
  X(zvcirrel_set_option)        \
  X(zvcirrel_set_optionv)       \
  X(zvcirrel_get_option)        \
  X(zvcirrel_dup_option)        \
  X(zvcirrel_free_option)       \
  X(zvcirrel_file_upload)       \
  X(zvcirrel_file_upload_async) \
  X(zvcirrel_mem_upload)        \
  X(zvcirrel_mem_upload_async)  \
  X(zvcirrel_json_alloc)        \
  X(zvcirrel_json_free)         \
  X(zvcirrel_json_object)       \
  X(zvcirrel_json_path)         \
  X(zvcirrel_json_foreach)      \
  X(zvcirrel_json_array_at)     \
  X(zvcirrel_json_array_size)   \
  X(zvcirrel_json_string)       \
  X(zvcirrel_json_long)         \
  X(zvcirrel_json_real)         \
  X(zvcirrel_json_type_of)      \
  X(connect_register)           \
  X(zvcirrel_gen_upload)        \
  X(zvcirrel_gen_upload_async)
