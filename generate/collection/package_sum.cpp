#include "generate/collection/package_sum.h"

#include "platform/disk/calls.h"
#include "platform/disk/package_file.h"
#include "platform/text/bytes.h"

#include <array>
#include <cerrno>

namespace ncc {
namespace {

void AddRecord(Digester& digester, std::string_view head, const Digest& contents) {
  digester.Add(head);
  digester.Add({reinterpret_cast<const char*>(contents.data()), contents.size()});
}

}  // namespace

void PackageSum::Add(std::string_view name, std::uint64_t bytes, const Digest& contents) {
  AddRecord(digester_, PackageRecordHead(static_cast<std::uint32_t>(bytes), name), contents);
  bytes_ += kPackageHeadSize + bytes;
}

std::optional<Digest> ReadPackageSum(const std::string& native_path) {
  const std::optional<SourceFile> file = OpenSource(native_path);
  if (!file) return std::nullopt;
  const int descriptor = file->descriptor.Get();
  Digester digester;
  for (;;) {
    std::array<char, kPackageHeadSize> head{};
    const ssize_t got = ReadUpTo(descriptor, head.data(), head.size());
    if (got < 0) ThrowFileError(native_path, "cannot be read", errno);
    if (got == 0) return digester.Finish();
    if (got != static_cast<ssize_t>(head.size())) return std::nullopt;
    const std::string_view words(head.data(), head.size());
    const std::uint64_t length = U32At(words, 0);
    Digester contents;
    if (AddFile(contents, descriptor, length, native_path) != length) return std::nullopt;
    AddRecord(digester, words, contents.Finish());
  }
}

}  // namespace ncc
