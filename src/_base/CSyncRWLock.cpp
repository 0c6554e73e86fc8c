#include "_base/CSyncRWLock.h"

#include <system_error>

#include "_base/win_error.h"
#include "platform/thread.h"

namespace {

std::uint32_t caller_if_zero(std::uint32_t thread_id) noexcept {
  return thread_id != 0 ? thread_id : platform::current_thread_id();
}

void throw_if_failed(std::uint32_t error, const char* what) {
  if (error != win_error::success) throw std::system_error(winapi::make_error_code(error), what);
}

void wait_for(platform::semaphore& semaphore) {
  throw_if_failed(semaphore.acquire(), "WaitForSingleObject failed");
}

void wake(platform::semaphore& semaphore, std::uint32_t count) {
  throw_if_failed(semaphore.release(count), "ReleaseSemaphore failed");
}

// Nothing is in flight, so this ends the process: a lock that is used wrongly guards nothing.
[[noreturn]] void broken_invariant() {
  throw;
}

}  // namespace

CSyncRWLock::CSyncRWLock() {
  throw_if_failed(readers_.error(), "CreateSemaphore failed");
  throw_if_failed(writers_.error(), "CreateSemaphore failed");
}

void CSyncRWLock::ReadLock(std::uint32_t thread_id) {
  const std::uint32_t id = caller_if_zero(thread_id);
  std::unique_lock section(section_);
  if (active_writers_ != 0) {
    if (id == writer_id_) {
      ++writer_read_entries_;
      return;
    }
  } else {
    const auto own = read_entries_.find(id);
    if (own != read_entries_.end()) {
      // A thread that reads already may go on past a waiting writer; it would deadlock otherwise.
      ++own->second;
      return;
    }
    if (waiting_writers_ == 0) {
      read_entries_[id] = 1;
      ++active_readers_;
      return;
    }
  }
  // Allocated before the wait: once the releaser has counted this reader as active, nothing may
  // fail any more.
  std::map<std::uint32_t, std::uint32_t> entry{{id, 1}};
  ++waiting_readers_;
  section.unlock();
  wait_for(readers_);
  section.lock();
  read_entries_.insert(entry.extract(entry.begin())).position->second = 1;
}

void CSyncRWLock::ReadUnlock(std::uint32_t thread_id) {
  const std::uint32_t id = caller_if_zero(thread_id);
  std::unique_lock section(section_);
  if (active_readers_ == 0) {
    if (active_writers_ == 0 || id != writer_id_ || writer_read_entries_ == 0) broken_invariant();
    --writer_read_entries_;
    if (writer_read_entries_ == 0 && writer_write_entries_ == 0) ReleaseAsWriter(section);
    return;
  }
  const auto own = read_entries_.find(id);
  if (own == read_entries_.end()) broken_invariant();
  if (--own->second != 0) return;
  read_entries_.erase(own);
  --active_readers_;
  if (active_readers_ == 0 && waiting_writers_ != 0) {
    --waiting_writers_;
    ++active_writers_;
    section.unlock();
    wake(writers_, 1);
  }
}

void CSyncRWLock::WriteLock(std::uint32_t thread_id) {
  const std::uint32_t id = caller_if_zero(thread_id);
  std::unique_lock section(section_);
  if (active_readers_ == 0 && active_writers_ == 0) {
    active_writers_ = 1;
  } else if (active_writers_ != 0 && id == writer_id_) {
    ++writer_write_entries_;
    return;
  } else if (active_writers_ != 0 || read_entries_.find(id) == read_entries_.end()) {
    ++waiting_writers_;
    section.unlock();
    wait_for(writers_);
    section.lock();  // The releaser has counted this writer as active.
  } else {
    broken_invariant();
  }
  writer_id_ = id;
  writer_read_entries_ = 0;
  writer_write_entries_ = 1;
}

void CSyncRWLock::WriteUnlock(std::uint32_t thread_id) {
  const std::uint32_t id = caller_if_zero(thread_id);
  std::unique_lock section(section_);
  if (active_writers_ == 0 || id != writer_id_ || writer_write_entries_ == 0) broken_invariant();
  --writer_write_entries_;
  if (writer_read_entries_ == 0 && writer_write_entries_ == 0) ReleaseAsWriter(section);
}

void CSyncRWLock::ReleaseAsWriter(std::unique_lock<std::mutex>& section) {
  active_writers_ = 0;
  writer_id_ = 0;
  if (waiting_writers_ != 0) {
    --waiting_writers_;
    active_writers_ = 1;
    section.unlock();
    wake(writers_, 1);
  } else if (waiting_readers_ != 0) {
    const std::uint32_t count = waiting_readers_;
    active_readers_ = count;
    waiting_readers_ = 0;
    section.unlock();
    wake(readers_, count);
  }
}
