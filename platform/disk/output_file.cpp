#include "platform/disk/output_file.h"

#include "platform/disk/paths.h"

#include <atomic>
#include <cerrno>
#include <ctime>

#include <fcntl.h>
#include <linux/fs.h>
#include <sys/ioctl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace ncc {
namespace {

std::atomic<bool> ends_in_carriage_return = true;
std::atomic<std::uint64_t> device_without_clones = 0;

// A copy-on-write clone; nothing where the file system has none.
std::optional<FileIdentity> CloneFile(const std::string& twin, const FileIdentity& identity,
                                      std::string_view path) {
  if (device_without_clones == identity.device) return std::nullopt;
  const Descriptor source(open(twin.c_str(), O_RDONLY | O_CLOEXEC));
  try {
    if (!source.IsValid() || IdentifyFile(source.Get(), twin) != identity) return std::nullopt;
    OutputFile clone(path);
    if (ioctl(clone.Handle(), FICLONE, source.Get()) != 0) {
      const bool never = errno == EOPNOTSUPP || errno == ENOTTY || errno == EINVAL;
      if (never || errno == ENOSYS) device_without_clones = identity.device;
      return std::nullopt;
    }
    clone.Commit();
    return clone.Identity();
  } catch (const FileError&) {
    return std::nullopt;
  }
}

}  // namespace

std::string_view TextLineEnd() noexcept { return ends_in_carriage_return ? "\r\n" : "\n"; }

bool ChooseTextLineEnd(std::string_view line_end) noexcept {
  if (line_end != "\r\n" && line_end != "\n") return false;
  ends_in_carriage_return = line_end == "\r\n";
  return true;
}

std::string WithLineEnds(std::string_view text) {
  const std::string_view line_end = TextLineEnd();
  std::string ended;
  ended.reserve(text.size() + text.size() / 16 + line_end.size());
  std::size_t from = 0;
  for (auto at = text.find('\n'); at != std::string_view::npos; at = text.find('\n', from)) {
    ended.append(text, from, at - from).append(line_end);
    from = at + 1;
  }
  return ended.append(text, from);
}

const std::string& OutputFile::Flush() {
  WriteAll(Handle(), std::string_view(contents_).substr(flushed_), Path());
  flushed_ = contents_.size();
  return Part().Name();
}

void OutputFile::FlushAndForget() {
  Flush();
  contents_.clear();
  flushed_ = 0;
}

void OutputFile::Commit() {
  Flush();
  PutInPlace();
}

void OutputFile::CommitBytes(std::string_view bytes) {
  WriteAll(Handle(), bytes, Path());
  PutInPlace();
}

void OutputFile::PutInPlace() {
  // The system's own times are as coarse as its clock tick: a change within the tick would not
  // show.
  timespec times[2] = {{0, UTIME_OMIT}, {0, 0}};
  const bool timed =
      clock_gettime(CLOCK_REALTIME, &times[1]) == 0 && futimens(Handle(), times) == 0;
  const FileIdentity identity = IdentifyFile(Handle(), Path());
  size_ = identity.size;
  if (timed && identity.modified_seconds == times[1].tv_sec &&
      identity.modified_nanoseconds == times[1].tv_nsec)
    identity_ = identity;
  Part().PutInPlace();
}

std::optional<FileIdentity> ShareFile(const std::string& twin, const FileIdentity& identity,
                                      std::string_view path) {
  if (const auto clone = CloneFile(twin, identity, path)) return clone;
  if (!LinkInPlace(twin, identity, NativePath(path))) return std::nullopt;
  return identity;
}

}  // namespace ncc
