#include "files/generation_steps.h"

#include <algorithm>
#include <filesystem>
#include <iterator>
#include <list>
#include <optional>
#include <set>
#include <utility>

#include "console/text.h"
#include "network/object.h"
#include "network/reference.h"

namespace ncc::tool {
namespace {

// What a part of a manifest says of its settings last.
constexpr const char* kShortPackages = "packages=short";
const std::string kMode = "mode=";

unsigned ModeIn(const std::string& settings) {
  const std::size_t at = settings.rfind(kMode);
  if (at == std::string::npos) return 0;
  return static_cast<unsigned>(ParseNumber(settings.substr(at + kMode.size()), 255).value_or(0));
}

struct Chosen {
  std::list<unsigned long> servers;
  std::list<unsigned long> aps;
};

void AddOnce(std::list<unsigned long>& ids, unsigned long id) {
  if (std::find(ids.begin(), ids.end(), id) == ids.end()) ids.push_back(id);
}

// "apdb" takes APs, "map" servers, the others both.
Chosen Choose(Session& session, const std::string& what, const std::vector<std::string>& only) {
  Chosen chosen;
  for (const std::string& reference : only) {
    const Object node = what == "apdb"  ? FindObject(session, Kind::kAp, reference)
                        : what == "map" ? FindObject(session, Kind::kServer, reference)
                                        : FindNode(session, reference);
    AddOnce(node.IsServer() ? chosen.servers : chosen.aps, node.id);
  }
  return chosen;
}

// The steps of a run, in the order in which each finds what it needs: a stamp list is made after
// all that it stamps, a package after all that goes into it. The folders are those of the current
// directory.
class StepList {
 public:
  StepList(const GenerateArguments& arguments, CNCCNet& net, const std::string& database_folder)
      : mode_(static_cast<unsigned char>(arguments.mode)), is_short_(arguments.is_short) {
    if (!arguments.changed)
      sizes_.emplace(LoadWholeNetwork(net), database_folder, !arguments.no_share);
  }

  void AddDirectories() {
    Touch({"APDB", FolderFate::kRenewed});
    Add("apdb", "directories", Size([](auto& sizes) { return sizes.Directories(IsAny); }),
        [mode = mode_](CNCCNet& net) { net.GenAPDB("./", mode); })
        .part.settings = ModeText();
  }
  void AddRoutes() {
    Touch({"MAP", FolderFate::kRevised});
    Add("routes", "routing tables", Size([](auto& sizes) { return sizes.Routes(); }),
        [](CNCCNet& net) { net.GenRoutingTables("./"); });
  }
  void AddMaps() {
    Touch({"MAP", FolderFate::kRevised});
    Add("map", "maps", Size([](auto& sizes) { return sizes.Maps(IsAny); }),
        [mode = mode_](CNCCNet& net) { net.GenMAP("./", mode); })
        .part.settings = ModeText();
  }
  void AddKeyCentre() {
    Touch({"KC", FolderFate::kRenewed});
    GenerationSize size = Size([](auto& sizes) { return sizes.KeyCentre(); });
    size.Add(Size([this](auto& sizes) { return sizes.Packages(is_short_, IsAny); }));
    Add("kc", "key centre", size, [full = !is_short_](CNCCNet& net) {
      net.ExportForKC(full, "./KC/");
    }).part.settings = is_short_ ? kShortPackages : "packages=full";
  }
  void AddPackages() {
    // Packages of the other kind stay.
    Touch({"KC/AAA", FolderFate::kRevised, is_short_ ? ".aas" : ".aaf"});
    Touch({"KC", FolderFate::kAdded});
    GenerationStep& step = AddPackingOf(IsAny, [is_short = is_short_](CNCCNet& net) {
      net.CreateNmatrixFile("./KC/");
      is_short ? net.GenShortDistr("./KC/") : net.GenFullDistr("./KC/");
    });
    step.clears = is_short_ ? "KC/AAA/*.aas" : "KC/AAA/*.aaf";
  }

  // The same for some nodes.
  void AddDirectories(const std::list<unsigned long>& aps) {
    Touch({"APDB", FolderFate::kAdded});
    const auto size = Size([&](auto& sizes) { return sizes.Directories(Among(aps)); });
    Add("apdb", "directories", size, [mode = mode_, aps](CNCCNet& net) {
      net.GenTun("./APDB/", aps);
      net.GenAPDB("./APDB/", mode, aps);
    }).is_whole = false;
  }
  // The library stamps before it rewrites the maps; the second pass stamps what is there then.
  void AddMaps(const std::list<unsigned long>& servers) {
    Touch({"MAP", FolderFate::kRevised});
    GenerationSize size = Size([&](auto& sizes) { return sizes.Maps(Among(servers)); });
    size.files += servers.size();  // the second stamp lists
    size.Add(Size([&](auto& sizes) { return sizes.Routes().Times(servers.size()); }));
    Add("map", "maps", size, [mode = mode_, servers](CNCCNet& net) {
      net.GenMAP("./MAP/", mode, servers);
      net.GenMAPApnCrg("./MAP/", servers);
    }).is_whole = false;
  }
  void AddPackages(const std::list<unsigned long>& nodes) {
    Touch({"KC", FolderFate::kAdded});
    GenerationStep& step = AddPackingOf(Among(nodes), [is_short = is_short_, nodes](CNCCNet& net) {
      net.CreateNmatrixFile("./KC/");
      is_short ? net.GenShortDistr("./KC/", nodes) : net.GenFullDistr("./KC/", nodes);
    });
    step.is_whole = false;
  }

  GenerationPlan TakePlan() { return std::move(plan_); }

 private:
  static bool IsAny(std::uint32_t) { return true; }
  static GenerationSizes::Choice Among(const std::list<unsigned long>& ids) {
    return [chosen = std::set<unsigned long>(ids.begin(), ids.end())](std::uint32_t id) {
      return chosen.count(id) != 0;
    };
  }

  template <class Reckon>
  GenerationSize Size(const Reckon& reckon) {
    return sizes_ ? reckon(*sizes_) : GenerationSize();
  }
  std::string ModeText() const { return kMode + std::to_string(mode_); }

  GenerationStep& AddPackingOf(const GenerationSizes::Choice& is_chosen,
                               std::function<void(CNCCNet&)> generate) {
    GenerationSize size = Size([&](auto& sizes) { return sizes.Packages(is_short_, is_chosen); });
    size.Add(Size([](auto& sizes) { return sizes.NodeMatrix(); }));
    GenerationStep& step = Add("packages", "packages", size, std::move(generate));
    step.part.name = is_short_ ? "short-packages" : "full-packages";
    step.folder = "KC/AAA";
    return step;
  }
  GenerationStep& Add(const char* key, const char* words, const GenerationSize& size,
                      std::function<void(CNCCNet&)> generate) {
    plan_.steps.push_back({key, words, size, std::move(generate), {key, {}}});
    return plan_.steps.back();
  }
  void Touch(FolderChange change) {
    for (const FolderChange& other : plan_.changes) {
      if (other.folder == change.folder) return;
    }
    plan_.changes.push_back(std::move(change));
  }

  unsigned char mode_;
  bool is_short_;
  std::optional<GenerationSizes> sizes_;  // none where only what changed is made
  GenerationPlan plan_;
};

}  // namespace

GenerationPlan PlanWholeGeneration(CNCCNet& net, const std::string& database_folder,
                                   const std::string& what, const GenerateArguments& arguments) {
  StepList steps(arguments, net, database_folder);
  const bool all = what == "all";
  if (all || what == "apdb") steps.AddDirectories();
  if (all || what == "routes") steps.AddRoutes();
  if (all || what == "map") steps.AddMaps();
  if (all || what == "kc") steps.AddKeyCentre();
  if (what == "packages") steps.AddPackages();
  return steps.TakePlan();
}

GenerationPlan PlanLikeBefore(CNCCNet& net, const CManifest& manifest) {
  GenerateArguments arguments;
  arguments.changed = true;
  if (manifest.parts.empty()) return PlanWholeGeneration(net, {}, "all", arguments);
  GenerationPlan plan;
  for (const char* name : {"apdb", "routes", "map", "kc", "full-packages", "short-packages"}) {
    const auto part = std::find_if(manifest.parts.begin(), manifest.parts.end(),
                                   [name](const CPartState& one) { return one.name == name; });
    if (part == manifest.parts.end()) continue;
    const bool packs = part->name.ends_with("-packages");
    arguments.mode = ModeIn(part->settings);
    arguments.is_short = part->name == "short-packages" || part->settings.ends_with(kShortPackages);
    GenerationPlan more = PlanWholeGeneration(net, {}, packs ? "packages" : name, arguments);
    std::move(more.steps.begin(), more.steps.end(), std::back_inserter(plan.steps));
    std::move(more.changes.begin(), more.changes.end(), std::back_inserter(plan.changes));
  }
  return plan;
}

GenerationPlan PlanGeneration(Session& session, const std::string& what,
                              const GenerateArguments& arguments) {
  const auto database = std::filesystem::absolute(session.DatabaseText()).parent_path().string();
  if (arguments.only.empty()) return PlanWholeGeneration(session.Net(), database, what, arguments);
  StepList steps(arguments, session.Net(), database);
  const bool all = what == "all";
  Chosen chosen = Choose(session, what, arguments.only);
  if (what != "packages" && !chosen.aps.empty()) steps.AddDirectories(chosen.aps);
  if (what != "packages" && !chosen.servers.empty()) steps.AddMaps(chosen.servers);
  chosen.servers.splice(chosen.servers.end(), chosen.aps);
  if (all || what == "packages") steps.AddPackages(chosen.servers);
  return steps.TakePlan();
}

}  // namespace ncc::tool
