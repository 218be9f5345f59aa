#include "files/stamper.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <filesystem>

#include <sys/random.h>

#include <fmt/format.h>

#include "console/failure.h"
#include "files/files.h"

namespace ncc::tool {
namespace {

namespace fs = std::filesystem;

std::string KeyFile() {
  const char* file = std::getenv(kKeyVariable);
  return file == nullptr ? std::string() : file;
}

}  // namespace

Stamper::Stamper() {
  const std::string file = KeyFile();
  provider_ = MakeStampProvider(file.c_str());
  if (provider_->FetchKey(key_.data(), problem_)) return;
  if (problem_.empty()) {
    problem_ =
        fmt::format("there is no stamping key: {} is not set and --key not given", kKeyVariable);
  }
}

Stamper::~Stamper() { explicit_bzero(key_.data(), key_.size()); }

void Stamper::RequireKey(const std::string& otherwise) const {
  if (problem_.empty()) return;
  throw Failure(problem_, fmt::format("'nccadm keygen FILE' makes a key; --key FILE or {}=FILE "
                                      "names it{}.",
                                      kKeyVariable, otherwise));
}

std::uint32_t Stamper::OfFile(const std::string& file) const {
  // The library takes a backslash for a separator.
  if (file.find('\\') != std::string::npos) return OfBytes(ReadFile(file, kLargestFile));
  std::uint32_t stamp = 0;
  const int error = provider_->FindFileImito(file.c_str(), key_.data(), stamp);
  if (error != 0) {
    throw Failure(fmt::format("{} cannot be stamped: {}", file, std::strerror(error)));
  }
  return stamp;
}

std::uint32_t Stamper::OfBytes(std::string_view bytes) const {
  std::uint32_t stamp = 0;
  if (!provider_->FindImito(bytes.data(), bytes.size(), key_.data(), stamp)) {
    throw Failure("the stamp cannot be computed");
  }
  return stamp;
}

void UseKeyFile(const std::string& file) {
  const std::string used = file.empty() ? KeyFile() : file;
  if (!used.empty()) setenv(kKeyVariable, fs::absolute(used).c_str(), 1);
}

void UseNoKey() { unsetenv(kKeyVariable); }

void MakeKeyFile(const std::string& file) {
  std::array<unsigned char, 32> key{};
  if (getrandom(key.data(), key.size(), 0) != static_cast<ssize_t>(key.size())) {
    throw Failure(fmt::format("the system gives no random bytes: {}", std::strerror(errno)));
  }
  try {
    CreatePrivateFile(file, {reinterpret_cast<const char*>(key.data()), key.size()});
  } catch (...) {
    explicit_bzero(key.data(), key.size());
    throw;
  }
  explicit_bzero(key.data(), key.size());
}

}  // namespace ncc::tool
