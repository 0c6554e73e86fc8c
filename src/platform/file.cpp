#include "platform/file.h"

#include "platform/os.h"

namespace platform {
namespace {

template <typename Stream>
Stream open_stream(const std::filesystem::path& path, std::ios::openmode mode, Call transfer) {
  Stream stream;
  if (injected_failure(Call::open) != 0) {
    stream.setstate(std::ios::failbit);
    return stream;
  }
  stream.open(os::openable(path), mode);
  // An open stream that is bad is what remains of one whose first transfer failed.
  if (stream.is_open() && injected_failure(transfer) != 0) stream.setstate(std::ios::badbit);
  return stream;
}

}  // namespace

bool create_folders(const std::filesystem::path& path, std::uint32_t& error) {
  error = 0;
  if (os::is_folder(path)) return true;
  const std::filesystem::path parent = path.parent_path();
  if (!parent.empty() && parent != path && !create_folders(parent, error)) return false;
  error = os::create_folder(path);
  // Others may have made it meanwhile.
  if (error != 0 && os::is_folder(path)) error = 0;
  return error == 0;
}

std::ifstream open_for_reading(const std::filesystem::path& path) {
  return open_stream<std::ifstream>(path, std::ios::in | std::ios::binary, Call::read);
}

std::ofstream open_for_writing(const std::filesystem::path& path) {
  return open_stream<std::ofstream>(path, std::ios::out | std::ios::trunc | std::ios::binary,
                                    Call::write);
}

}  // namespace platform
