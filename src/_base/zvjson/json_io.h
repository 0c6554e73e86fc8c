#pragma once

#include <jansson.h>

#include <cstddef>
#include <cstdio>
#include <iosfwd>
#include <memory>
#include <string>

namespace zv {

struct FileCloser {
  void operator()(std::FILE* file) const noexcept { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, FileCloser>;

/// Null for an empty or null path, without a try, and if the file can't be opened.
File OpenFile(const char* path, const char* mode) noexcept;
File OpenFile(const wchar_t* path, const char* mode) noexcept;

// jansson's loads and dumps with their far end in C++: no exception leaves through its frames.
// A null file fails. Dumps return true on success, which includes the closing of a file.
json_t* LoadFrom(const File& file, std::size_t flags) noexcept;
json_t* LoadFrom(std::istream& stream, std::size_t flags) noexcept;
bool DumpInto(std::string& text, const json_t* value, std::size_t flags) noexcept;
bool DumpInto(File file, const json_t* value, std::size_t flags) noexcept;
bool DumpInto(std::ostream& stream, const json_t* value, std::size_t flags) noexcept;

}  // namespace zv
