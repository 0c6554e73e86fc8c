#pragma once

#include <condition_variable>
#include <deque>
#include <mutex>
#include <thread>

#include "_base/EqWorkItem.h"
#include "frame/IServMain.h"

namespace devkit {

/// A serial queue of the host: one thread, tasks in their order. Its end lets the running task
/// finish and releases those that never ran. It must not end on its own thread.
class SerialQueue final : public ISerialExecution {
 public:
  SerialQueue();
  SerialQueue(const SerialQueue&) = delete;
  SerialQueue& operator=(const SerialQueue&) = delete;
  ~SerialQueue();

  std::uint32_t enqueue_task(const wchar_t* name, std::uint64_t zero1, EqWorkItem* task,
                             std::uint64_t zero3, std::uint64_t zero4,
                             std::uint64_t zero5) override;

 private:
  void run();

  std::mutex mutex_;
  std::condition_variable changed_;
  std::deque<EqWorkItem*> tasks_;
  bool stop_ = false;
  std::thread thread_;
};

}  // namespace devkit
