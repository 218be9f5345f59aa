// Loads the exchange files of a neighbour as large as the full network, beside a plain program: the
// same files, read once each by fscanf into maps, without names or relations being looked up.

#include "compare.h"
#include "network.h"
#include "scratch.h"

#include "nccnet/import_net.h"

#include <array>
#include <cstdio>
#include <map>
#include <memory>
#include <stdexcept>
#include <utility>

namespace {

constexpr unsigned kNet = 5;
constexpr unsigned kCodes[] = {0, 4, 6, 0x14, 0x1B};

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, CloseFile>;

std::string PathOf(const std::string& folder, const char* file) {
  return folder + "/" + file + std::to_string(kNet) + (*file == 'g' ? ".way" : ".txt");
}

File Open(const std::string& path, const char* mode) {
  File file(std::fopen(path.c_str(), mode));
  if (!file) throw std::runtime_error(path);
  return file;
}

// Identifiers: servers, APs, users, Deps, node groups, one behind the other.
struct FirstIds {
  unsigned aps = 1 + kFull.servers;
  unsigned users = aps + kFull.aps;
  unsigned deps = users + kFull.users;
  unsigned groups = deps + kFull.deps;
};

void WriteNodes(const std::string& folder, const FirstIds& first) {
  const File nodes = Open(PathOf(folder, "nn"), "w");
  const File applications = Open(PathOf(folder, "bc"), "w");
  const auto write = [&](char kind, unsigned n, unsigned server, unsigned number, unsigned id) {
    std::fprintf(nodes.get(),
                 "Node-of-the-harbour-exchange-%u-%c%u F %c 0000%04X%04X%04X %04X%04X\r\n", n % 97,
                 kind, n, kind, kNet, server, number, kNet, id);
    if (kind == 'G') return;
    for (const unsigned code : kCodes)
      std::fprintf(applications.get(), "%04X %04X%04X A\r\n", code, kNet, id);
  };
  for (unsigned n = 0; n < kFull.servers; ++n) write('S', n, n + 1, n + 1, n + 1);
  for (unsigned n = 0; n < kFull.aps; ++n)
    write('A', n, 1 + n % kFull.servers, n / kFull.servers + 1, first.aps + n);
  for (unsigned n = 0; n < kFull.groups; ++n) write('G', n, 0, n + 1, first.groups + n);
}

void WriteUsers(const std::string& folder, const FirstIds& first) {
  const File users = Open(PathOf(folder, "an"), "w");
  const File links = Open(PathOf(folder, "ul"), "w");
  for (unsigned n = 0; n < kFull.users; ++n) {
    const unsigned id = first.users + n;
    std::fprintf(users.get(), "%04X%04X User-of-the-central-exchange-%u-%u\r\n", kNet, id, n % 89,
                 n);
    const unsigned count = n < kFull.memberships - kFull.users ? 2 : 1;
    for (unsigned k = 0; k < count; ++k) {
      std::fprintf(links.get(), "%04X%04X %04X%04X %04X%04X P M\r\n", kNet, id, kNet,
                   first.deps + (n + k) % kFull.deps, kNet, first.aps + (n * 7 + k) % kFull.aps);
    }
  }
}

void WriteDeps(const std::string& folder, const FirstIds& first) {
  const File deps = Open(PathOf(folder, "un"), "w");
  const File links = Open(PathOf(folder, "uc"), "w");
  const File members = Open(PathOf(folder, "ng"), "w");
  for (unsigned n = 0; n < kFull.deps; ++n) {
    const unsigned id = first.deps + n;
    std::fprintf(deps.get(), "Section-of-the-depot-%u %04X%04X %04X%04X G\r\n", n, kNet, id, kNet,
                 first.groups + n % kFull.groups);
    for (unsigned k = 1; k <= 8; ++k) {
      std::fprintf(links.get(), "%04X%04X %04X%04X\r\n", kNet, id, kNet,
                   first.deps + (n + k * 31) % kFull.deps);
    }
  }
  for (unsigned n = 0; n < kFull.groups; ++n) {
    const unsigned id = first.groups + n;
    for (unsigned k = 0; k < 10; ++k) {
      const unsigned member =
          k < 8 ? first.aps + (n * 8 + k) % kFull.aps : first.deps + (n * 2 + k) % kFull.deps;
      std::fprintf(members.get(), "%04X%04X %04X%04X %c1\r\n", kNet, id, kNet, member,
                   k < 8 ? 'A' : 'G');
    }
  }
}

void WriteSet(const std::string& folder) {
  std::fputs("N 5\r\nG 1\r\nL 2\r\nE Gate\r\n", Open(PathOf(folder, "gt"), "w").get());
  const FirstIds first;
  WriteNodes(folder, first);
  WriteUsers(folder, first);
  WriteDeps(folder, first);
}

using Name = std::array<char, 52>;
using Pair = std::pair<unsigned, unsigned>;

class PlainNet {
 public:
  explicit PlainNet(const std::string& folder) : folder_(folder) {
    ReadUsers();
    ReadNodes();
    ReadDeps();
    ReadLinks();
  }

  std::size_t Size() const { return users_.size() + aps_.size() + memberships_.size(); }

 private:
  struct User {
    Name name;
    Pair primary;
  };
  struct Node {
    Name name;
    unsigned number, flags, server, aps;
  };
  struct Dep {
    Name name;
    unsigned home;
    char kind;
  };

  static void Check(bool is_good) {
    if (!is_good) throw std::runtime_error("a bad line");
  }

  // Calls read(file) for each line; it gives the number of fields that it found.
  template <class Read>
  void ForEachLine(const char* name, int fields, Read read) {
    const File file = Open(PathOf(folder_, name), "r");
    for (int found = read(file.get()); found != EOF; found = read(file.get()))
      Check(found == fields);
  }

  void ReadUsers() {
    unsigned net = 0, id = 0;
    User user{};
    ForEachLine("an", 3, [&](std::FILE* file) {
      const int found = std::fscanf(file, "%4X%4X %51s", &net, &id, user.name.data());
      if (found == 3) users_.emplace(id, user);
      return found;
    });
  }

  void ReadNodes() {
    unsigned unused = 0, net = 0, id = 0, code = 0;
    char flag = 0, kind = 0;
    Node node{};
    ForEachLine("nn", 9, [&](std::FILE* file) {
      const int found =
          std::fscanf(file, "%51s %1c %1c %4x%4x%4x%4x %4x%4x", node.name.data(), &flag, &kind,
                      &unused, &net, &node.server, &node.number, &net, &id);
      if (found == 9) (kind == 'A' ? aps_ : kind == 'S' ? servers_ : groups_).emplace(id, node);
      return found;
    });
    for (auto& [ap_id, ap] : aps_) ++servers_.at(ap.server).aps;
    ForEachLine("bc", 4, [&](std::FILE* file) {
      const int found = std::fscanf(file, "%4x %4x%4x %1c", &code, &net, &id, &flag);
      if (found != 4) return found;
      const auto ap = aps_.find(id);
      (ap != aps_.end() ? ap->second : servers_.at(id)).flags |= 1U << code;
      return found;
    });
  }

  void ReadDeps() {
    unsigned net = 0, id = 0;
    Dep dep{};
    ForEachLine("un", 6, [&](std::FILE* file) {
      const int found = std::fscanf(file, "%51s %4X%4X %4X%4X %1c", dep.name.data(), &net, &id,
                                    &net, &dep.home, &dep.kind);
      if (found == 6) deps_.emplace(id, dep);
      return found;
    });
  }

  void ReadLinks() {
    unsigned net = 0, one = 0, other = 0, other_net = 0, node = 0;
    char primary = 0, second = 0;
    ForEachLine("ul", 8, [&](std::FILE* file) {
      const int found = std::fscanf(file, "%4X%4X %4X%4X %4X%4X %1c %1c", &net, &one, &net, &other,
                                    &net, &node, &primary, &second);
      if (found != 8) return found;
      users_.at(one).primary = {other, node};
      memberships_[one].push_back({other, node});
      return found;
    });
    ForEachLine("uc", 4, [&](std::FILE* file) {
      const int found = std::fscanf(file, "%4X%4X %4X%4X", &net, &one, &other_net, &other);
      if (found == 4) dep_links_[{net, one}].push_back({other_net, other});
      return found;
    });
    ForEachLine("ng", 5, [&](std::FILE* file) {
      const int found = std::fscanf(file, "%4X%4X %4X%4X %c1", &net, &one, &net, &other, &primary);
      if (found == 5) members_[one].push_back({other, static_cast<unsigned char>(primary)});
      return found;
    });
  }

  std::string folder_;
  std::map<unsigned, User> users_;
  std::map<unsigned, Node> aps_, servers_, groups_;
  std::map<unsigned, Dep> deps_;
  std::map<unsigned, std::list<Pair>> memberships_, members_;
  std::map<Pair, std::list<Pair>> dep_links_;
};

class View : public _CImportNet {
 public:
  explicit View(const std::string& folder) : _CImportNet(folder.c_str()) {}
  using _CImportNet::Load;
};

void LoadExchangeSet(benchmark::State& state) {
  const ScratchFolder scratch;
  WriteSet(scratch.Path(""));
  std::uintmax_t bytes = 0;
  for (const auto& file : std::filesystem::directory_iterator(scratch.Path("")))
    bytes += file.file_size();
  Comparison comparison;
  for (auto _ : state) {
    View view(scratch.Path(""));
    const double ours = CpuSeconds([&] {
      if (view.Load(kNet) != 0) throw std::runtime_error("not loaded");
    });
    if (view.GetListAb()->size() != kFull.users) throw std::runtime_error("users are missing");
    std::unique_ptr<PlainNet> plain;
    comparison.Add(state, ours,
                   CpuSeconds([&] { plain = std::make_unique<PlainNet>(scratch.Path("")); }));
    if (plain->Size() != 2 * kFull.users + kFull.aps) throw std::runtime_error("APs are missing");
  }
  comparison.Report(state);
  state.counters["bytes"] = static_cast<double>(bytes);
}
BENCHMARK(LoadExchangeSet)->UseManualTime()->Unit(benchmark::kMillisecond)->Iterations(15);

}  // namespace
