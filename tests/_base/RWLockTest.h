#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>

#include "_base/CSyncRWLock.h"
#include "_base/waiting.h"

/// The counters of a lock, as they stand at one moment.
struct CSyncRWLockPeer {
  explicit CSyncRWLockPeer(CSyncRWLock& lock) {
    const std::lock_guard section(lock.section_);
    waiting_readers = lock.waiting_readers_;
    waiting_writers = lock.waiting_writers_;
    active_readers = lock.active_readers_;
    active_writers = lock.active_writers_;
    writer_id = lock.writer_id_;
    writer_read_entries = lock.writer_read_entries_;
    writer_write_entries = lock.writer_write_entries_;
    readers_known = static_cast<std::uint32_t>(lock.read_entries_.size());
  }

  bool is_free() const {
    return waiting_readers == 0 && waiting_writers == 0 && active_readers == 0 &&
           active_writers == 0 && writer_id == 0 && readers_known == 0;
  }

  std::uint32_t waiting_readers;
  std::uint32_t waiting_writers;
  std::uint32_t active_readers;
  std::uint32_t active_writers;
  std::uint32_t writer_id;
  std::uint32_t writer_read_entries;
  std::uint32_t writer_write_entries;
  std::uint32_t readers_known;
};

/// A lock with three threads by number. Whatever may block is tried on a thread of its own.
class RWLockTest : public testing::Test {
 protected:
  static constexpr std::uint32_t anna = 1'000'001;
  static constexpr std::uint32_t bert = 1'000'002;
  static constexpr std::uint32_t cleo = 1'000'003;

  waiting::Attempt try_read(std::uint32_t thread) {
    return waiting::Attempt([held = held_, thread] { held->ReadLock(thread); });
  }
  waiting::Attempt try_write(std::uint32_t thread) {
    return waiting::Attempt([held = held_, thread] { held->WriteLock(thread); });
  }
  CSyncRWLockPeer counters() { return CSyncRWLockPeer(lock); }
  bool readers_wait(std::uint32_t count) {
    return waiting::until([this, count] { return counters().waiting_readers == count; });
  }
  bool writers_wait(std::uint32_t count) {
    return waiting::until([this, count] { return counters().waiting_writers == count; });
  }

 private:
  std::shared_ptr<CSyncRWLock> held_ = std::make_shared<CSyncRWLock>();

 protected:
  CSyncRWLock& lock = *held_;
};
