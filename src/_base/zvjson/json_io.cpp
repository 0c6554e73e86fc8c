#include "_base/zvjson/json_io.h"

#include <istream>
#include <new>
#include <ostream>
#include <utility>

#include "platform/wide_file.h"

namespace zv {
namespace {

/// Room for most texts from the start: jansson writes piece by piece, and the text would grow again
/// and again.
constexpr std::size_t usual_dump_size = 512;

template <class Ch>
bool IsEmpty(const Ch* path) noexcept {
  return path == nullptr || *path == Ch{};
}

std::size_t ReadStream(void* buffer, std::size_t size, void* stream_address) noexcept {
  constexpr auto failed = static_cast<std::size_t>(-1);
  auto& stream = *static_cast<std::istream*>(stream_address);
  try {
    stream.read(static_cast<char*>(buffer), static_cast<std::streamsize>(size));
    return stream.bad() ? failed : static_cast<std::size_t>(stream.gcount());
  } catch (const std::ios_base::failure&) {
    // A stream that was told to throw does so at its end as well.
    return stream.bad() ? failed : static_cast<std::size_t>(stream.gcount());
  } catch (...) {
    return failed;
  }
}

int WriteStream(const char* text, std::size_t size, void* stream_address) noexcept {
  auto& stream = *static_cast<std::ostream*>(stream_address);
  try {
    stream.write(text, static_cast<std::streamsize>(size));
    return stream ? 0 : -1;
  } catch (...) {
    return -1;
  }
}

int AppendText(const char* text, std::size_t size, void* string_address) noexcept {
  try {
    static_cast<std::string*>(string_address)->append(text, size);
    return 0;
  } catch (...) {
    return -1;
  }
}

}  // namespace

File OpenFile(const char* path, const char* mode) noexcept {
  return File(IsEmpty(path) ? nullptr : std::fopen(path, mode));
}

File OpenFile(const wchar_t* path, const char* mode) noexcept {
  return File(IsEmpty(path) ? nullptr : platform::open_wide(path, mode));
}

json_t* LoadFrom(const File& file, std::size_t flags) noexcept {
  return file != nullptr ? json_loadf(file.get(), flags, nullptr) : nullptr;
}

json_t* LoadFrom(std::istream& stream, std::size_t flags) noexcept {
  return json_load_callback(&ReadStream, &stream, flags, nullptr);
}

// Through a callback, as json_dumps may return a damaged text after an allocation failed.
bool DumpInto(std::string& text, const json_t* value, std::size_t flags) noexcept {
  std::string dumped;
  try {
    dumped.reserve(usual_dump_size);
  } catch (const std::bad_alloc&) {
    return false;
  }
  if (json_dump_callback(value, &AppendText, &dumped, flags) != 0) return false;
  text = std::move(dumped);
  return true;
}

bool DumpInto(File file, const json_t* value, std::size_t flags) noexcept {
  if (file == nullptr) return false;
  const bool is_written = json_dumpf(value, file.get(), flags) == 0;
  // A full disk may show only here, when what was buffered is written.
  const bool is_closed = std::fclose(file.release()) == 0;
  return is_written && is_closed;
}

bool DumpInto(std::ostream& stream, const json_t* value, std::size_t flags) noexcept {
  return json_dump_callback(value, &WriteStream, &stream, flags) == 0;
}

}  // namespace zv
