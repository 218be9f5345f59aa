// The directory databases of the APs: a sub-folder for each kind of file.
//
//   A users   C links between Deps   L, T empty files   N nodes   S nothing   U places of Deps
//   R stamp lists

#include "generate/file_names.h"
#include "generate/forms.h"
#include "generate/output_cache.h"

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
  const auto all = OutputPath(net, folder, "APDB\\");
  if (!all) return true;
  FirstFailure failure;
  APDBPath(all->c_str());
  failure.Note();
  const bool usable = OutputFolder(net, folder, "APDB\\").has_value();
  failure.Note(usable);
  failure.Note(OutputFolder(net, folder, "NEW\\APDB\\").has_value());
  const auto generate = [&](char kind, const char* into) {
    switch (kind) {
      case 'A':
        return GenApa(into);
      case 'C':
        return GenApc(into);
      case 'L':
        return GenApl(into);
      case 'N':
        return GenApn(into, mode);
      case 'T':
        return GenTun(into);
      case 'U':
        return GenApu(into);
      case 'R':
        failure.Note(EmptyFolder(net, *all));
        failure.Note(GenApnCrg(all->c_str()));
        return net.StopRequested() || GenApnCrc(into);
      default:
        return true;  // nothing is in S
    }
  };
  for (const char kind : std::string_view(usable ? "ACLNSTUR" : "")) {
    const char below[] = {'A', 'P', 'D', 'B', '\\', kind, '\\', '\0'};
    const auto into = OutputFolder(net, folder, below);
    failure.Note(into.has_value());
    if (into) {
      failure.Note(EmptyFolder(net, *into));
      failure.Note(generate(kind, into->c_str()));
    }
    if (net.StopRequested()) break;
  }
  ForgetComposed(net);
  failure.Report();
  return true;
}

bool CNCCNet::GenAPDB(const char* folder, unsigned char mode, std::list<unsigned long> ids) {
  NetState& net = *state_;
  const auto root = OutputPath(net, folder, "");
  if (!root) return true;
  FirstFailure failure;
  APDBPath(root->c_str());
  failure.Note();
  for (const char* sub_folder : {"T\\", "S\\"})
    failure.Note(OutputFolder(net, folder, sub_folder).has_value());
  // Runs generate(sub-folder) when the sub-folder can be used.
  const auto in = [&](const char* sub_folder, unsigned long id, auto generate) {
    const auto into = OutputFolder(net, folder, sub_folder, static_cast<std::uint32_t>(id));
    failure.Note(into.has_value());
    if (into) failure.Note(generate(into->c_str()));
  };
  return ForList(net, ids, Stop::kAfterEach, failure, [&](unsigned long id) {
    in("A\\", id, [&](const char* into) { return GenApa(into, id); });
    in("C\\", id, [&](const char* into) { return GenApc(into, id); });
    in("L\\", id, [&](const char* into) { return GenApl(into, id); });
    in("N\\", id, [&](const char* into) { return GenApn(into, mode, id); });
    in("U\\", id, [&](const char* into) { return GenApu(into, id); });
    in("R\\", id, [&](const char* into) {
      failure.Note(GenApnCrg(root->c_str(), id));
      return GenApnCrc(into, id);
    });
  });
}
