#include "platform/disk/journal_file.h"

#include "platform/disk/descriptor.h"
#include "platform/disk/files.h"

#include <array>
#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ncc {
namespace {

// Opens a journal; of other kinds of files, some would keep the caller waiting for ever.
Descriptor OpenJournal(const std::string& file, int flags) {
  Descriptor journal(open(file.c_str(), flags | O_CLOEXEC | O_NONBLOCK, S_IRUSR | S_IWUSR));
  struct stat info {};
  const bool is_other = journal.IsValid()
                            ? fstat(journal.Get(), &info) == 0 && !S_ISREG(info.st_mode)
                            : errno == EISDIR || errno == ENXIO;
  if (is_other) throw FileError("file " + file + " is no plain file");
  return journal;
}

}  // namespace

void AppendToJournal(const std::string& file, std::string_view bytes) {
  const Descriptor journal = OpenJournal(file, O_WRONLY | O_CREAT | O_APPEND | O_NOFOLLOW);
  if (!journal.IsValid() && errno == ELOOP)
    throw FileError("file " + file + " is a symbolic link, which is not followed");
  struct stat info {};
  if (!journal.IsValid() || fstat(journal.Get(), &info) != 0)
    ThrowFileError(file, "cannot be opened", errno);
  ssize_t wrote = -1;
  do {
    wrote = write(journal.Get(), bytes.data(), bytes.size());
  } while (wrote < 0 && errno == EINTR);
  if (wrote == static_cast<ssize_t>(bytes.size())) return;
  const int error = wrote < 0 ? errno : ENOSPC;
  // A record that a full disk has cut would shift all that follow.
  const bool cut = wrote > 0 && ftruncate(journal.Get(), info.st_size) == 0;
  static_cast<void>(cut);
  ThrowFileError(file, "cannot be written", error);
}

std::optional<std::string> ReadJournal(const std::string& file) {
  const Descriptor journal = OpenJournal(file, O_RDONLY);
  if (!journal.IsValid() && errno == ENOENT) return std::nullopt;
  if (!journal.IsValid()) ThrowFileError(file, "cannot be opened", errno);
  std::string contents;
  std::array<char, 1U << 16> buffer{};
  for (;;) {
    const ssize_t got = read(journal.Get(), buffer.data(), buffer.size());
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) ThrowFileError(file, "cannot be read", errno);
    if (got == 0) return contents;
    contents.append(buffer.data(), static_cast<std::size_t>(got));
  }
}

void RemoveJournal(const std::string& file) {
  if (unlink(file.c_str()) != 0 && errno != ENOENT)
    ThrowFileError(file, "cannot be deleted", errno);
}

}  // namespace ncc
