// Generating only what changed, held against generating everything.
#include "support/changed_files.h"
#include "generate/collection/manifest.h"

#include <algorithm>
#include <cstdlib>
#include <list>
#include <random>

namespace {

// Random changes of a network, with what hands do to the folder between them.
class RandomChanges : public ChangedFilesTest {
 protected:
  void Run(unsigned long seed, int rounds) {
    random_.seed(static_cast<std::mt19937::result_type>(seed));
    SCOPED_TRACE("seed " + std::to_string(seed));
    MemoryNet memory;
    subject_ = &memory.Net();
    ASSERT_TRUE(memory.Create()) << subject_->LastError();
    model_ = Model(*subject_->Preferences());
    for (int i = 0; i < 120; ++i) Change();
    for (int i = 0; i < 60; ++i) Join();
    GiveApplications(1);
    Update(Writing::kChanged);
    for (int round = 0; round < rounds && !HasFailure(); ++round) {
      said_.clear();
      for (auto changes = random_() % 4; changes > 0; --changes) ChangeSomehow();
      SCOPED_TRACE("round " + std::to_string(round) + ":" + said_);
      if (random_() % 4 == 0) {
        CheckAll(random_() % 2 == 0 ? Disturb() : std::string());
      } else {
        Check();
      }
    }
  }

  std::size_t composed_ = 0;
  std::size_t kept_files_ = 0;

 private:
  void Change() {
    const auto step = RandomStep(random_, model_);
    said_ += "\n  " + step.Text();
    EXPECT_EQ(step.Run(*subject_), step.Run(model_)) << step.Text();
  }

  void ChangeSomehow() {
    switch (random_() % 16) {
      case 0:
      case 1:
        return ChangeInBatch();
      case 2:
        return ChangeAndUndo();
      case 3:
        return ReplaceNode();
      case 4:
        return GiveApplications(8);
      case 5:
      case 6:
        return Join();
      case 7: {
        const CNetPref before = *subject_->Preferences();
        subject_->Preferences()->value_20 = before.value_20 + random_() % 2;
        subject_->SaveNetInfo();
        return;
      }
      default:
        Change();
    }
  }

  // With a question in the middle; what is dropped was never there.
  void ChangeInBatch() {
    const Model before = model_;
    subject_->BeginBatch();
    for (auto steps = random_() % 5; steps > 0; --steps) Change();
    const bool is_kept = random_() % 4 != 0;
    const bool is_asked = random_() % 2 == 0;
    const Outcome asked = is_asked ? Update(Writing::kNothing) : Outcome();
    EXPECT_TRUE(subject_->EndBatch(is_kept)) << subject_->LastError();
    if (is_asked && is_kept) {
      EXPECT_EQ(asked.changes, Update(Writing::kChanged).changes);
    }
    if (!is_kept) model_ = before;
    said_ += is_kept ? "\n  together" : "\n  dropped";
  }

  // With or without files of what is taken back.
  void ChangeAndUndo() {
    const Model before = model_;
    const std::uint64_t revision = subject_->GetRevision();
    for (auto steps = 1 + random_() % 3; steps > 0; --steps) Change();
    if (random_() % 2 == 0) Update(Writing::kChanged);
    std::list<std::uint64_t> wanted;
    for (std::uint64_t last = subject_->GetRevision(); last > revision; --last) {
      std::list<std::uint64_t> in_the_way;
      wanted.push_back(last);
      const bool is_done = subject_->Undo(wanted, in_the_way);
      if (is_done) wanted.clear();  // else it has raised counters alone, or left holes in lists
      EXPECT_TRUE(is_done || in_the_way.empty()) << subject_->LastError();
    }
    model_ = before;
    said_ += "\n  undone";
    // Identifiers are not given again.
    const unsigned long next = subject_->Preferences()->next_id;
    if (next > model_.NextId()) {
      model_.CreateAB("scratch", CIdentity{next - 1});
      model_.DeleteAB(model_.FindAB(next - 1));
    }
  }

  // By one of the same identifier and name, mostly at the same place and then as if it had never
  // been away, but for its order.
  void ReplaceNode() {
    const auto aps = model_.Objects('A');
    if (aps.empty()) return;
    const unsigned long id = aps[random_() % aps.size()]->id;
    const CNNEntry ap = Entry(*subject_, id);
    const bool is_moved = random_() % 3 == 0;
    const auto servers = model_.Objects('S');
    const std::uint32_t old_server = ap.server_id;
    const std::uint32_t server = is_moved ? servers[random_() % servers.size()]->id : old_server;
    subject_->BeginBatch();
    const std::string name = model_.FindAP(id)->Name();
    EXPECT_EQ(subject_->DeleteAP(old_server, name.c_str()),
              model_.DeleteAP(model_.FindServer(old_server), name));
    if (model_.FindAP(id) == nullptr) {
      const std::uint32_t flags = ap.flags;
      EXPECT_EQ(AddAPAs(*subject_, CIdentity{id}, server, name.c_str(), flags),
                model_.AddAP(model_.FindServer(server), name, flags, CIdentity{id}));
    }
    EXPECT_TRUE(subject_->EndBatch());
    said_ += "\n  replaced AP " + std::to_string(id);
  }

  // Ties objects that are there: what is not on a way between two nodes shows in no file.
  void Join() {
    static const char* const kTies[] = {"LinkNNToNGrp", "LinkDepToNGrp", "LinkDepToDep id",
                                        "LinkABToDep id", "LinkSrvToSrv id"};
    static const char* const kKinds[] = {"GN", "GD", "DD", "DU", "SS"};
    const std::size_t tie = random_() % 5;
    ::Step step = StepOf(std::string(kTies[tie]) + " \"\" \"\" 0 0 0 1");
    for (const auto& [kind, id] :
         {std::pair(kKinds[tie][0], &step.id), std::pair(kKinds[tie][1], &step.other_id)}) {
      const auto objects = model_.Objects(kind);
      if (!objects.empty()) *id = objects[random_() % objects.size()]->id;
    }
    said_ += "\n  " + step.Text();
    EXPECT_EQ(step.Run(*subject_), step.Run(model_)) << step.Text();
  }

  // Those that decide about lines, to one of so many nodes.
  void GiveApplications(unsigned share) {
    for (const Model::Object* node : model_.Objects('N')) {
      if (random_() % share != 0) continue;
      const auto flags = static_cast<std::uint32_t>(random_() % 24 == 0 ? 0x40 : 0x9401);
      EXPECT_EQ(subject_->RegAPP(node->id, flags, 2),
                model_.Register(model_.FindNode(node->id), flags, 2));
      said_ += "\n  applications of " + std::to_string(node->id);
    }
  }

  // Returns the file that was touched.
  std::string Disturb() {
    const auto tree = Tree(kept_);
    if (tree.empty()) return {};
    const std::string path =
        std::next(tree.begin(), static_cast<long>(random_() % tree.size()))->first;
    const fs::path file = fs::path(kept_) / path;
    switch (random_() % 6) {
      case 0:
        fs::remove(file);
        break;
      case 1:
        // Others in "MAP" stay, as they do when everything is made.
        if (!path.starts_with("MAP/a")) WriteFile(file.string() + ".copy", "of somebody else");
        return {};
      case 2:
        // Whose a file in "MAP" is only the manifest tells.
        Update(Writing::kChanged);
        fs::remove(Manifest());
        return {};
      case 3:
        fs::last_write_time(file, fs::last_write_time(file) + std::chrono::seconds(1));
        break;
      case 4:
        fs::remove(file);
        fs::create_symlink("elsewhere", file);
        break;
      default:
        WriteFile(file, ReadFile(file) + "by hand");
    }
    return path;
  }

  void CheckAll(const std::string& touched) {
    const auto before = Tree(kept_);
    const Outcome asked = Update(Writing::kNothing);
    EXPECT_TRUE(Changed(before, Tree(kept_)).empty()) << "asking has written";
    const Outcome done = Update(Writing::kChanged);
    Count(done);
    EXPECT_EQ(asked.changes, done.changes);
    const auto after = Tree(kept_);
    const auto full = Full();
    EXPECT_EQ(Differences(BytesOf(full), BytesOf(after)), "") << touched;
    auto changed = Changed(before, after, touched);
    changed.erase(touched);
    if (done.changes.count(touched) != 0) changed[touched] = done.changes.at(touched);
    EXPECT_EQ(done.changes, changed);
    const auto is_listed = [](const auto& change) {
      return change.second != CFileChange::What::kGone &&
             (change.first.ends_with(".crg") || change.first.ends_with(".reg"));
    };
    EXPECT_EQ(journal_.size() / 17, static_cast<std::size_t>(std::count_if(
                                        done.changes.begin(), done.changes.end(), is_listed)));
    const Outcome again = Update(Writing::kNothing);
    EXPECT_TRUE(again.is_up_to_date && again.changes.empty());
  }

  void Check() {
    Count(Update(Writing::kChanged));
    EXPECT_EQ(Differences(BytesOf(Full()), BytesOf(Tree(kept_))), "");
  }

  void Count(const Outcome& outcome) {
    composed_ += outcome.composed.size();
    kept_files_ += outcome.kept;
  }

  std::mt19937 random_;
  Model model_{CNetPref{}};
  std::string said_;  // of the changes of a round
};

TEST_F(RandomChanges, LeaveWhatAFullRunLeaves) {
  const char* const seed = std::getenv("NCCNET_TEST_SEED");
  const char* const rounds = std::getenv("NCCNET_TEST_ROUNDS");
  const unsigned long first = seed != nullptr ? std::strtoul(seed, nullptr, 0) : 20260101;
  const unsigned long seeds = rounds != nullptr ? std::strtoul(rounds, nullptr, 0) : 6;
  for (unsigned long one = first; one < first + seeds && !HasFailure(); ++one) Run(one, 100);
  EXPECT_GT(kept_files_, composed_);
}

TEST_F(ChangedFilesTest, WhatHandsHaveDoneIsFoundBySizeAndTimeOrByReading) {
  Update(Writing::kChanged);
  EXPECT_TRUE(Update(Writing::kNothing).is_up_to_date);
  const std::string file = kept_ + "/APDB/N/apn000C.txt";
  const auto time = fs::last_write_time(file);
  const std::string bytes = ReadFile(file);
  WriteFile(file, std::string(bytes.size(), 'x'));
  EXPECT_EQ(Update(Writing::kNothing).touched, std::vector<std::string>{"APDB/N/apn000C.txt"});
  fs::last_write_time(file, time);
  EXPECT_TRUE(Update(Writing::kNothing).is_up_to_date) << "the time is as it was";
  const Outcome verified = Update(Writing::kChanged, true);
  EXPECT_FALSE(verified.is_up_to_date);
  EXPECT_EQ(verified.changes.size(), 1U);  // packages hold what was composed
  EXPECT_EQ(ReadFile(file), bytes);
}

// What no row of the history tells of: files beside the database, and of others in "MAP", where
// they stay until routing tables are made.
TEST_F(ChangedFilesTest, FilesOfOthersReachThePackages) {
  MemoryNet memory;
  subject_ = &memory.Net();
  ASSERT_TRUE(subject_->Create(scratch_.Path("").c_str(), "net", 0x1A)) << subject_->LastError();
  BuildOutputNetwork(*subject_);
  Update(Writing::kChanged);
  const std::string beside = scratch_.Path("ipkeladr.doc");
  for (const char* const bytes : {"one", "another"}) {
    WriteFile(beside, bytes);
    ExpectChanged("beside the database");
  }
  fs::remove(beside);
  ExpectChanged("away from there");

  const std::vector<GenerationPart> packages = {GenerationParts().back()};
  const std::string package = "KC/AAA/001A0009.aaf";
  const std::string before = ReadFile(kept_ + "/" + package);
  const auto expect_package = [&](const char* what) {
    SCOPED_TRACE(what);
    EXPECT_FALSE(Update(Writing::kNothing, false, packages).is_up_to_date);
    EXPECT_EQ(Update(Writing::kChanged, false, packages).changes.count(package), 1U);
    EXPECT_TRUE(Update(Writing::kNothing, false, packages).is_up_to_date);
  };
  const std::string other = kept_ + "/MAP/node9.xnw";
  for (const char* const bytes : {"one", "another"}) {
    WriteFile(other, bytes);
    expect_package(bytes);
    EXPECT_NE(ReadFile(kept_ + "/" + package).find(bytes), std::string::npos);
  }
  fs::remove(other);
  expect_package("taken away");
  EXPECT_EQ(ReadFile(kept_ + "/" + package), before);
}

TEST_F(ChangedFilesTest, ATunnelFileThatGoesIsTakenOffTheStampLists) {
  MemoryNet memory;
  subject_ = &memory.Net();
  ASSERT_TRUE(memory.Create()) << subject_->LastError();
  for (const char* const name : {"Center", "North"}) subject_->AddServer(name, 0, 0);
  const unsigned long tunnelled = subject_->AddServer("South", 0, 5);
  Update(Writing::kChanged);
  EXPECT_TRUE(subject_->DeleteServer("South")) << subject_->LastError();
  EXPECT_NE(subject_->AddServer("East", 0, 0), tunnelled);
  ExpectChanged("no server has a tunnel any more");
}

TEST_F(ChangedFilesTest, FilesThatWereMadeForSomeNodesStayThoseOfTheirPart) {
  Update(Writing::kChanged);
  const auto before = Tree(kept_);
  const std::vector<GenerationPart> maps = {GenerationParts()[2]};
  Update(Writing::kChanged, false,
         {{{"map", "mode=1"},
           [](CNCCNet& net) { net.GenMAP("./MAP/", 1, std::list<unsigned long>{9}); },
           false}});
  EXPECT_EQ(Update(Writing::kChanged, false, maps).changes.size(), 0U);
  EXPECT_EQ(Differences(BytesOf(before), BytesOf(Tree(kept_))), "");
  EXPECT_EQ(ReadManifest(Manifest().c_str()).parts.size(), GenerationParts().size());
}

TEST_F(ChangedFilesTest, AnotherKeyOrLineEndIsNoticed) {
  Update(Writing::kChanged);
  UseKeyOf('1');
  EXPECT_FALSE(Update(Writing::kNothing).is_up_to_date);
  Update(Writing::kChanged);
  EXPECT_EQ(Differences(BytesOf(Full()), BytesOf(Tree(kept_))), "");
  EXPECT_TRUE(SetTextLineEnd("\n"));
  EXPECT_FALSE(Update(Writing::kNothing).is_up_to_date);
  EXPECT_TRUE(SetTextLineEnd("\r\n"));
  net_.BeginBatch();
  net_.AddAP(9, "not stored", 0);
  EXPECT_FALSE(Update(Writing::kNothing).is_up_to_date);
  EXPECT_GT(Update(Writing::kNothing).changes.size(), 8U);
  net_.EndBatch(false);
}

TEST_F(ChangedFilesTest, EachFileKeepsTheRevisionAtWhichItChanged) {
  Update(Writing::kChanged);
  const std::uint64_t first = net_.GetRevision();
  net_.ModifyAP(0xC, "another");
  Update(Writing::kChanged);
  ASSERT_TRUE(net_.DeleteAP(9, Entry(net_, 0xE).name)) << net_.LastError();
  Update(Writing::kChanged);
  std::map<std::string, CFileRecord> files;
  for (const CFileRecord& file : ReadManifest(Manifest().c_str()).files) files[file.path] = file;
  EXPECT_EQ(files["KC/AP/001A000C.apn"].revision, first + 1);
  EXPECT_EQ(files["KC/AB/001A0019.abn"].revision, first);
  EXPECT_EQ(files["APDB/A/apa000E.txt"].revision, net_.GetRevision());
  EXPECT_EQ(files["APDB/A/apa000E.txt"].kind, CFileRecord::Kind::kGone);
}

TEST_F(ChangedFilesTest, ADamagedManifestIsRefused) {
  Update(Writing::kChanged);
  const std::string whole = ReadFile(Manifest());
  for (std::size_t at = 0; at < whole.size(); at += 97) {
    std::string damaged = whole;
    damaged[at] = static_cast<char>(damaged[at] ^ 1);
    WriteFile(Manifest(), damaged);
    EXPECT_THROW(ReadManifest(Manifest().c_str()), std::runtime_error) << at;
    WriteFile(Manifest(), whole.substr(0, at));
    EXPECT_THROW(ReadManifest(Manifest().c_str()), std::runtime_error) << at;
  }
  CFileRecord outside;
  outside.path = "../outside";
  outside.part = "kc";
  ncc::ManifestWriter manifest("none", 0, {});
  manifest.Add(outside);
  manifest.Commit(Manifest().c_str());
  EXPECT_THROW(ReadManifest(Manifest().c_str()), std::runtime_error);
}

}  // namespace
