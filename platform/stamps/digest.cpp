#include "platform/stamps/digest.h"

#include "platform/disk/calls.h"
#include "platform/stamps/crypto_library.h"

#include <gcrypt.h>

#include <algorithm>
#include <cerrno>
#include <vector>

namespace ncc {
namespace {

constexpr int kAlgorithm = GCRY_MD_SHA256;
constexpr std::size_t kBlockSize = 1U << 17;

[[noreturn]] void ThrowMissing() { throw FileError("libgcrypt has no SHA-256"); }

gcry_md_hd_t HandleOf(void* handle) { return static_cast<gcry_md_hd_t>(handle); }

}  // namespace

void Digester::Close::operator()(void* handle) const { gcry_md_close(HandleOf(handle)); }

Digester::Digester() {
  gcry_md_hd_t handle = nullptr;
  if (!PrepareCryptoLibrary() || gcry_md_open(&handle, kAlgorithm, 0) != 0) ThrowMissing();
  handle_.reset(handle);
}

void Digester::Add(std::string_view bytes) {
  gcry_md_write(HandleOf(handle_.get()), bytes.data(), bytes.size());
}

Digest Digester::Finish() {
  const unsigned char* bytes = gcry_md_read(HandleOf(handle_.get()), kAlgorithm);
  if (bytes == nullptr) ThrowMissing();
  Digest digest;
  std::copy_n(bytes, digest.size(), digest.begin());
  return digest;
}

Digest DigestOf(std::string_view bytes) {
  if (!PrepareCryptoLibrary()) ThrowMissing();
  Digest digest;
  gcry_md_hash_buffer(kAlgorithm, digest.data(), bytes.data(), bytes.size());
  return digest;
}

std::uint64_t AddFile(Digester& digester, int file, std::uint64_t limit, const std::string& path) {
  std::vector<char> block(std::min<std::uint64_t>(limit, kBlockSize));
  std::uint64_t done = 0;
  while (done < limit) {
    const auto wanted = std::min<std::uint64_t>(block.size(), limit - done);
    const ssize_t got = ReadUpTo(file, block.data(), wanted);
    if (got < 0) ThrowFileError(path, "cannot be read", errno);
    if (got == 0) break;
    digester.Add({block.data(), static_cast<std::size_t>(got)});
    done += static_cast<std::uint64_t>(got);
  }
  return done;
}

std::optional<Digest> DigestOfFile(const std::string& native_path) {
  const std::optional<SourceFile> file = OpenSource(native_path);
  if (!file) return std::nullopt;
  Digester digester;
  AddFile(digester, file->descriptor.Get(), UINT64_MAX, native_path);
  return digester.Finish();
}

}  // namespace ncc
