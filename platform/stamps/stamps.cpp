#include "platform/stamps/stamps.h"

#include "platform/disk/paths.h"
#include "platform/text/ascii_fold.h"
#include "platform/text/bytes.h"

#include <string.h>
#include <algorithm>
#include <cerrno>
#include <mutex>
#include <unordered_map>
#include <utility>

namespace ncc {
namespace {

constexpr std::string_view kKeyProbe = "which key is this";
constexpr std::size_t kMostRemembered = 1U << 18;

struct ProviderInForce {
  std::mutex mutex;
  std::shared_ptr<CStampProvider> provider;
  std::uint32_t changes = 0;
};

// Neither this nor what is remembered is ever destroyed: threads of a network object that outlives
// them at the process's end may still stamp.
ProviderInForce& InForce() {
  static auto& in_force = *new ProviderInForce;
  return in_force;
}

struct RememberedStamp {
  FileIdentity file;
  KnownStamp stamp;
};

// What was written and stamped, by inode. It forgets everything when it has grown too large.
class StampMemory {
 public:
  void Add(const FileIdentity& file, const KnownStamp& stamp) {
    const std::lock_guard<std::mutex> lock(mutex_);
    if (stamps_.size() >= kMostRemembered) stamps_.clear();
    stamps_.insert_or_assign(file.inode, RememberedStamp{file, stamp});
  }

  std::optional<std::uint32_t> Find(const FileIdentity& file, std::uint64_t key) const {
    const std::lock_guard<std::mutex> lock(mutex_);
    const auto found = stamps_.find(file.inode);
    if (found == stamps_.end() || found->second.file != file || found->second.stamp.key != key)
      return std::nullopt;
    return found->second.stamp.stamp;
  }

 private:
  mutable std::mutex mutex_;
  std::unordered_map<std::uint64_t, RememberedStamp> stamps_;
};

StampMemory& Remembered() {
  static auto& memory = *new StampMemory;
  return memory;
}

}  // namespace

StampKey::StampKey() {
  std::uint32_t changes = 0;
  {
    ProviderInForce& in_force = InForce();
    const std::lock_guard<std::mutex> lock(in_force.mutex);
    if (!in_force.provider) in_force.provider = MakeStampProvider(nullptr);
    provider_ = in_force.provider;
    changes = in_force.changes;
  }
  try {
    has_key_ = provider_->FetchKey(key_.bytes, problem_);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (...) {
    problem_ = "the stamp provider gives no key";
  }
  if (!has_key_) return;
  problem_.clear();
  if (const auto probe = Compute(kKeyProbe)) identity_ = (std::uint64_t{changes} << 32) | *probe;
}

StampKey::Key::~Key() { explicit_bzero(bytes, sizeof(bytes)); }

std::uint32_t StampKey::OfFile(const std::string& path, const FolderNames* names) const {
  std::string native = NativePath(path);
  if (!problem_.empty()) throw FileError("file " + native + " cannot be stamped: " + problem_);
  if (!has_key_) return 0;
  std::optional<FileIdentity> file = FindFile(native);
  if (!file) {
    native = names != nullptr ? ReadablePath(path, *names) : ReadablePath(path);
    file = FindFile(native);
  }
  if (!file) return 0;
  if (identity_) {
    if (const auto known = Remembered().Find(*file, *identity_)) return *known;
  }
  std::uint32_t stamp = 0;
  int error = 0;
  try {
    error = provider_->FindFileImito(native.c_str(), key_.bytes, stamp);
  } catch (const std::bad_alloc&) {
    throw;
  } catch (...) {
    error = EIO;
  }
  if (error != 0) ThrowFileError(native, "cannot be stamped", error);
  // A change in the same tick of the system's clock would not show.
  if (identity_ && IsSettled(*file) && IdentifyFile(native) == file)
    RememberStamp(*file, {*identity_, stamp});
  return stamp;
}

std::string StampKey::Fingerprint() const {
  if (identity_) return StampDigits(static_cast<std::uint32_t>(*identity_));
  return has_key_ || !problem_.empty() ? "unknown" : "none";
}

std::optional<std::uint32_t> StampKey::Compute(std::string_view bytes) const noexcept {
  std::uint32_t stamp = 0;
  try {
    if (provider_->FindImito(bytes.data(), bytes.size(), key_.bytes, stamp)) return stamp;
  } catch (...) {
    // Then files are stamped by their paths.
  }
  return std::nullopt;
}

std::optional<KnownStamp> StampKey::OfBytes(std::string_view bytes) const {
  if (!identity_) return std::nullopt;
  const auto stamp = Compute(bytes);
  if (!stamp) return std::nullopt;
  return KnownStamp{*identity_, *stamp};
}

void RememberStamp(const FileIdentity& file, const KnownStamp& stamp) {
  Remembered().Add(file, stamp);
}

std::string StampDigits(std::uint32_t stamp) {
  std::string digits;
  AppendHex(digits, stamp, 8);
  return digits;
}

std::string StampLine(std::string_view path, std::uint32_t stamp) {
  constexpr std::size_t kBehindName = 10;
  std::string line(FileName(path).size() + kBehindName, '\0');
  PutStampLine(path, stamp, line.data());
  return line;
}

char* PutStampLine(std::string_view path, std::uint32_t stamp, char* out) noexcept {
  for (const char c : FileName(path)) *out++ = UpperAscii(c);
  *out++ = '=';
  const std::string digits = StampDigits(stamp);  // short enough to need no memory
  out = std::copy(digits.begin(), digits.end(), out);
  *out++ = '\n';
  return out;
}

}  // namespace ncc

void SetStampProvider(std::shared_ptr<CStampProvider> provider) {
  ncc::ProviderInForce& in_force = ncc::InForce();
  const std::lock_guard<std::mutex> lock(in_force.mutex);
  in_force.provider.swap(provider);  // the old one goes after the lock
  ++in_force.changes;
}
