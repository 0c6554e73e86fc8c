#pragma once

#include <condition_variable>
#include <cstdint>
#include <list>
#include <mutex>
#include <thread>

#include "cloud/cirrel_client.h"

namespace zvnc {

/// Who asked to be told when the cloud comes up. Callbacks run without any lock of the library's,
/// so they may add and remove, themselves included.
class CloudUpCallbacks {
 public:
  void add(cirrel_cloud_up_callback callback, void* context);
  /// Once it returns, the callback doesn't run and won't; on the callback's own thread it returns
  /// at once. False if the callback isn't there.
  bool remove(cirrel_cloud_up_callback callback);
  /// Calls each one that is there when its turn comes.
  void call();

 private:
  struct Entry {
    cirrel_cloud_up_callback callback;
    void* context;
    std::uint64_t number;
  };

  std::mutex mutex_;
  std::condition_variable ended_;
  std::list<Entry> entries_;
  std::uint64_t next_number_ = 0;
  cirrel_cloud_up_callback running_ = nullptr;
  std::thread::id running_on_;
};

}  // namespace zvnc
