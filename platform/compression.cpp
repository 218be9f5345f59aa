#include "platform/compression.h"

#include <zstd.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>

namespace ncc {
namespace {

constexpr int kLevel = 3;
// Of what Compress is given; a damaged head must not ask for any amount of memory.
constexpr std::uint64_t kMostBytes = std::uint64_t{4} << 30;

}  // namespace

std::string Compress(std::string_view bytes) {
  // Making one takes longer than a small text.
  thread_local const std::unique_ptr<ZSTD_CCtx, std::size_t (*)(ZSTD_CCtx*)> kContext(
      ZSTD_createCCtx(), &ZSTD_freeCCtx);
  if (!kContext) throw std::bad_alloc();
  std::string compressed(ZSTD_compressBound(bytes.size()), '\0');
  const std::size_t size = ZSTD_compressCCtx(kContext.get(), compressed.data(), compressed.size(),
                                             bytes.data(), bytes.size(), kLevel);
  if (ZSTD_isError(size) != 0) throw std::bad_alloc();
  compressed.resize(size);
  compressed.shrink_to_fit();
  return compressed;
}

std::optional<std::string> Decompress(std::string_view compressed) {
  const std::uint64_t size = ZSTD_getFrameContentSize(compressed.data(), compressed.size());
  if (size > kMostBytes) return std::nullopt;  // the marks of errors are larger
  std::string bytes(size, '\0');
  const std::size_t got =
      ZSTD_decompress(bytes.data(), bytes.size(), compressed.data(), compressed.size());
  if (ZSTD_isError(got) != 0 || got != size) return std::nullopt;
  return bytes;
}

}  // namespace ncc
