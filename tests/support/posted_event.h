#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <vector>

namespace support {

/// The values of an event, or of a child event.
struct PostedValues {
  std::map<std::wstring, std::wstring> strings;
  std::map<std::wstring, std::int64_t> integers;
  std::map<std::wstring, std::vector<std::wstring>> string_lists;
  std::map<std::wstring, std::vector<PostedValues>> children;  ///< one each
  std::map<std::wstring, std::vector<PostedValues>> child_lists;
};

/// An event as the client could read it while it was posted.
struct PostedEvent : PostedValues {
  std::wstring name;
  std::wstring version;
  std::uint32_t type = 0;
  bool flag = false;  ///< of the post
};

}  // namespace support
