#include "files/package.h"

#include "files/byte_reader.h"

namespace ncc::tool {
namespace {

constexpr std::size_t kNameColumns = 12;

}  // namespace

std::vector<PackedFile> ReadPackage(const std::string& file, std::string_view bytes) {
  ByteReader reader(file, bytes);
  std::vector<PackedFile> files;
  while (reader.Left() > 0) {
    PackedFile& packed = files.emplace_back();
    packed.at = reader.At();
    const std::size_t length = reader.Number(4);
    packed.name = reader.Next(kNameColumns);
    if (reader.Number(1) != 0) reader.Fail(packed.at, "the name does not end in a zero");
    packed.name.erase(packed.name.find_last_not_of(' ') + 1);
    packed.contents = reader.Next(length);
  }
  return files;
}

std::string NameProblem(const std::string& name) {
  if (name.empty()) return "is empty";
  if (name == "." || name == "..") return "means a folder";
  for (const char c : name) {
    if (c == '/' || c == '\\') return "leads into another folder";
    if (c < ' ' || c > '~') return "holds bytes that are not plain ASCII";
  }
  return {};
}

}  // namespace ncc::tool
