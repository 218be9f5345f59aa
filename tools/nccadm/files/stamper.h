// Stamps of files and of bytes under the key that the environment names.
#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

#include "console/failure.h"
#include "nccnet/stamp_provider.h"

namespace ncc::tool {

inline constexpr const char* kKeyVariable = "NCCNET_STAMP_KEY";

// Keeps the key, and wipes it when destroyed.
class Stamper {
 public:
  Stamper();
  ~Stamper();
  Stamper(const Stamper&) = delete;
  Stamper& operator=(const Stamper&) = delete;

  // Why there is no key; empty when there is one.
  const std::string& Problem() const { return problem_; }

  // Throws Failure when there is no key, with what to do about it; `otherwise` is another way.
  void RequireKey(const std::string& otherwise = {}) const;

  // Throw Failure when that cannot be stamped.
  std::uint32_t OfFile(const std::string& file) const;
  std::uint32_t OfBytes(std::string_view bytes) const;

 private:
  std::string problem_;
  std::shared_ptr<CStampProvider> provider_;
  std::array<unsigned char, 32> key_{};
};

// The key file of this run, in place of the one that the environment names; that one when `file` is
// empty. From here on the current directory may change.
void UseKeyFile(const std::string& file);
// A run whose stamps are zeros.
void UseNoKey();

// Makes a key file of random bytes. Throws Failure, also when there is such a file.
void MakeKeyFile(const std::string& file);

}  // namespace ncc::tool
