#include "_base/events/ECEvent.h"

void* ECEvent::scalar_deleting_destructor(std::uint32_t flags) {
  return msvc_abi::run_destructor(this, flags);
}

void ECEvent::SetName(const wchar_t* new_name) {
  name = new_name;
}

const wchar_t* ECEvent::GetName() const {
  return name.c_str();
}

void ECEvent::SetVersion(const wchar_t* new_version) {
  version = new_version;
}

const wchar_t* ECEvent::GetVersion() const {
  return version.c_str();
}

void ECEvent::SetType(std::uint32_t new_type) {
  type = new_type;
}

std::uint32_t ECEvent::GetType() const {
  return type;
}
