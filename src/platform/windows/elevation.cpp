#include <windows.h>

#include "platform/os.h"

namespace platform::os {

bool is_elevated() noexcept {
  SID_IDENTIFIER_AUTHORITY authority = SECURITY_NT_AUTHORITY;
  PSID administrators = nullptr;
  if (!AllocateAndInitializeSid(&authority, 2, SECURITY_BUILTIN_DOMAIN_RID, DOMAIN_ALIAS_RID_ADMINS,
                                0, 0, 0, 0, 0, 0, &administrators)) {
    return false;
  }
  BOOL member = FALSE;
  const bool answered = CheckTokenMembership(nullptr, administrators, &member) != FALSE;
  FreeSid(administrators);
  return answered && member != FALSE;
}

}  // namespace platform::os
