#pragma once

#include <cstdint>
#include <map>
#include <mutex>

#include "_base/ISyncRWLock.h"
#include "platform/semaphore.h"

/// Re-entrant per thread, prefers writers, hands over directly: whoever releases sets the counters
/// for the waiter before waking it. A writer may read; a reader must not ask to write (there is no
/// upgrade). Releasing what isn't held, or upgrading, ends the process by a rethrow with nothing in
/// flight.
class CSyncRWLock final : public ISyncRWLock {
 public:
  CSyncRWLock() = default;
  CSyncRWLock(const CSyncRWLock&) = delete;
  CSyncRWLock& operator=(const CSyncRWLock&) = delete;

  void ReadLock(std::uint32_t thread_id) override;
  void ReadUnlock(std::uint32_t thread_id) override;
  void WriteLock(std::uint32_t thread_id) override;
  void WriteUnlock(std::uint32_t thread_id) override;

 private:
  friend struct CSyncRWLockPeer;  // a test's view of the counters

  void ReleaseAsWriter(std::unique_lock<std::mutex>& section);

  std::uint32_t waiting_readers_ = 0;
  std::uint32_t waiting_writers_ = 0;
  std::uint32_t active_readers_ = 0;
  std::uint32_t active_writers_ = 0;
  std::uint32_t writer_id_ = 0;
  std::uint32_t writer_read_entries_ = 0;
  std::uint32_t writer_write_entries_ = 0;
  std::mutex section_;
  platform::semaphore readers_;
  platform::semaphore writers_;
  std::map<std::uint32_t, std::uint32_t> read_entries_;  ///< by thread id
};

/// Holds a lock for reading, on the calling thread, for as long as it lives.
class ReadHolder {
 public:
  explicit ReadHolder(ISyncRWLock& lock) : lock_(lock) { lock_.ReadLock(0); }
  ReadHolder(const ReadHolder&) = delete;
  ReadHolder& operator=(const ReadHolder&) = delete;
  ~ReadHolder() { lock_.ReadUnlock(0); }

 private:
  ISyncRWLock& lock_;
};

/// Holds a lock for writing, on the calling thread, for as long as it lives.
class WriteHolder {
 public:
  explicit WriteHolder(ISyncRWLock& lock) : lock_(lock) { lock_.WriteLock(0); }
  WriteHolder(const WriteHolder&) = delete;
  WriteHolder& operator=(const WriteHolder&) = delete;
  ~WriteHolder() { lock_.WriteUnlock(0); }

 private:
  ISyncRWLock& lock_;
};
