#pragma once

#include <cstdlib>
#include <new>
#include <utility>

/// Makes one allocation of the calling thread fail. It replaces the program's operator new, so it
/// is included by one source of a program.
namespace failing_allocation {

inline constexpr long never = -1;

/// How many allocations of this thread succeed before the one that fails.
inline thread_local long successes_left = never;

inline void* allocate(std::size_t size) noexcept {
  if (successes_left != never && successes_left-- == 0) return nullptr;
  return std::malloc(size != 0 ? size : 1);
}

/// What the thread asks for during the object's life doesn't count, and doesn't fail: it stands for
/// what takes its memory from elsewhere.
class Pause {
 public:
  Pause() = default;
  Pause(const Pause&) = delete;
  Pause& operator=(const Pause&) = delete;
  ~Pause() { successes_left = left_; }

 private:
  const long left_ = std::exchange(successes_left, never);
};

/// Calls `call`, whose allocation number `index` fails. False if it made no more than `index`.
template <class Call>
bool met_by(long index, Call&& call) {
  struct Restored {
    ~Restored() { successes_left = never; }
  } const restored;
  successes_left = index;
  call();
  return successes_left == never;
}

}  // namespace failing_allocation

void* operator new(std::size_t size) {
  if (void* const memory = failing_allocation::allocate(size)) return memory;
  throw std::bad_alloc();
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  return failing_allocation::allocate(size);
}
void operator delete(void* memory) noexcept {
  std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}
void operator delete(void* memory, const std::nothrow_t&) noexcept {
  std::free(memory);
}
