#include "files/files.h"

#include <array>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <memory>
#include <system_error>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fmt/format.h>

#include "console/failure.h"

namespace ncc::tool {
namespace {

namespace fs = std::filesystem;

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using FileHandle = std::unique_ptr<std::FILE, CloseFile>;

Failure SystemFailure(const std::string& what) {
  return Failure(fmt::format("{}: {}", what, std::strerror(errno)));
}

// Closes the descriptor. Throws Failure.
void WriteAll(int descriptor, std::string_view bytes, const std::string& file) {
  FileHandle handle(fdopen(descriptor, "wb"));
  const bool written = handle &&
                       std::fwrite(bytes.data(), 1, bytes.size(), handle.get()) == bytes.size() &&
                       std::fflush(handle.get()) == 0;
  const bool stored = written && (fsync(descriptor) == 0 || errno == EINVAL || errno == EROFS);
  if (!stored) throw SystemFailure(file + " cannot be written");
}

}  // namespace

std::string ReadFile(const std::string& file, std::size_t limit) {
  FileHandle opened(file == "-" ? nullptr : std::fopen(file.c_str(), "rb"));
  if (!opened && file != "-") throw SystemFailure(file + " cannot be read");
  std::FILE* stream = opened ? opened.get() : stdin;
  std::string bytes;
  std::array<char, 65536> part{};
  while (const std::size_t count = std::fread(part.data(), 1, part.size(), stream)) {
    bytes.append(part.data(), count);
    if (bytes.size() > limit) {
      throw Failure(fmt::format("{} has more than {} MiB", file, limit >> 20));
    }
  }
  if (std::ferror(stream) != 0) throw SystemFailure(file + " cannot be read");
  return bytes;
}

void WriteFile(const std::string& file, std::string_view bytes) {
  std::error_code error;
  // Devices and pipes are written as they are; beside them there is nothing to rename.
  const fs::file_status status = fs::status(file, error);
  if (fs::exists(status) && !fs::is_regular_file(status)) {
    const int descriptor = open(file.c_str(), O_WRONLY | O_CLOEXEC);
    if (descriptor < 0) throw SystemFailure(file + " cannot be written");
    return WriteAll(descriptor, bytes, file);
  }
  // Of a name that nobody can have laid a file or a link under.
  std::string part = (fs::path(file).parent_path() / ".nccadm-XXXXXX").string();
  const int descriptor = mkostemp(part.data(), O_CLOEXEC);
  if (descriptor < 0) throw SystemFailure(file + " cannot be written");
  try {
    WriteAll(descriptor, bytes, file);
    if (std::rename(part.c_str(), file.c_str()) != 0) {
      throw SystemFailure(file + " cannot be written");
    }
  } catch (...) {
    unlink(part.c_str());
    throw;
  }
}

void RequireWritable(const std::string& file) {
  std::error_code error;
  const fs::file_status status = fs::status(file, error);
  const bool is_special = fs::exists(status) && !fs::is_regular_file(status);
  const std::string folder = fs::absolute(file).parent_path().string();
  if (fs::is_directory(status)) {
    errno = EISDIR;
  } else if (access((is_special ? file : folder).c_str(), is_special ? W_OK : W_OK | X_OK) == 0) {
    return;
  }
  throw SystemFailure(file + " cannot be written");
}

void CreatePrivateFile(const std::string& file, std::string_view bytes) {
  const int descriptor =
      open(file.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, S_IRUSR | S_IWUSR);
  if (descriptor < 0) throw SystemFailure(file + " cannot be created");
  try {
    WriteAll(descriptor, bytes, file);
  } catch (...) {
    unlink(file.c_str());
    throw;
  }
}

void MakePrivateFolder(const std::string& folder) {
  const mode_t before = umask(S_IRWXG | S_IRWXO);
  std::error_code error;
  fs::create_directories(folder, error);
  umask(before);
  if (error) throw Failure(fmt::format("{} cannot be made: {}", folder, error.message()));
}

void FlushFileSystem(const std::string& folder) {
  const int descriptor = open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
  const bool flushed = descriptor >= 0 && syncfs(descriptor) == 0;
  const Failure failure = SystemFailure("the file system of " + folder + " cannot be flushed");
  if (descriptor >= 0) close(descriptor);
  if (!flushed) throw failure;
}

}  // namespace ncc::tool
