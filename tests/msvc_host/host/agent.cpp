#include "host/agent.h"

#include "runtime/kernel32.h"

namespace {

template <class Body>
bool run_on_own_thread(Body body) {
  const auto run = [](void* argument) -> uint32_t {
    (*static_cast<Body*>(argument))();
    return 0;
  };
  void* thread = CreateThread(nullptr, 0, run, &body, 0, nullptr);
  const bool ended = WaitForSingleObject(thread, 60'000) == 0;
  CloseHandle(thread);
  return ended;
}

}  // namespace

uint32_t told_agent::GetUserInfo(IProductAgentUserInfo** info) {
  ++asked;
  if (status_ != 0) return status_;
  *info = new user_info(*this);
  return 0;
}

uint32_t told_agent::RegisterEvents(IProductAgentEvents* registered) {
  if (events || !registered) ++wrong_calls;
  events = registered;
  return 0;
}

uint32_t told_agent::UnregisterEvents(IProductAgentEvents* unregistered) {
  if (!events || unregistered != events) ++wrong_calls;
  events = nullptr;
  return 0;
}

void told_agent::sign_in(const wchar_t* device_id, const wchar_t* user_token) {
  copy_text(device_id_, device_id);
  copy_text(user_token_, user_token);
  status_ = 0;
}

bool told_agent::tell_of_change() {
  return events && run_on_own_thread([this] { events->OnUserInfoChanged(); });
}

bool told_agent::tell_of_nothing() {
  return events && run_on_own_thread([this] { events->ignored_1(); });
}

told_agent::user_info::user_info(told_agent& agent) : agent_(agent) {
  copy_text(device_id_, agent.device_id_);
  copy_text(user_token_, agent.user_token_);
  ++agent_.infos;
}

void told_agent::user_info::Release() {
  --agent_.infos;
  copy_text(device_id_, L"released");
  copy_text(user_token_, L"released");
  delete this;
}
