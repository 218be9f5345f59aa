// Lets a second process take a database in a cluster over, again and again, from owners and
// clusters that fail in all ways, and proves each time that nothing was lost.
//
//   fail_over_soak KIND...|all [--rounds N] [--seed S] [--jobs K]
//
// Round i of a kind has the seed S + i. Several rounds are played side by side, each job with nodes
// of its own. Ends with 0 when every promise was kept in every round.
#include "soak/round.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdio>
#include <cstring>
#include <iostream>
#include <new>

#include <sys/mman.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

constexpr int kSkipped = 77;
constexpr std::size_t kRoundsOfPlace = 20;
constexpr std::size_t kMostRounds = 10000;

struct Options {
  std::vector<const FaultKind*> kinds;
  std::size_t rounds = 5;
  std::uint64_t seed = 0;
  int jobs = 1;
  bool has_machines = false;
};

[[noreturn]] void Usage(const std::string& why) {
  std::cerr << why << "\nfail_over_soak KIND...|all [--rounds N] [--seed S] [--jobs K]\nkinds:";
  for (const FaultKind& kind : FaultKinds()) std::cerr << " " << kind.name;
  std::cerr << "\n";
  std::exit(2);
}

Options Parse(const std::vector<std::string>& words) {
  Options options;
  options.seed = std::random_device()() % 1'000'000 * 10'000;
  for (std::size_t i = 0; i < words.size(); ++i) {
    const std::string& word = words[i];
    if (word.starts_with("--")) {
      if (i + 1 == words.size()) Usage(word + " needs a number");
      const std::uint64_t number = std::strtoull(words[++i].c_str(), nullptr, 10);
      if (word == "--rounds") {
        options.rounds = std::min<std::size_t>(number, kMostRounds);
      } else if (word == "--seed") {
        options.seed = number;
      } else if (word == "--jobs") {
        options.jobs = static_cast<int>(number);
      } else {
        Usage("there is no option " + word);
      }
      continue;
    }
    const std::size_t before = options.kinds.size();
    for (const FaultKind& kind : FaultKinds()) {
      if (word == "all" || word == kind.name) options.kinds.push_back(&kind);
    }
    if (options.kinds.size() == before) Usage("there is no kind " + word);
  }
  if (options.kinds.empty()) Usage("which kind?");
  options.has_machines = Machines::AreAllowed();
  std::erase_if(options.kinds, [&](const FaultKind* kind) {
    const bool is_left_out = kind->needs_machines && !options.has_machines;
    if (is_left_out) std::cerr << "*** " << kind->name << " NEEDS ROOT: IT IS NOT TRIED ***\n";
    return is_left_out;
  });
  return options;
}

// What the jobs have found, of one kind, in memory that they share.
struct Tally {
  std::atomic<std::uint64_t> rounds, violations, acknowledged, in_flight, found_stored, not_stored,
      fenced;
  std::array<std::uint32_t, kMostRounds> takeovers;  // ms, by round; 0: there was none

  void Add(std::size_t round, const RoundResult& result) {
    ++rounds;
    acknowledged += result.acknowledged;
    in_flight += result.in_flight;
    found_stored += result.found_stored;
    not_stored += result.not_stored;
    fenced += result.fenced;
    takeovers[round] = static_cast<std::uint32_t>(result.takeover.count());
  }
};

struct Shared {
  std::atomic<std::size_t> next;
  std::array<Tally, 32> tallies;
};

Shared& MakeShared() {
  void* const memory =
      ::mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
  if (memory == MAP_FAILED) throw std::bad_alloc();
  return *new (memory) Shared();
}

void Work(const Options& options, Shared& shared) {
  std::optional<Machines> machines;
  if (options.has_machines) machines.emplace(3);
  std::unique_ptr<Place> place;
  std::size_t played = 0;
  for (;;) {
    const std::size_t next = shared.next++;
    const std::size_t kind = next % options.kinds.size();
    const std::size_t round = next / options.kinds.size();
    if (round >= options.rounds) return;
    Tally& tally = shared.tallies[kind];
    const std::uint64_t seed = options.seed + round;
    try {
      if (played++ % kRoundsOfPlace == 0) place.reset();
      if (!place) place = std::make_unique<Place>(machines ? &*machines : nullptr);
      tally.Add(round, PlayRound(*place, *options.kinds[kind], seed));
    } catch (const std::exception& error) {
      ++tally.violations;
      place.reset();
      std::cerr << "VIOLATION: " << error.what() << "\n  again: fail_over_soak "
                << options.kinds[kind]->name << " --rounds 1 --seed " << seed << std::endl;
    }
  }
}

void Print(const Options& options, const Shared& shared) {
  std::printf("%-14s %7s %9s %9s %8s %8s %8s %7s %11s %11s\n", "kind", "rounds", "violated",
              "commits", "untold", "found", "refused", "fenced", "median ms", "longest ms");
  for (std::size_t i = 0; i < options.kinds.size(); ++i) {
    const Tally& tally = shared.tallies[i];
    std::vector<std::uint32_t> takeovers;
    for (const std::uint32_t takeover : tally.takeovers) {
      if (takeover != 0) takeovers.push_back(takeover);
    }
    if (takeovers.empty()) takeovers.push_back(0);
    std::sort(takeovers.begin(), takeovers.end());
    std::printf("%-14s %7llu %9llu %9llu %8llu %8llu %8llu %7llu %11u %11u\n",
                options.kinds[i]->name, static_cast<unsigned long long>(tally.rounds),
                static_cast<unsigned long long>(tally.violations),
                static_cast<unsigned long long>(tally.acknowledged),
                static_cast<unsigned long long>(tally.in_flight),
                static_cast<unsigned long long>(tally.found_stored),
                static_cast<unsigned long long>(tally.not_stored),
                static_cast<unsigned long long>(tally.fenced), takeovers[takeovers.size() / 2],
                takeovers.back());
  }
}

int Soak(const Options& options) {
  std::cout << "seed " << options.seed << std::endl;
  // The shortest lease of a node follows from these.
  ::setenv("ETCD_HEARTBEAT_INTERVAL", "50", 1);
  ::setenv("ETCD_ELECTION_TIMEOUT", "500", 1);
  Shared& shared = MakeShared();
  for (int job = 0; job < options.jobs; ++job) {
    if (::fork() == 0) {
      Work(options, shared);
      ::_exit(0);
    }
  }
  bool is_well = true;
  for (int status = 0; ::wait(&status) > 0;) is_well = is_well && status == 0;
  Print(options, shared);
  for (std::size_t i = 0; i < options.kinds.size(); ++i)
    is_well = is_well && shared.tallies[i].rounds == options.rounds;
  std::cout << (is_well ? "every promise was kept" : "NOT EVERY ROUND WENT WELL") << std::endl;
  return is_well ? 0 : 1;
}

}  // namespace

int main(int count, char** arguments) {
  const std::vector<std::string> words(arguments + 1, arguments + count);
  if (!words.empty() && words.front() == kOwnerCommand)
    return RunOwner({words.begin() + 1, words.end()});
  const Options options = Parse(words);
  return HasEtcd() ? Soak(options) : kSkipped;
}
