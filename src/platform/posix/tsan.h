#pragma once

/// Tells ThreadSanitizer of order that it can't see, as it comes from the kernel or from a library
/// that isn't instrumented. Nothing in any other build.

#if defined(__SANITIZE_THREAD__)
#define SPLICER_TSAN 1
#elif defined(__has_feature)
#if __has_feature(thread_sanitizer)
#define SPLICER_TSAN 1
#endif
#endif

#ifdef SPLICER_TSAN

extern "C" {
void __tsan_acquire(void* address);
void __tsan_release(void* address);
void __tsan_mutex_pre_lock(void* address, unsigned flags);
void __tsan_mutex_post_lock(void* address, unsigned flags, int recursion);
int __tsan_mutex_pre_unlock(void* address, unsigned flags);
void __tsan_mutex_post_unlock(void* address, unsigned flags);
}

namespace platform::tsan {

inline constexpr bool enabled = true;
inline constexpr unsigned lock_failed = 1u << 4;

inline void hand_over(void* address) {
  __tsan_release(address);
}
inline void take_over(void* address) {
  __tsan_acquire(address);
}
inline void before_lock(void* mutex) {
  __tsan_mutex_pre_lock(mutex, 0);
}
inline void after_lock(void* mutex, bool locked) {
  __tsan_mutex_post_lock(mutex, locked ? 0 : lock_failed, 0);
}
inline void before_unlock(void* mutex) {
  __tsan_mutex_pre_unlock(mutex, 0);
}
inline void after_unlock(void* mutex) {
  __tsan_mutex_post_unlock(mutex, 0);
}

}  // namespace platform::tsan

#else

namespace platform::tsan {

inline constexpr bool enabled = false;

inline void hand_over(void*) {}
inline void take_over(void*) {}
inline void before_lock(void*) {}
inline void after_lock(void*, bool) {}
inline void before_unlock(void*) {}
inline void after_unlock(void*) {}

}  // namespace platform::tsan

#endif
