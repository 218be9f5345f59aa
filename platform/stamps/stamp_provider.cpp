// The library's own stamps: the 32-bit MAC of RFC 5830 under a key from a file.
#include "nccnet/stamp_provider.h"

#include "platform/disk/calls.h"
#include "platform/disk/descriptor.h"
#include "platform/disk/files.h"
#include "platform/disk/paths.h"
#include "platform/stamps/crypto_library.h"
#include "platform/text/bytes.h"

#include <fcntl.h>
#include <gcrypt.h>
#include <sys/stat.h>

#include <string.h>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

namespace {

constexpr std::size_t kKeySize = 32;
constexpr std::size_t kBlockSize = 1U << 16;

// One computation; the library wipes its copy of the key when it is closed.
class Mac {
 public:
  explicit Mac(const unsigned char* key) {
    if (!ncc::PrepareCryptoLibrary() ||
        gcry_mac_open(&handle_, GCRY_MAC_GOST28147_IMIT, 0, nullptr) != 0)
      return;
    ok_ = gcry_mac_setkey(handle_, key, kKeySize) == 0;
  }
  ~Mac() {
    if (handle_ != nullptr) gcry_mac_close(handle_);
  }
  Mac(const Mac&) = delete;
  Mac& operator=(const Mac&) = delete;

  void Add(const void* data, std::size_t size) {
    if (size > 0) ok_ = ok_ && gcry_mac_write(handle_, data, size) == 0;
  }

  bool Finish(std::uint32_t& stamp) {
    char bytes[4] = {};
    std::size_t size = sizeof(bytes);
    ok_ = ok_ && gcry_mac_read(handle_, bytes, &size) == 0 && size == sizeof(bytes);
    if (!ok_) return false;
    stamp = ncc::U32At({bytes, sizeof(bytes)}, 0);
    return true;
  }

 private:
  gcry_mac_hd_t handle_ = nullptr;
  bool ok_ = false;
};

// Why a file cannot be the key; empty when it can.
std::string ProblemOf(const struct stat& info) {
  if (!S_ISREG(info.st_mode)) return "is no plain file";
  if (info.st_uid != geteuid()) return "belongs to another user";
  if ((info.st_mode & (S_IRWXG | S_IRWXO)) != 0) return "is open to others; chmod 600 closes it";
  if (info.st_nlink != 1) return "has " + std::to_string(info.st_nlink) + " names; give it one";
  if (info.st_size != kKeySize)
    return "has " + std::to_string(info.st_size) + " bytes, not " + std::to_string(kKeySize);
  return {};
}

// Why the key could not be read; empty when it was.
std::string ReadKey(const std::string& path, unsigned char key[kKeySize]) {
  constexpr int kFlags = O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW;
  const ncc::Descriptor file(open(path.c_str(), kFlags));
  if (!file.IsValid() && errno == ELOOP) return "is a link; name the file itself";
  struct stat info {};
  if (!file.IsValid() || fstat(file.Get(), &info) != 0)
    return std::string("cannot be read: ") + std::strerror(errno);
  std::string problem = ProblemOf(info);
  if (problem.empty() && ncc::ReadUpTo(file.Get(), key, kKeySize) != kKeySize) {
    explicit_bzero(key, kKeySize);
    return "cannot be read";
  }
  return problem;
}

class MacProvider final : public CStampProvider {
 public:
  explicit MacProvider(const char* key_file) : key_file_(key_file != nullptr ? key_file : "") {}

  bool GetFixedKey(unsigned char key[32]) override {
    std::string problem;
    return FetchKey(key, problem);
  }

  bool FetchKey(unsigned char key[32], std::string& problem) override {
    problem.clear();
    const char* name = key_file_.empty() ? std::getenv("NCCNET_STAMP_KEY") : key_file_.c_str();
    if (name == nullptr || *name == '\0') return false;
    const std::string path = ncc::NativePath(name);
    const std::string words = ReadKey(path, key);
    if (!words.empty()) problem = "the stamping key " + path + " " + words;
    return words.empty();
  }

  int FindFileImito(const char* path, const unsigned char key[32], std::uint32_t& stamp) override {
    const ncc::Descriptor file(
        open(ncc::NativePath(path).c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    struct stat info {};
    if (!file.IsValid() || fstat(file.Get(), &info) != 0) return errno;
    if (!S_ISREG(info.st_mode)) return EINVAL;
    Mac mac(key);
    const auto buffer = std::make_unique<unsigned char[]>(kBlockSize);
    for (ssize_t got = kBlockSize; got == kBlockSize;) {
      got = ncc::ReadUpTo(file.Get(), buffer.get(), kBlockSize);
      if (got < 0) return errno;
      mac.Add(buffer.get(), static_cast<std::size_t>(got));
    }
    return mac.Finish(stamp) ? 0 : EIO;
  }

  bool FindImito(const void* data, std::size_t size, const unsigned char key[32],
                 std::uint32_t& stamp) override {
    Mac mac(key);
    mac.Add(data, size);
    return mac.Finish(stamp);
  }

 private:
  std::string key_file_;  // empty: what the environment names
};

}  // namespace

CStampProvider::~CStampProvider() = default;

bool CStampProvider::FindImito(const void* /*data*/, std::size_t /*size*/,
                               const unsigned char /*key*/[32], std::uint32_t& /*stamp*/) {
  return false;
}

bool CStampProvider::FetchKey(unsigned char key[32], std::string& /*problem*/) {
  return GetFixedKey(key);
}

std::shared_ptr<CStampProvider> MakeStampProvider(const char* key_file) {
  return std::make_shared<MacProvider>(key_file);
}
