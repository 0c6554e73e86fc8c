#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>
#include <unordered_map>

#include "_base/StringT.h"

namespace zv {

/// Multiplies by 33 and adds, unit by unit up to the NUL.
struct KeyHash {
  using Unit = std::make_unsigned_t<wchar_t>;

  std::size_t operator()(const StringT<wchar_t>& key) const noexcept {
    static_assert(sizeof(std::size_t) == sizeof(std::uint64_t));
    std::uint64_t hash = 5381;
    for (const wchar_t* unit = key.c_str(); *unit != L'\0'; ++unit) {
      hash = hash * 33 + static_cast<Unit>(*unit);
    }
    return hash;
  }
};

/// Exact, unit by unit up to the NUL; a null text equals the empty one.
struct KeyEqual {
  bool operator()(const StringT<wchar_t>& a, const StringT<wchar_t>& b) const noexcept {
    return ChTraitsCRT<wchar_t>::Compare(a.c_str(), b.c_str()) == 0;
  }
};

/// What a Map holds and its enumerators stand in.
template <class K, class V>
using MapEntries = std::unordered_map<K, V, KeyHash, KeyEqual>;

}  // namespace zv
