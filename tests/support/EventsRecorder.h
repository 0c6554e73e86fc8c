#pragma once

#include <cstdint>
#include <filesystem>
#include <string>
#include <vector>

#include "platform/library.h"
#include "support/posted_event.h"

namespace support {

/// The events client's library, put into a folder: what the module posts from there is recorded.
///
///   support::ModuleFolder folder;
///   support::EventsRecorder events(folder.path());
///   ... run the code under test ...
///   ASSERT_EQ(events.posted().size(), 1u);
///   EXPECT_EQ(events.posted()[0].strings[L"throttling"], L"enabled");
///
/// Make it after the folder and after the log, so that it ends before them. It holds one reference
/// to the library, so that the record outlives the client. Posts may come from any thread of this
/// process; another process records for itself.
class EventsRecorder {
 public:
  /// Copies the library to `folder`, loads the copy.
  explicit EventsRecorder(const std::filesystem::path& folder);
  EventsRecorder(const EventsRecorder&) = delete;
  EventsRecorder& operator=(const EventsRecorder&) = delete;
  ~EventsRecorder();

  const std::filesystem::path& path() const noexcept { return path_; }

  /// Every event since the construction or the last clear, in order; those that were refused too.
  std::vector<PostedEvent> posted() const;
  /// "create <name> <id>", "Init without a host", "Start", "QueryInterface <id>", "post", "Stop",
  /// "UnInit", "destroy <name>", in the order of the calls. Anything odd reads otherwise: an event
  /// that contradicts itself is not among `posted`, but a "post of a broken event: <why>" here.
  std::vector<std::wstring> steps() const;
  /// Forgets events and steps; what is to fail still fails.
  void clear();

  /// `step` (create, Init, Start, QueryInterface, post, UnInit) fails with `number` from now on, or
  /// succeeds again for 0.
  void fail(const wchar_t* step, std::uint32_t number);
  void fail_posts(std::uint32_t number) { fail(L"post", number); }

 private:
  template <class Function>
  Function symbol(const char* name) const;

  std::filesystem::path path_;
  platform::module_handle library_;
};

}  // namespace support
