#include "host/strings.h"

#include "host/check.h"
#include "runtime/kernel32.h"

manager_calls host_manager;
bool refuse_reallocate = false;

namespace {

class counting_manager final : public zv::IMemMgr {
 public:
  void* Allocate(uint64_t size) override {
    ++host_manager.allocate;
    return HeapAlloc(GetProcessHeap(), 0, size);
  }
  void* Reallocate(void* pointer, uint64_t size) override {
    ++host_manager.reallocate;
    if (refuse_reallocate) {
      refuse_reallocate = false;
      return nullptr;
    }
    if (!pointer) return HeapAlloc(GetProcessHeap(), 0, size);
    return HeapReAlloc(GetProcessHeap(), 0, pointer, size);
  }
  void Free(void* pointer) override {
    ++host_manager.free;
    if (pointer) HeapFree(GetProcessHeap(), 0, pointer);
  }
  void Release() override { ++host_manager.release; }
};

}  // namespace

namespace zv {

IMemMgr* string_manager() {
  static counting_manager manager;
  return &manager;
}

void string_broken(const char* what) {
  print("  FAIL a string's "), print(what), print(" doesn't hold\n");
  ExitProcess(2);
}

}  // namespace zv
