#pragma once

#include <cstdint>

#include "_base/abi.h"

class IProductAgentEvents;
class IProductAgentUserInfo;

inline constexpr IID IID_IProductAgent = {
    0x3b231fe2, 0x89c2, 0x953e, {0x38, 0x49, 0x45, 0xb5, 0x89, 0x89, 0x42, 0x95}};
inline constexpr IID IID_IProductAgentCommClient = {
    0x341a34ac, 0x6892, 0x85db, {0x11, 0x49, 0x50, 0x80, 0xfa, 0x93, 0x40, 0x0a}};

/// The closed Product Agent: the plug-ins "productagent", which knows the user, and
/// "productagentcommclient", which asks another process. Both have this table; the slots without a
/// name of their own are the agent's.
class IProductAgent {
 public:
  virtual void not_called_0() = 0;
  virtual void not_called_1() = 0;
  virtual void not_called_2() = 0;
  virtual void not_called_3() = 0;
  virtual void not_called_4() = 0;
  virtual void not_called_5() = 0;
  virtual void not_called_6() = 0;
  virtual void not_called_7() = 0;
  virtual void not_called_8() = 0;
  /// 0 with an object that the caller releases, or any other status without one.
  virtual std::uint32_t GetUserInfo(IProductAgentUserInfo** info) = 0;
  virtual void not_called_10() = 0;
  virtual void not_called_11() = 0;
  virtual void not_called_12() = 0;
  virtual void not_called_13() = 0;
  virtual std::uint32_t RegisterEvents(IProductAgentEvents* events) = 0;
  /// No call to `events` is under way or comes after it.
  virtual std::uint32_t UnregisterEvents(IProductAgentEvents* events) = 0;

 protected:
  ~IProductAgent() = default;
};
