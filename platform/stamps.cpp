#include "platform/stamps.h"

#include "platform/paths.h"

#include <string.h>
#include <array>
#include <cstdio>
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

ProviderInForce& InForce() {
  static ProviderInForce in_force;
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
  static StampMemory memory;
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
    has_key_ = provider_->GetFixedKey(key_.bytes);
    std::uint32_t probe = 0;
    if (has_key_ && provider_->FindImito(kKeyProbe.data(), kKeyProbe.size(), key_.bytes, probe)) {
      identity_ = (std::uint64_t{changes} << 32) | probe;
    }
  } catch (...) {
    has_key_ = false;
  }
}

StampKey::Key::~Key() { explicit_bzero(bytes, sizeof(bytes)); }

std::uint32_t StampKey::OfFile(const std::string& path) const {
  if (!has_key_) return 0;
  const std::string native = NativePath(path);
  const std::optional<FileIdentity> file = IdentifyFile(native);
  if (!file) return 0;
  if (identity_) {
    if (const auto known = Remembered().Find(*file, *identity_)) return *known;
  }
  std::uint32_t stamp = 0;
  try {
    if (provider_->FindFileImito(native.c_str(), key_.bytes, stamp) != 0) return 0;
  } catch (...) {
    return 0;
  }
  // A change in the same tick of the system's clock would not show.
  if (identity_ && IsSettled(*file) && IdentifyFile(native) == file)
    RememberStamp(*file, {*identity_, stamp});
  return stamp;
}

std::optional<KnownStamp> StampKey::OfBytes(std::string_view bytes) const {
  if (!identity_) return std::nullopt;
  std::uint32_t stamp = 0;
  try {
    if (!provider_->FindImito(bytes.data(), bytes.size(), key_.bytes, stamp)) return std::nullopt;
  } catch (...) {
    return std::nullopt;
  }
  return KnownStamp{*identity_, stamp};
}

void RememberStamp(const FileIdentity& file, const KnownStamp& stamp) {
  Remembered().Add(file, stamp);
}

std::string StampDigits(std::uint32_t stamp) {
  std::array<char, 9> digits{};
  std::snprintf(digits.data(), digits.size(), "%08X", stamp);
  return digits.data();
}

std::string StampLine(std::string_view path, std::uint32_t stamp) {
  std::string line(FileName(path));
  for (char& c : line) {
    if (c >= 'a' && c <= 'z') c = static_cast<char>(c - 'a' + 'A');
  }
  return line + "=" + StampDigits(stamp) + "\n";
}

}  // namespace ncc

void SetStampProvider(std::shared_ptr<CStampProvider> provider) {
  ncc::ProviderInForce& in_force = ncc::InForce();
  const std::lock_guard<std::mutex> lock(in_force.mutex);
  in_force.provider.swap(provider);  // the old one goes after the lock
  ++in_force.changes;
}
