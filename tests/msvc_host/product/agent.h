#pragma once

// The Product Agent as its maker sees it. It has further operations, which the module leaves alone.

#include <stdint.h>

class IProductAgentUserInfo {
 public:
  virtual void unused_0() = 0;
  virtual void Release() = 0;
  virtual const wchar_t* GetDeviceId() = 0;
  virtual const wchar_t* GetUserToken() = 0;
};

// No destructor: an agent ends none of these.
class IProductAgentEvents {
 public:
  virtual void OnUserInfoChanged() = 0;
  virtual void ignored_1() = 0;
};

class IProductAgent {
 public:
  virtual void unused_0() = 0;
  virtual void unused_1() = 0;
  virtual void unused_2() = 0;
  virtual void unused_3() = 0;
  virtual void unused_4() = 0;
  virtual void unused_5() = 0;
  virtual void unused_6() = 0;
  virtual void unused_7() = 0;
  virtual void unused_8() = 0;
  virtual uint32_t GetUserInfo(IProductAgentUserInfo** info) = 0;
  virtual void unused_10() = 0;
  virtual void unused_11() = 0;
  virtual void unused_12() = 0;
  virtual void unused_13() = 0;
  virtual uint32_t RegisterEvents(IProductAgentEvents* events) = 0;
  virtual uint32_t UnregisterEvents(IProductAgentEvents* events) = 0;
};
