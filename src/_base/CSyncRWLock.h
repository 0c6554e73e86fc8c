#pragma once

#include <cstdint>
#include <map>
#include <mutex>

#include "_base/ISyncRWLock.h"
#include "platform/semaphore.h"

/// Both kinds of lock nest on one thread, and a writer may read. Readers that come while a writer
/// waits have to wait as well, so that writers get their turn. A release passes the lock on to
/// those whose turn it is before they wake, and nobody can slip in between. Releasing what isn't
/// held ends the process, and so does asking to write while reading: two readers that did so would
/// wait for each other for ever. A refusal of the system is thrown as std::system_error in the
/// category "win_error".
class CSyncRWLock final : public ISyncRWLock {
 public:
  CSyncRWLock();
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

/// Reads on the thread that creates and destroys it.
class ReadHolder {
 public:
  explicit ReadHolder(ISyncRWLock& lock) : lock_(lock) { lock_.ReadLock(0); }
  ReadHolder(const ReadHolder&) = delete;
  ReadHolder& operator=(const ReadHolder&) = delete;
  ~ReadHolder() { lock_.ReadUnlock(0); }

 private:
  ISyncRWLock& lock_;
};

/// Writes on the thread that creates and destroys it.
class WriteHolder {
 public:
  explicit WriteHolder(ISyncRWLock& lock) : lock_(lock) { lock_.WriteLock(0); }
  WriteHolder(const WriteHolder&) = delete;
  WriteHolder& operator=(const WriteHolder&) = delete;
  ~WriteHolder() { lock_.WriteUnlock(0); }

 private:
  ISyncRWLock& lock_;
};
