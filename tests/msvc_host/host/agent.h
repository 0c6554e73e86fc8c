#pragma once

#include "product/agent.h"
#include "runtime/text.h"

// A Product Agent whose user signs in and out on command. Its user info goes bad at Release, and
// none may be left.
class told_agent final : public IProductAgent {
 public:
  void unused_0() override { ++wrong_calls; }
  void unused_1() override { ++wrong_calls; }
  void unused_2() override { ++wrong_calls; }
  void unused_3() override { ++wrong_calls; }
  void unused_4() override { ++wrong_calls; }
  void unused_5() override { ++wrong_calls; }
  void unused_6() override { ++wrong_calls; }
  void unused_7() override { ++wrong_calls; }
  void unused_8() override { ++wrong_calls; }
  uint32_t GetUserInfo(IProductAgentUserInfo** info) override;
  void unused_10() override { ++wrong_calls; }
  void unused_11() override { ++wrong_calls; }
  void unused_12() override { ++wrong_calls; }
  void unused_13() override { ++wrong_calls; }
  uint32_t RegisterEvents(IProductAgentEvents* registered) override;
  uint32_t UnregisterEvents(IProductAgentEvents* unregistered) override;

  void sign_in(const wchar_t* device_id, const wchar_t* user_token);
  void sign_out(uint32_t status) { status_ = status; }
  // Tells of a change, on another thread than the caller's, and waits until it was heard. False if
  // nobody registered.
  bool tell_of_change();
  // The same for the other call.
  bool tell_of_nothing();

  IProductAgentEvents* events = nullptr;
  uint32_t asked = 0;        // for user info
  uint32_t infos = 0;        // that weren't released yet
  uint32_t wrong_calls = 0;  // through slots that nobody uses, or against the order of things

 private:
  class user_info final : public IProductAgentUserInfo {
   public:
    explicit user_info(told_agent& agent);
    void unused_0() override { ++agent_.wrong_calls; }
    void Release() override;
    const wchar_t* GetDeviceId() override { return device_id_; }
    const wchar_t* GetUserToken() override { return user_token_; }

   private:
    told_agent& agent_;
    wchar_t device_id_[64];
    wchar_t user_token_[64];
  };

  uint32_t status_ = 1168;
  wchar_t device_id_[64] = {};
  wchar_t user_token_[64] = {};
};
