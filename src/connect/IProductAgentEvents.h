#pragma once

/// What the Product Agent calls; the thread is its choice.
class IProductAgentEvents {
 public:
  virtual void OnUserInfoChanged() = 0;
  virtual void ignored_1() = 0;  ///< called as well, but of no interest here

 protected:
  ~IProductAgentEvents() = default;
};
