#pragma once

/// Takes from this process what it needs of the system. Only where the system lets it be taken;
/// `possible()` tells.
namespace support::starved_process {

bool possible();

/// No descriptor can be opened while it lives, but for `spared` ones.
class WithoutDescriptors {
 public:
  explicit WithoutDescriptors(int spared = 0);
  WithoutDescriptors(const WithoutDescriptors&) = delete;
  WithoutDescriptors& operator=(const WithoutDescriptors&) = delete;
  ~WithoutDescriptors();

 private:
  unsigned long limit_ = 0;
};

/// No thread can be started while it lives.
class WithoutThreads {
 public:
  WithoutThreads();
  WithoutThreads(const WithoutThreads&) = delete;
  WithoutThreads& operator=(const WithoutThreads&) = delete;
  ~WithoutThreads();

 private:
  unsigned long stack_size_ = 0;
};

/// Makes every event of this process one that can't be set any more, for good.
void break_events();

}  // namespace support::starved_process
