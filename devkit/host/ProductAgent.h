#pragma once

#include <cstdint>
#include <filesystem>

#include "connect/IProductAgent.h"
#include "connect/IProductAgentEvents.h"
#include "devkit/common/FileWatcher.h"
#include "devkit/common/Observers.h"

namespace devkit {

/// The Product Agent: who the user is is what a file says (User.h). Observers are told of every
/// change of it, on a thread of this object's own. Any thread may call.
///
/// GetUserInfo gives 1168 while nobody is signed in, and 13 if the file makes no sense, which is
/// told about on standard error. SPLICE_HOST_FAIL gives it, RegisterEvents and UnregisterEvents
/// other answers.
class ProductAgent final : public IProductAgent {
 public:
  explicit ProductAgent(std::filesystem::path user_file);
  ProductAgent(const ProductAgent&) = delete;
  ProductAgent& operator=(const ProductAgent&) = delete;
  /// Waits for a running call; no observer may be left.
  ~ProductAgent() = default;

  void not_called_0() override {}
  void not_called_1() override {}
  void not_called_2() override {}
  void not_called_3() override {}
  void not_called_4() override {}
  void not_called_5() override {}
  void not_called_6() override {}
  void not_called_7() override {}
  void not_called_8() override {}
  std::uint32_t GetUserInfo(IProductAgentUserInfo** info) override;
  void not_called_10() override {}
  void not_called_11() override {}
  void not_called_12() override {}
  void not_called_13() override {}
  /// 87 for a null, 183 for an observer that is there already.
  std::uint32_t RegisterEvents(IProductAgentEvents* events) override;
  /// 1168 for one that isn't. Waits for a running call, except on that call's own thread.
  std::uint32_t UnregisterEvents(IProductAgentEvents* events) override;

 private:
  const std::filesystem::path path_;
  Observers<IProductAgentEvents> observers_;
  FileWatcher watcher_;  ///< last: its thread uses the others
};

}  // namespace devkit
