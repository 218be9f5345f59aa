// The directory databases of the APs: a sub-folder for each kind of file.
//
//   A users   C links between Deps   L, T empty files   N nodes   S nothing   U places of Deps
//   R stamp lists

#include "generate/file_names.h"
#include "generate/forms.h"
#include "generate/output_cache.h"

#include <functional>

using namespace ncc;

namespace {

bool WriteEmptyFile(NetState& net, const char* folder, const TDBObjId& ap, std::string_view stem,
                    std::string_view extension) {
  return Run(net, false, [&] {
    const std::string path = Prefix(folder) + HexName(stem, RecordOf(net, ap).Number(), extension);
    WriteShared(net, path, ap.number, OutputCache::Of(net).NoBytes());
    return true;
  });
}

}  // namespace

bool CNCCNet::GenApl(const char* folder, TDBObjId& ap) {
  return WriteEmptyFile(*state_, folder, ap, "apl", ".txt");
}

bool CNCCNet::GenTun(const char* folder, TDBObjId& ap) {
  return WriteEmptyFile(*state_, folder, ap, "node", ".tun");
}

bool CNCCNet::GenApnCrc(const char* folder, TDBObjId& ap) {
  return WriteEmptyFile(*state_, folder, ap, "apn", ".crc");
}

bool CNCCNet::GenAPDB(const char* folder, unsigned char mode) {
  NetState& net = *state_;
  const auto root = OutputRoot(net, folder);
  if (!root) return true;
  const std::string all = *root + "APDB\\";
  FirstFailure failure;
  failure.Make(all);
  failure.Make(*root + "NEW\\APDB\\");
  APDBPath(all.c_str());

  struct Kind {
    const char* letter;
    std::function<bool(const char*)> generate;
  };
  const Kind kinds[] = {{"A", [&](const char* into) { return GenApa(into); }},
                        {"C", [&](const char* into) { return GenApc(into); }},
                        {"L", [&](const char* into) { return GenApl(into); }},
                        {"N", [&](const char* into) { return GenApn(into, mode); }},
                        {"S", [&](const char*) { return true; }},
                        {"T", [&](const char* into) { return GenTun(into); }},
                        {"U", [&](const char* into) { return GenApu(into); }},
                        {"R", [&](const char* into) {
                           failure.Empty(all);
                           failure.Note(GenApnCrg(all.c_str()));
                           return net.StopRequested() || GenApnCrc(into);
                         }}};
  for (const Kind& kind : kinds) {
    const std::string sub_folder = all + kind.letter + "\\";
    failure.Make(sub_folder);
    failure.Empty(sub_folder);
    ClearLastError();
    failure.Note(kind.generate(sub_folder.c_str()));
    if (net.StopRequested()) break;
  }
  ForgetComposed(net);
  failure.Report();
  return true;
}

bool CNCCNet::GenAPDB(const char* folder, unsigned char mode, std::list<unsigned long> ids) {
  NetState& net = *state_;
  const auto root = OutputRoot(net, folder);
  if (!root) return true;
  FirstFailure failure;
  failure.Make(*root);
  APDBPath(root->c_str());
  failure.Make(*root + "T\\");
  failure.Make(*root + "S\\");
  const auto make = [&](const char* letter) {
    std::string sub_folder = *root + letter + "\\";
    failure.Make(sub_folder);
    return sub_folder;
  };
  return ForList(net, ids, Stop::kAfterEach, failure, [&](unsigned long id) {
    failure.Note(GenApa(make("A").c_str(), id));
    failure.Note(GenApc(make("C").c_str(), id));
    failure.Note(GenApl(make("L").c_str(), id));
    failure.Note(GenApn(make("N").c_str(), mode, id));
    failure.Note(GenApu(make("U").c_str(), id));
    const std::string stamps = make("R");
    failure.Note(GenApnCrg(root->c_str(), id));
    failure.Note(GenApnCrc(stamps.c_str(), id));
  });
}
