#include "platform/journal_file.h"

#include "platform/descriptor.h"

#include <array>
#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ncc {

bool AppendToJournal(const std::string& file, std::string_view bytes) {
  const Descriptor journal(
      open(file.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, S_IRUSR | S_IWUSR));
  struct stat info {};
  if (!journal.IsValid() || fstat(journal.Get(), &info) != 0) return false;
  ssize_t wrote = -1;
  do {
    wrote = write(journal.Get(), bytes.data(), bytes.size());
  } while (wrote < 0 && errno == EINTR);
  if (wrote == static_cast<ssize_t>(bytes.size())) return true;
  // A record that a full disk has cut would shift all that follow.
  const bool cut = wrote > 0 && ftruncate(journal.Get(), info.st_size) == 0;
  static_cast<void>(cut);
  return false;
}

std::optional<std::string> ReadJournal(const std::string& file) {
  const Descriptor journal(open(file.c_str(), O_RDONLY | O_CLOEXEC));
  if (!journal.IsValid()) return std::nullopt;
  std::string contents;
  std::array<char, 1U << 16> buffer{};
  for (;;) {
    const ssize_t got = read(journal.Get(), buffer.data(), buffer.size());
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return std::nullopt;
    if (got == 0) return contents;
    contents.append(buffer.data(), static_cast<std::size_t>(got));
  }
}

void RemoveJournal(const std::string& file) { unlink(file.c_str()); }

}  // namespace ncc
