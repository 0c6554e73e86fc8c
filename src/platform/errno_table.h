#pragma once

#include <cerrno>
#include <cstdint>

namespace platform {

struct ErrnoPair {
  int errno_value;
  std::uint32_t number;
};

/// Which Windows number says what an errno says. Of several with one number the first gives it its
/// text, where that is looked up backwards.
inline constexpr ErrnoPair errno_table[] = {
    {0, 0},
    {ENOENT, 2},          // file not found
    {ENOTDIR, 3},         // path not found
    {EMFILE, 4},          // too many open files
    {ENFILE, 4},          //
    {EACCES, 5},          // access denied
    {EPERM, 5},           //
    {EISDIR, 5},          // a folder opened as a file is refused so
    {EBADF, 6},           // invalid handle
    {ENOMEM, 14},         // out of memory
    {EXDEV, 17},          // not the same device
    {EROFS, 19},          // write protected
    {ENODEV, 20},         // bad unit
    {ENXIO, 20},          //
    {ETXTBSY, 32},        // sharing violation
    {ENOTSUP, 50},        // not supported
    {EINVAL, 87},         // invalid parameter
    {EPIPE, 109},         // broken pipe
    {ENOSPC, 112},        // disk full
    {ENOSYS, 120},        // not implemented
    {ERANGE, 122},        // insufficient buffer
    {ECHILD, 128},        // no child to wait for
    {ESPIPE, 132},        // seek on a device
    {ENOTEMPTY, 145},     // folder not empty
    {ENOLCK, 167},        // lock failed
    {EBUSY, 170},         // busy
    {EEXIST, 183},        // already exists
    {ENOEXEC, 193},       // not a program or library
    {ENAMETOOLONG, 206},  // name too long
    {EFBIG, 223},         // file too large
    {EOVERFLOW, 534},     // arithmetic overflow
    {ECANCELED, 995},     // operation aborted
    {EINTR, 995},         //
    {EFAULT, 998},        // no access to that memory
    {EIO, 1117},          // device error
    {EDEADLK, 1131},      // possible deadlock
    {EAGAIN, 1237},       // retry
    {EMLINK, 1142},       // too many links
    {ETIMEDOUT, 1460},    // timeout
    {ELOOP, 1921},        // name can't be resolved
};

}  // namespace platform
