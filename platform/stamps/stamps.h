// Authentication stamps: of files and of bytes, under the key of the provider in force.
#pragma once

#include "nccnet/stamp_provider.h"
#include "platform/disk/files.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

namespace ncc {

// A stamp and the key that it was made under, by a value that tells keys apart and tells nothing
// else about them.
struct KnownStamp {
  std::uint64_t key = 0;
  std::uint32_t stamp = 0;
};

// The stamping key, fetched when constructed and wiped when destroyed: keep it for one file, or for
// the few of one node. Thread-safe among several.
class StampKey {
 public:
  StampKey();
  StampKey(const StampKey&) = delete;
  StampKey& operator=(const StampKey&) = delete;

  // The stamp of a file (either separator; when there is none of this name, one whose name differs
  // in letter case alone): 0 when no key is configured or there is no such file. Throws FileError
  // when the key or the file cannot be read. A file that was remembered and is untouched is not
  // read again. `names` are those of its folder, for who asks for many that may be missing.
  std::uint32_t OfFile(const std::string& path, const FolderNames* names = nullptr) const;

  // Tells keys apart, and nothing else about them: "none" without a key, "unknown" for one that
  // stamps files alone or cannot be read.
  std::string Fingerprint() const;
  // No key is configured: every stamp is 0.
  bool IsMissing() const { return !has_key_ && problem_.empty(); }

  // The stamp of bytes; nothing when the provider stamps files alone.
  std::optional<KnownStamp> OfBytes(std::string_view bytes) const;
  // The same of a stamp that was made under this key.
  std::optional<KnownStamp> Known(std::uint32_t stamp) const {
    return identity_ ? std::optional(KnownStamp{*identity_, stamp}) : std::nullopt;
  }

 private:
  struct Key {
    ~Key();  // wipes it, also when a provider throws
    unsigned char bytes[32] = {};
  };

  std::optional<std::uint32_t> Compute(std::string_view bytes) const noexcept;

  std::shared_ptr<CStampProvider> provider_;
  Key key_;
  bool has_key_ = false;
  std::string problem_;                    // why a key that is configured cannot be had
  std::optional<std::uint64_t> identity_;  // of provider and key; none when bytes have no stamps
};

// Remembers the stamp of a file that was just written, until somebody touches it.
void RememberStamp(const FileIdentity& file, const KnownStamp& stamp);

// Upper-case digits, the most significant first.
std::string StampDigits(std::uint32_t stamp);

// "NAME=STAMP\n": the name behind the path's last separator.
std::string StampLine(std::string_view path, std::uint32_t stamp);
// The same into memory, without a zero; needs none itself. Returns the place behind it.
char* PutStampLine(std::string_view path, std::uint32_t stamp, char* out) noexcept;

}  // namespace ncc
