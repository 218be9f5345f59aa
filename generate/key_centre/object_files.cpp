// The key centre's files of single objects, little-endian.
//
//   "<address>.abn" of a user: the 66-byte entry, u32 count, then its memberships: u32 Dep, u32
//   node, u8 kind
//   "<address>.apn" of an AP: the 77-byte entry, u32 count, then u32 for each of its node groups
//
// The bytes behind the name's zero are zeros.

#include "core/entry.h"
#include "core/find.h"
#include "core/links.h"
#include "core/walk.h"
#include "generate/file_names.h"
#include "generate/key_centre/key_centre_files.h"
#include "generate/output.h"

#include <algorithm>

namespace ncc {
namespace {

template <class Entry>
std::string EntryImage(const CHDBRecord& record) {
  Entry entry = EntryOf<Entry>(record);
  const std::size_t length = std::string_view(entry.name).size();
  std::fill(entry.name + length, entry.name + sizeof(entry.name), '\0');
  return {reinterpret_cast<const char*>(&entry), sizeof(entry)};
}

std::string UserImage(const CHDBRecord& user) {
  std::string image = EntryImage<CABEntry>(user);
  AppendU32(image, static_cast<std::uint32_t>(user.Pairs().Size()));
  for (auto at = user.Pairs().First(); at != kNoPosition; at = user.Pairs().Next(at)) {
    const PairValue& membership = user.Pairs().At(at);
    AppendU32(image, membership.first);
    AppendU32(image, membership.second);
    image += static_cast<char>(membership.kind);
  }
  return image;
}

std::string ApImage(const CHDBRecord& ap) {
  std::string image = EntryImage<CNNEntry>(ap);
  AppendU32(image, static_cast<std::uint32_t>(ap.List(kGroupsOfNode).Size()));
  WalkIds(ap, kGroupsOfNode, [&](const TDBObjId& group) { AppendU32(image, group.number); });
  return image;
}

void WriteObject(const NetState& net, const NodeFile& file, const std::string& folder,
                 std::uint32_t object, std::string image) {
  WriteFile(net, file.Path(net, folder, object), object,
            [&](ComposedFile& output) { output.Append(std::move(image)); });
}

}  // namespace

void WriteUserObject(Generation& run, const std::string& folder, std::uint32_t user) {
  const NetState& net = run.Net();
  WriteObject(net, kUserObject, folder, user, UserImage(*FindObject(net, user, kTypeAB)));
}

void WriteApObject(Generation& run, const std::string& folder, std::uint32_t ap) {
  const NetState& net = run.Net();
  WriteObject(net, kApObject, folder, ap, ApImage(*FindObject(net, ap, kTypeAP)));
}

}  // namespace ncc

bool CNCCNet::GenAB(const char* folder) {
  return ncc::GenerateAll(*state_, ncc::kUserObject, folder);
}
bool CNCCNet::GenAP(const char* folder) {
  return ncc::GenerateAll(*state_, ncc::kApObject, folder);
}
