#include "generation_steps.h"

#include <algorithm>
#include <filesystem>
#include <list>

#include "files.h"
#include "nodes.h"
#include "objects.h"

namespace ncc::tool {
namespace {

namespace fs = std::filesystem;

// The numbers from which each generator's number of files follows.
struct Sizes {
  std::size_t servers = 0;
  std::size_t aps = 0;
  std::size_t users = 0;
  std::size_t tunnels = 0;  // of the servers: all of them have a tunnel file or none
};

struct Chosen {
  std::list<unsigned long> servers;
  std::list<unsigned long> aps;
};

Sizes SizesOf(CNCCNet& net) {
  const std::vector<Node> servers = ListServers(net);
  const bool tunnels = std::any_of(servers.begin(), servers.end(),
                                   [](const Node& server) { return server.value != 0; });
  return {servers.size(), ListAps(net).size(), ListObjects(net, Kind::kUser).size(),
          tunnels ? servers.size() : 0};
}

void AddOnce(std::list<unsigned long>& ids, unsigned long id) {
  if (std::find(ids.begin(), ids.end(), id) == ids.end()) ids.push_back(id);
}

// "apdb" takes APs, "map" servers, the others both.
Chosen Choose(Session& session, const std::string& what, const std::vector<std::string>& only) {
  Chosen chosen;
  for (const std::string& reference : only) {
    const Node node = what == "apdb"  ? FindAp(session, reference)
                      : what == "map" ? FindServer(session, reference)
                                      : FindNode(session, reference);
    AddOnce(node.is_server ? chosen.servers : chosen.aps, node.id);
  }
  return chosen;
}

const char* ExtensionOf(bool is_short) { return is_short ? ".aas" : ".aaf"; }

// A package is written over the one that is there and would keep the end of a longer one.
void DeletePackages(bool is_short) {
  std::vector<fs::path> old;
  for (const auto& entry : fs::directory_iterator("KC/AAA")) {
    if (entry.path().extension() == ExtensionOf(is_short)) old.push_back(entry.path());
  }
  for (const fs::path& file : old) fs::remove(file);
}

// The steps of a run, in the order in which each finds what it needs: a stamp list is made after
// all that it stamps, a package after all that goes into it. The folders are those of the current
// directory.
class StepList {
 public:
  StepList(const GenerateArguments& arguments, const Sizes& sizes)
      : mode_(static_cast<unsigned char>(arguments.mode)),
        is_short_(arguments.is_short),
        sizes_(sizes) {}

  void AddDirectories() {
    Add("apdb", "directories", 8 * sizes_.aps,
        [mode = mode_](CNCCNet& net) { net.GenAPDB("./", mode); });
  }
  void AddRoutes() {
    Add("routes", "routing tables", sizes_.tunnels + 2 * sizes_.servers,
        [](CNCCNet& net) { net.GenRoutingTables("./"); });
  }
  void AddMaps() {
    Add("map", "maps", 3 * sizes_.servers,
        [mode = mode_](CNCCNet& net) { net.GenMAP("./", mode); });
  }
  void AddKeyCentre() {
    constexpr std::size_t kSingleFiles = 6;
    Add("kc", "key centre", kSingleFiles + sizes_.users + 2 * sizes_.aps + sizes_.servers,
        [full = !is_short_](CNCCNet& net) { net.ExportForKC(full, "./KC/"); });
  }
  void AddPackages() {
    Add("packages", "packages", 1 + sizes_.servers + sizes_.aps,
        [is_short = is_short_](CNCCNet& net) {
          MakePrivateFolder("KC/AAA");
          DeletePackages(is_short);
          net.CreateNmatrixFile("./KC/");
          is_short ? net.GenShortDistr("./KC/") : net.GenFullDistr("./KC/");
        });
  }

  // The same for some nodes.
  void AddDirectories(const std::list<unsigned long>& aps) {
    Add("apdb", "directories", 8 * aps.size(), [mode = mode_, aps](CNCCNet& net) {
      net.GenTun("./APDB/", aps);
      net.GenAPDB("./APDB/", mode, aps);
    });
  }
  // The library stamps before it rewrites the maps; the second pass stamps what is there then.
  void AddMaps(const std::list<unsigned long>& servers) {
    const std::size_t routes = sizes_.tunnels + 2 * sizes_.servers;
    Add("map", "maps", (4 + routes) * servers.size(), [mode = mode_, servers](CNCCNet& net) {
      net.GenMAP("./MAP/", mode, servers);
      net.GenMAPApnCrg("./MAP/", servers);
    });
  }
  void AddPackages(const std::list<unsigned long>& nodes) {
    Add("packages", "packages", 1 + nodes.size(), [is_short = is_short_, nodes](CNCCNet& net) {
      MakePrivateFolder("KC/AAA");
      for (const unsigned long node : nodes) {
        const std::string address = AddressOf(net, static_cast<std::uint32_t>(node));
        fs::remove("KC/AAA/" + address + ExtensionOf(is_short));
      }
      net.CreateNmatrixFile("./KC/");
      is_short ? net.GenShortDistr("./KC/", nodes) : net.GenFullDistr("./KC/", nodes);
    });
  }

  const std::vector<GenerationStep>& Steps() const { return steps_; }

 private:
  void Add(const char* key, const char* words, std::size_t files,
           std::function<void(CNCCNet&)> generate) {
    steps_.push_back({key, words, files, std::move(generate)});
  }

  unsigned char mode_;
  bool is_short_;
  Sizes sizes_;
  std::vector<GenerationStep> steps_;
};

}  // namespace

std::vector<GenerationStep> StepsOf(Session& session, const std::string& what,
                                    const GenerateArguments& arguments) {
  StepList steps(arguments, SizesOf(session.Net()));
  const bool all = what == "all";
  if (arguments.only.empty()) {
    if (all || what == "apdb") steps.AddDirectories();
    if (all || what == "routes") steps.AddRoutes();
    if (all || what == "map") steps.AddMaps();
    if (all || what == "kc") steps.AddKeyCentre();
    if (what == "packages") steps.AddPackages();
    return steps.Steps();
  }
  Chosen chosen = Choose(session, what, arguments.only);
  if (what != "packages" && !chosen.aps.empty()) steps.AddDirectories(chosen.aps);
  if (what != "packages" && !chosen.servers.empty()) steps.AddMaps(chosen.servers);
  chosen.servers.splice(chosen.servers.end(), chosen.aps);
  if (all || what == "packages") steps.AddPackages(chosen.servers);
  return steps.Steps();
}

}  // namespace ncc::tool
