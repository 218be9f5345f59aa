// The system's calls, begun again when a signal has interrupted them. They tell of a failure as the
// system does: -1, and errno.
#pragma once

#include <cerrno>
#include <cstddef>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

namespace ncc {

template <class Call>
auto Again(Call call) {
  for (;;) {
    const auto result = call();
    if (result >= 0 || errno != EINTR) return result;
  }
}

// As many bytes as there is room for or the file has.
inline ssize_t ReadUpTo(int file, void* buffer, std::size_t size) {
  std::size_t done = 0;
  while (done < size) {
    const auto got =
        Again([&] { return read(file, static_cast<char*>(buffer) + done, size - done); });
    if (got < 0) return got;
    if (got == 0) break;
    done += static_cast<std::size_t>(got);
  }
  return static_cast<ssize_t>(done);
}

// Whether the open file is the one of that name.
inline bool HasName(int file, const std::string& name) {
  struct stat info {};
  struct stat named {};
  return fstat(file, &info) == 0 && lstat(name.c_str(), &named) == 0 &&
         info.st_dev == named.st_dev && info.st_ino == named.st_ino;
}

}  // namespace ncc
