#include "frame/exports.h"

#include "_base/win_error.h"
#include "frame/zvFactoryBase.h"

std::uint32_t ZvCreateObject(const wchar_t* name, IID id, void** out) {
  zvFactoryBase* const first = zvFactoryBase::head();
  return first != nullptr ? first->Create(name, id, out) : win_error::not_found;
}

void ZvDestroyObject(const wchar_t* name, void* object) {
  if (zvFactoryBase* const first = zvFactoryBase::head()) first->Destroy(name, object);
}
