#pragma once

/// Device and user as the Product Agent knows them. The slot without a name is the agent's.
class IProductAgentUserInfo {
 public:
  virtual void not_called_0() = 0;
  virtual void Release() = 0;
  // Valid until Release; may be null.
  virtual const wchar_t* GetDeviceId() = 0;
  virtual const wchar_t* GetUserToken() = 0;

 protected:
  ~IProductAgentUserInfo() = default;
};
