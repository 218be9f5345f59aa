#include "core/entry.h"

#include "core/last_error.h"
#include "nccnet/text.h"

#include <optional>
#include <utility>

namespace ncc {

std::string_view KindName(std::uint8_t type) {
  switch (type) {
    case kTypeServer:
      return "server";
    case kTypeAP:
      return "AP";
    case kTypeDep:
      return "Dep";
    case kTypeAB:
      return "user";
    case kTypeNGrp:
      return "node group";
    default:
      return "object";
  }
}

std::string StoredName(const NetState& net, const char* given) {
  if (given == nullptr) throw Refusal("no name was given");
  if (net.encoding == CTextEncoding::kCp1251) return given;
  std::optional<std::string> bytes = Cp1251FromUtf8(given);
  if (!bytes)
    throw Refusal("\"" + std::string(given) + "\" is not UTF-8 text that code page 1251 can hold");
  return std::move(*bytes);
}

std::string CheckedName(const NetState& net, const char* given) {
  // No record's field is read beyond its end, should it have no zero.
  const std::size_t most =
      net.encoding == CTextEncoding::kUtf8 ? 3 * kMaxNameLength : kMaxNameLength;
  const bool fits = given == nullptr || strnlen(given, most + 1) <= most;
  std::string name = fits ? StoredName(net, given) : std::string();
  if (!fits || name.size() > kMaxNameLength) throw Refusal("name is longer than 51 bytes");
  return name;
}

std::string ShownName(const NetState& net, std::string_view stored) {
  return net.encoding == CTextEncoding::kUtf8 ? Utf8FromCp1251(stored) : std::string(stored);
}

void StoreValues(CHDBList& list, std::string_view entry) {
  CNCCEntry head;
  std::memcpy(static_cast<void*>(&head), entry.data(), sizeof(head));
  list.Append({kDataValue, 0, 0, entry});
  list.Append({kNumberValue, kIdAttribute, head.id, {}});
  list.Append({kStringValue, kNameAttribute, 0, {head.name, strnlen(head.name, kMaxNameLength)}});
  list.Append({kNumberValue, kTypeAttribute, head.type, {}});
  for (int n = kFirstListPosition; n <= kLastListPosition; ++n) list.Append({kListValue, 0, 0, {}});
}

void RenameRecord(CHDBRecord& record, std::string_view name) {
  std::string entry(record.Data());
  entry.replace(0, name.size() + 1, std::string(name) + '\0');
  record.SetData(entry);
  record.SetName(name);
}

}  // namespace ncc
