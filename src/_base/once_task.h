#pragma once

#include <memory>

#include "_base/EqWorkItem.h"
#include "_base/abi.h"

namespace zv::framework {

/// Calls a member function of an object, once at most: the binding is freed after the call. The
/// object must outlive the task, or the queue that holds it.
template <class F, class Obj>
class once_task final : public EqWorkItem {
 public:
  once_task(F member, Obj* object) : call_(new Call{object, member}) {}

  void* scalar_deleting_destructor(std::uint32_t flags) override {
    return msvc_abi::run_destructor(this, flags);
  }
  void Release() override { delete this; }
  void Execute() override {
    if (call_ == nullptr) return;
    (call_->object->*call_->member)();
    call_.reset();
  }

  /// As Release, accepting a null task.
  static void Release(once_task* task) {
    if (task != nullptr) task->Release();
  }

 private:
  struct Call {
    Obj* object;
    F member;
  };
  std::unique_ptr<Call> call_;
};

}  // namespace zv::framework
