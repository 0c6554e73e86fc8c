#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "_base/directory_mgmt/directory_changes_iterator.h"
#include "_base/directory_mgmt/idirectories_observer.h"
#include "platform/directory_changes.h"

namespace change_records {

/// The numbers as Windows gives them, not taken from the module.
namespace actions {
inline constexpr std::uint32_t added = 1;
inline constexpr std::uint32_t removed = 2;
inline constexpr std::uint32_t modified = 3;
inline constexpr std::uint32_t old_name = 4;
inline constexpr std::uint32_t new_name = 5;
}  // namespace actions

/// A buffer of change records, as a reader fills it.
class Records {
 public:
  Records& add(std::uint32_t action, std::wstring_view name) {
    if (!words_.empty()) at(last_).next_entry_offset = static_cast<std::uint32_t>(size() - last_);
    last_ = size();
    const std::size_t name_bytes = name.size() * sizeof(wchar_t);
    words_.resize((size() + sizeof(platform::change_record) + name_bytes + 3) / 4);
    at(last_) = {0, action, static_cast<std::uint32_t>(name_bytes)};
    std::memcpy(bytes() + last_ + sizeof(platform::change_record), name.data(), name_bytes);
    return *this;
  }

  /// Of the record added last.
  platform::change_record& last() { return at(last_); }
  platform::change_record& first() { return at(0); }
  unsigned char* bytes() { return reinterpret_cast<unsigned char*>(words_.data()); }
  std::size_t size() const { return words_.size() * 4; }

  winapi::directory_mgmt::directory_changes_iterator begin() { return {bytes(), size()}; }

 private:
  platform::change_record& at(std::size_t offset) {
    return *reinterpret_cast<platform::change_record*>(bytes() + offset);
  }

  std::vector<std::uint32_t> words_;
  std::size_t last_ = 0;
};

/// Notes each call as a line: "created <folder> <name>", "renamed <folder> <old> <new>". Any thread
/// may ask.
class RecordingObserver : public idirectories_observer {
 public:
  virtual ~RecordingObserver() = default;

  void on_created(const wchar_t* folder, std::wstring_view name) override {
    note(L"created ", folder, name);
  }
  void on_removed(const wchar_t* folder, std::wstring_view name) override {
    note(L"removed ", folder, name);
  }
  void on_modified(const wchar_t* folder, std::wstring_view name) override {
    note(L"modified ", folder, name);
  }
  void on_renamed(const wchar_t* folder, std::wstring_view old_name,
                  std::wstring_view new_name) override {
    note(L"renamed ", folder, std::wstring(old_name).append(L" ").append(new_name));
  }

  std::vector<std::wstring> calls() const {
    const std::lock_guard lock(mutex_);
    return calls_;
  }
  std::size_t count(const std::wstring& call) const {
    const std::lock_guard lock(mutex_);
    std::size_t found = 0;
    for (const std::wstring& each : calls_) found += each == call ? 1 : 0;
    return found;
  }

 protected:
  /// After each call was noted, on the thread that made it.
  virtual void noted(const std::wstring&) {}

 private:
  void note(std::wstring call, const wchar_t* folder, std::wstring_view names) {
    call.append(folder).append(L" ").append(names);
    {
      const std::lock_guard lock(mutex_);
      calls_.push_back(call);
    }
    noted(call);
  }

  mutable std::mutex mutex_;
  std::vector<std::wstring> calls_;
};

}  // namespace change_records
