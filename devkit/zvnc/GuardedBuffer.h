#pragma once

#include <cstddef>
#include <string_view>

namespace zvnc {

/// Memory that ends where the process's ends: who reads a single byte behind a text in it is ended
/// by the system. So a text without a terminator shows who relies on one.
class GuardedBuffer {
 public:
  GuardedBuffer() = default;
  GuardedBuffer(const GuardedBuffer&) = delete;
  GuardedBuffer& operator=(const GuardedBuffer&) = delete;
  ~GuardedBuffer() { release(); }

  /// A copy of the text, at the very end of the buffer, until the next call. Throws std::bad_alloc.
  char* hold(std::string_view text);

 private:
  void release() noexcept;

  char* memory_ = nullptr;
  std::size_t size_ = 0;  ///< whole pages, the forbidden one behind them left out
};

/// Fresh memory of at least `size` bytes, made whole pages by rounding `size` up, with a page that
/// nobody may touch behind it. Throws std::bad_alloc.
char* allocate_guarded(std::size_t& size);
void free_guarded(char* memory, std::size_t size) noexcept;

}  // namespace zvnc
