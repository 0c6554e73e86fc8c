#include "frame/zvFactoryBase.h"

namespace {

zvFactoryBase* chain_head = nullptr;

}  // namespace

zvFactoryBase::zvFactoryBase() noexcept : next(chain_head) {
  chain_head = this;
}

zvFactoryBase::~zvFactoryBase() {
  for (zvFactoryBase** link = &chain_head; *link != nullptr; link = &(*link)->next) {
    if (*link == this) {
      *link = next;
      return;
    }
  }
}

zvFactoryBase* zvFactoryBase::head() noexcept {
  return chain_head;
}
