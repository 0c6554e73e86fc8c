#include "devkit/zvnc/GuardedBuffer.h"

#include <algorithm>
#include <cstring>

namespace zvnc {

char* GuardedBuffer::hold(std::string_view text) {
  if (memory_ == nullptr || text.size() > size_) {
    release();
    std::size_t size = std::max(text.size(), std::size_t{1});
    memory_ = allocate_guarded(size);
    size_ = size;
  }
  char* const place = memory_ + size_ - text.size();
  if (!text.empty()) std::memcpy(place, text.data(), text.size());
  return place;
}

void GuardedBuffer::release() noexcept {
  if (memory_ != nullptr) free_guarded(memory_, size_);
  memory_ = nullptr;
}

}  // namespace zvnc
