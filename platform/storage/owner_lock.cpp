#include "platform/storage/owner_lock.h"

#include "platform/crc32c.h"
#include "platform/disk/files.h"
#include "platform/process.h"
#include "platform/storage/database_files.h"
#include "platform/token.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdio>
#include <ctime>

namespace ncc {
namespace {

// Inode, revision, unit and their CRC-32C in hexadecimal digits.
constexpr std::size_t kNumbersSize = 3 * 17;
constexpr std::size_t kLineSize = kNumbersSize + 9;

std::string ReadWords(int descriptor) {
  std::array<char, 1024> buffer{};
  const ssize_t got = ::pread(descriptor, buffer.data(), buffer.size(), 0);
  return {buffer.data(), got > 0 ? static_cast<std::size_t>(got) : 0};
}

std::string ReadWords(const std::string& file) {
  const Descriptor descriptor(::open(file.c_str(), O_RDONLY | O_CLOEXEC | O_NOFOLLOW | O_NONBLOCK));
  return descriptor.IsValid() ? ReadWords(descriptor.Get()) : std::string();
}

std::array<char, kLineSize + 1> FormatLine(const Acknowledged& last) {
  std::array<char, kLineSize + 1> line{};
  std::snprintf(line.data(), line.size(), "%016" PRIx64 " %016" PRIx64 " %016" PRIx64 " ",
                last.inode, last.revision, last.unit);
  std::snprintf(line.data() + kNumbersSize, line.size() - kNumbersSize, "%08" PRIx32 "\n",
                ExtendCrc32c(0, {line.data(), kNumbersSize}));
  return line;
}

std::optional<Acknowledged> ParseLine(const std::string& text) {
  Acknowledged last;
  if (std::sscanf(text.c_str(), "%16" SCNx64 " %16" SCNx64 " %16" SCNx64, &last.inode,
                  &last.revision, &last.unit) != 3) {
    return std::nullopt;
  }
  if (text.substr(0, kLineSize) != FormatLine(last).data()) return std::nullopt;
  return last;
}

// Tells the objects of this process from those of one with the same number in another container.
std::uint64_t ProcessToken() {
  static const std::uint64_t kToken = DrawToken();
  return kToken;
}

struct Holder {
  long process = 0;
  std::uint64_t token = 0;
  std::int64_t since = 0;
  std::string command;
};

std::string FormatHolder() {
  return "process " + std::to_string(::getpid()) + " " + std::to_string(ProcessToken()) +
         " since " + std::to_string(std::time(nullptr)) + " command " + CommandOfThisProcess() +
         "\n";
}

std::optional<Holder> ParseHolder(const std::string& text) {
  if (text.size() <= kLineSize) return std::nullopt;
  Holder holder;
  int command = 0;
  const char* const words = text.c_str() + kLineSize;
  if (std::sscanf(words, "process %ld %" SCNu64 " since %" SCNd64 " command %n", &holder.process,
                  &holder.token, &holder.since, &command) != 3 ||
      command == 0) {
    return std::nullopt;
  }
  holder.command = words + command;
  holder.command.resize(std::min(holder.command.find('\n'), holder.command.size()));
  return holder;
}

std::string DescribeHolder(const Holder& holder) {
  return "process " + std::to_string(holder.process) + " (" + holder.command + "), since " +
         LocalTime(holder.since);
}

void RefuseThisProcess(const std::optional<Holder>& holder) {
  if (!holder || holder->process != ::getpid() || holder->token != ProcessToken()) return;
  throw StorageError("database is in use by another object of this process", NCCFailure::kInUse);
}

[[noreturn]] void RefuseHeld(const std::string& file) {
  const auto holder = ParseHolder(ReadWords(file));
  RefuseThisProcess(holder);
  throw StorageError("database is in use by another process" +
                         (holder ? ": " + DescribeHolder(*holder) : std::string()),
                     NCCFailure::kInUse);
}

FileLock Acquire(const std::string& file) {
  try {
    if (auto lock = FileLock::TryAcquire(file)) return std::move(*lock);
  } catch (const FileError& error) {
    throw StorageError(DescribeFailure("cannot open or create", file, error.Cause()));
  }
  RefuseHeld(file);
}

}  // namespace

OwnerLock::OwnerLock(const std::string& file)
    : file_(file),
      lock_(Acquire(file)),
      pid_(::getpid()),
      left_(ParseLine(ReadWords(lock_.Get()))),
      kept_(!lock_.MadeFile()) {
  std::string text(kLineSize, ' ');
  text.back() = '\n';
  if (left_) text = FormatLine(*left_).data();
  text += FormatHolder();
  // On a full disk these words are missing, which takes nothing from the lock.
  static_cast<void>(!::pwrite(lock_.Get(), text.data(), text.size(), 0));
  static_cast<void>(!::ftruncate(lock_.Get(), static_cast<off_t>(text.size())));
}

OwnerLock::~OwnerLock() {
  if (::getpid() != pid_) return;
  if (!kept_) {
    ::unlink(file_.c_str());
  } else if (!closed_) {
    static_cast<void>(!::ftruncate(lock_.Get(), ParseLine(ReadWords(lock_.Get())) ? kLineSize : 0));
  }
}

void OwnerLock::Acknowledge(const Acknowledged& last) noexcept {
  const auto line = FormatLine(last);
  static_cast<void>(!::pwrite(lock_.Get(), line.data(), kLineSize, 0));
}

void OwnerLock::Close() noexcept { closed_ = ::ftruncate(lock_.Get(), 0) == 0; }

std::optional<std::string> DescribeHolder(const std::string& file) {
  if (!FileLock::IsHeld(file)) return std::nullopt;
  const auto holder = ParseHolder(ReadWords(file));
  return holder ? DescribeHolder(*holder) : std::string("another process");
}

void RefuseOwnedHere(const std::string& file) {
  if (FileLock::IsHeld(file)) RefuseThisProcess(ParseHolder(ReadWords(file)));
}

std::optional<Acknowledged> ReadAcknowledged(const std::string& file) {
  return ParseLine(ReadWords(file));
}

}  // namespace ncc
