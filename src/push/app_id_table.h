#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <list>
#include <unordered_map>

#include "_base/StringT.h"
#include "push/callback_entry.h"

namespace cloud::push {

/// Bytes up to the terminator count, as signed numbers: 5381, times 33, plus the byte, and so on.
struct app_id_hash {
  std::size_t operator()(const zv::StringT<char>& app_id) const noexcept {
    std::uint64_t hash = 5381;
    for (const char* byte = app_id.c_str(); *byte != '\0'; ++byte) {
      hash = hash * 33 + static_cast<std::uint64_t>(static_cast<signed char>(*byte));
    }
    return hash;
  }
};

struct same_app_id {
  bool operator()(const zv::StringT<char>& a, const zv::StringT<char>& b) const noexcept {
    return std::strcmp(a.c_str(), b.c_str()) == 0;
  }
};

/// Who wants to be called for which application.
template <class Callback>
class app_id_table
    : public std::unordered_map<zv::StringT<char>, std::list<callback_entry<Callback>>, app_id_hash,
                                same_app_id> {
 public:
  /// With 8 buckets, which the library may round up.
  app_id_table() : app_id_table::unordered_map(8) {}
};

}  // namespace cloud::push
