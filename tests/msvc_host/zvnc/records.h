#pragma once

// What the cloud-client stand-in writes down of each call, for the host to read.

#include <stdint.h>

namespace zvnc {

enum class call : uint32_t {
  init,
  uninit,
  ask,
  free_response,
  set_option,
  get_option,
  upload,
  push_register,
  bound_only
};

struct record {
  call kind;
  void* instance;
  uint32_t number;  // option, or timeout of an ask
  uint32_t format;  // of an ask
  uint32_t value;   // integer of an option; size of an ask
  bool wiped;       // free_response: every byte of the answer was zero
  bool null_texts;  // upload: signature and meta came as null
  void* callback;   // option 9 and 10; upload; of a push_register the one for pushes
  void* context;    // option 9; upload; push_register
  char first[64];   // service; text of an option; sending application of a push_register
  char second[64];  // path; user of a proxy option; sending device
  char third[64];   // signature; password of a proxy option; user token
  char body[512];   // of an ask; "application|device|topic|transport" of a push_register
};

// A progress report of an upload, in the library's own layout.
struct upload_status {
  uint32_t state;
  uint32_t value;
  uint64_t detail;
  const char* text;
};

using upload_callback = uint32_t(const upload_status* status, void* context);
using cloud_up_callback = void(void* context);

// The extra exports.
using count_function = uint32_t();                      // zvnc_record_count
using record_function = const record*(uint32_t index);  // zvnc_record; null past the end
using forget_function = void();                         // zvnc_forget
using answer_function = void(uint32_t,
                             const char* text);  // zvnc_answer: result and text of the next asks
using status_function = void(uint32_t result, uint32_t up);  // zvnc_cloud_status: of option 31
using fire_function = bool();  // zvnc_fire_cloud_up; false with no callback set
using refuse_push_function = void(uint32_t result);  // zvnc_refuse_push: of registrations; 0: none
// zvnc_push: the text goes to the last registration that was granted, more bytes behind its end.
// False if there is none.
using push_function = bool(const char* text);

}  // namespace zvnc
