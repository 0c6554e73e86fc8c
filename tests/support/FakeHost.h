#pragma once

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "frame/IServMain.h"
#include "frame/IZvBaseInterface.h"

namespace support {

/// A host with plug-ins by name, which records what it is asked. Any thread may call.
class FakeHost final : public IServMain, public IServPluginManager {
 public:
  FakeHost() = default;
  FakeHost(const FakeHost&) = delete;
  FakeHost& operator=(const FakeHost&) = delete;

  /// What the host gives out; null for a host that lacks it. The execution service at first is a
  /// pointer that must not be called.
  void set_plugin_manager(IServPluginManager* manager);
  void set_execution_service(IExecutionService* service);

  /// `get_plugin` gives `plugin` for this name, whatever the id. An unknown name gives 1168.
  void add_plugin(const std::wstring& name, void* plugin);
  /// `get_plugin` writes `plugin` and gives `status` for this name.
  void fail_plugin(const std::wstring& name, std::uint32_t status, void* plugin = nullptr);

  /// `get_plugin` gives `plugin` for this name and id; other ids of the name, unless they are added
  /// too, give 1168. Such an entry goes before the ones above.
  void add_plugin(const std::wstring& name, const IID& id, void* plugin);
  /// `get_plugin` gives what the QueryInterface of `plugin` gives, a null with 1168.
  void add_object(const std::wstring& name, IZvBaseInterface* plugin);
  /// The name is unknown again.
  void remove_plugin(const std::wstring& name);

  /// "get_execution_service", "get_plugin_manager", "get_plugin <name>", "release_plugin <name>",
  /// "not called".
  std::vector<std::wstring> calls() const;
  void clear();
  /// The id of the last get_plugin.
  IID last_id() const;
  /// The ids of every get_plugin of this name, in order.
  std::vector<IID> ids(const std::wstring& name) const;
  /// Successful get_plugin less release_plugin of this name.
  int plugins_out(const std::wstring& name) const;

  void not_called_0() override { record(L"not called"); }
  IServPluginManager* get_plugin_manager() override;
  void not_called_2() override { record(L"not called"); }
  IExecutionService* get_execution_service() override;
  std::uint32_t get_plugin(const wchar_t* name, const IID& id, void** out) override;
  void release_plugin(const wchar_t* name) override;

  ~FakeHost() = default;

 private:
  struct Answer {
    std::uint32_t status;
    void* plugin;
  };
  struct Face {
    IID id;
    void* plugin;
  };

  void record(std::wstring call);
  std::optional<Answer> answer_of(const std::wstring& name, const IID& id);

  mutable std::mutex mutex_;
  std::vector<std::wstring> calls_;
  std::map<std::wstring, Answer> plugins_;
  std::map<std::wstring, std::vector<Face>> faces_;
  std::map<std::wstring, IZvBaseInterface*> objects_;
  IID last_id_{};
  std::map<std::wstring, std::vector<IID>> ids_;
  std::map<std::wstring, int> out_;
  IServPluginManager* manager_ = this;
  char somewhere_ = 0;
  IExecutionService* service_ = reinterpret_cast<IExecutionService*>(&somewhere_);
};

}  // namespace support
