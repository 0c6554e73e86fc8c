#pragma once

/// Lets no file of this process grow. Only where the system does that; `possible()` tells.
namespace support::full_disk {

bool possible();

/// Nothing can be written beyond the first `bytes` of a file while it lives.
class Limit {
 public:
  explicit Limit(unsigned long bytes);
  Limit(const Limit&) = delete;
  Limit& operator=(const Limit&) = delete;
  ~Limit();

 private:
  unsigned long former_ = 0;
};

}  // namespace support::full_disk
