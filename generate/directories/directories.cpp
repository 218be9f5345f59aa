// The directory databases of the APs: a sub-folder for each kind of file.
//
//   A users   C links between Deps   L, T empty files   N nodes   S nothing   U places of Deps
//   R stamp lists

#include "generate/directories/directory_files.h"
#include "generate/file_names.h"
#include "generate/output_cache.h"

#include <string_view>

namespace ncc {
namespace {

struct SubFolder {
  std::string_view below;  // the folder of all
  const NodeFile* file;    // null where nothing is
};
constexpr SubFolder kSubFolders[] = {{"APDB\\A\\", &kApUsers},     {"APDB\\C\\", &kApDepLinks},
                                     {"APDB\\L\\", &kEmptyApl},    {"APDB\\N\\", &kApNodes},
                                     {"APDB\\S\\", nullptr},       {"APDB\\T\\", &kEmptyTunnels},
                                     {"APDB\\U\\", &kApDepPlaces}, {"APDB\\R\\", &kEmptyCrc}};

void WriteSubFolder(Generation& run, const NodeFile* file, const std::string& all,
                    const std::string& into) {
  if (file == &kEmptyCrc) {
    run.EmptyFolder(all);
    WriteAllNodes(run, kApStampList, all.c_str());
    if (run.Net().StopRequested()) return;
  }
  if (file != nullptr) WriteAllNodes(run, *file, into.c_str());
}

void WriteEmpty(NetState& net, const NodeFile& file, const std::string& folder, std::uint32_t ap) {
  WriteShared(net, file.Path(net, folder, ap), ap, OutputCache::Of(net).NoBytes());
}

}  // namespace

void WriteEmptyApl(Generation& run, const std::string& folder, std::uint32_t ap) {
  WriteEmpty(run.Net(), kEmptyApl, folder, ap);
}

void WriteEmptyTunnels(Generation& run, const std::string& folder, std::uint32_t ap) {
  WriteEmpty(run.Net(), kEmptyTunnels, folder, ap);
}

void WriteEmptyCrc(Generation& run, const std::string& folder, std::uint32_t ap) {
  WriteEmpty(run.Net(), kEmptyCrc, folder, ap);
}

}  // namespace ncc

using namespace ncc;

bool CNCCNet::GenAPDB(const char* folder, unsigned char mode) {
  NetState& net = *state_;
  Generation run(net, mode);
  const auto all = run.Path(folder, "APDB\\");
  if (!all) return run.Finish();
  run.Run([&] { net.apdb_path = *all; });
  const bool is_usable = run.MakeFolder(folder, "APDB\\").has_value();
  run.MakeFolder(folder, "NEW\\APDB\\");
  if (is_usable) {
    for (const SubFolder& sub_folder : kSubFolders) {
      if (const auto into = run.MakeFolder(folder, sub_folder.below)) {
        run.EmptyFolder(*into);
        WriteSubFolder(run, sub_folder.file, *all, *into);
      }
      if (net.StopRequested()) break;
    }
  }
  ForgetComposed(net);
  return run.Finish();
}

bool CNCCNet::GenAPDB(const char* folder, unsigned char mode, std::list<unsigned long> ids) {
  NetState& net = *state_;
  Generation run(net, mode);
  const auto all = run.Path(folder, "");
  if (!all) return run.Finish();
  run.Run([&] { net.apdb_path = *all; });
  for (const char* sub_folder : {"T\\", "S\\"}) run.MakeFolder(folder, sub_folder);
  for (const unsigned long id : ids) {
    for (const NodeFile* file :
         {&kApUsers, &kApDepLinks, &kEmptyApl, &kApNodes, &kApDepPlaces, &kEmptyCrc}) {
      const auto into = run.MakeFolder(folder, file->sub_folder, static_cast<std::uint32_t>(id));
      if (!into) continue;
      if (file == &kEmptyCrc) WriteOneNode(run, kApStampList, all->c_str(), id);
      WriteOneNode(run, *file, into->c_str(), id);
    }
    if (net.StopRequested()) break;
  }
  return run.Finish();
}
