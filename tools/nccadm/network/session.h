// One run of the tool: its options, its output and the database that it works on.
#pragma once

#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "console/output.h"
#include "nccnet/backup.h"
#include "nccnet/netdb.h"
#include "network/applications.h"

namespace ncc::tool {

class View;

struct Options {
  std::string database;  // DIR/NAME
  bool json = false;
  bool quiet = false;
  bool yes = false;
  std::optional<unsigned> wait;  // seconds for a database that is in use
  std::string person;            // the operator; empty: the user of the process
  std::string command;           // what was typed
  std::string at;                // the revision or the time to show; empty: now
  bool dry_run = false;
  std::string files;  // the folder of generated files that a dry run looks at
  ColorMode color = ColorMode::kAuto;
};

// A database as the library takes it.
struct DatabasePlace {
  std::string folder;
  std::string name;
};
// Of DIR/NAME; throws Failure where that names none.
DatabasePlace SplitDatabase(const std::string& text);

class Session {
 public:
  Session(const Options& options, Output& output);
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  Output& Out() { return output_; }
  bool IsJson() const { return options_.json; }

  // To be called before Net() by a command that changes nothing in the database.
  void OnlyRead();

  // The same for one whose changes are tried and dropped.
  void OnlyTry() { options_.dry_run = true; }

  // The database of --db, opened by the first call: for a command that only reads as it was stored
  // last, whoever owns it. Throws Failure with what to do about it.
  CNCCNet& Net();

  // The same, opened to follow its owner.
  CNCCNet& OpenStandby();
  // Lets go of it.
  void Close();
  // For how long whoever has the database is to be waited for; 10 seconds on a terminal, else 0.
  std::chrono::seconds Wait() const;

  // The network that is shown: of the database, opened by the first call, or the one set before.
  View& Shown();
  void SetShown(std::unique_ptr<View> view);

  // Whether there is a network to show, of the database or another.
  bool IsOpen() const { return open_ || shown_ != nullptr; }

  // Whether --at chose the revision that is shown.
  bool ShowsChosen() const { return !options_.at.empty(); }
  // Shows another revision of the network; with --at the one that it names was shown first.
  void ShowRevision(std::uint64_t revision);
  // A revision by its number, or the one of a time. Throws Failure when there was none.
  std::uint64_t RevisionOf(const std::string& text);
  // The same; 0 for a time before all that is known.
  std::uint64_t RevisionOrNone(const std::string& text);

  // What the history is to say of the changes, in place of what was typed. Within a unit of several
  // commands that is what was typed for all of them.
  void SetCommand(const std::string& command);

  // Whether the changes of the command are to be told and dropped.
  bool IsDryRun() const { return options_.dry_run; }
  // Whether all changes of the command make one unit that somebody else ends.
  bool IsInUnit() const { return in_unit_; }
  // The folder of generated files of which a dry run is to tell what would change; empty: of none.
  const std::string& FilesFolder() const { return options_.files; }
  void BeginUnit();
  // Fills in the objects that were changed; nothing more is to be changed.
  std::vector<std::uint32_t> ChangedObjects();
  void EndUnit(bool keep);

  // Whether the database was open to changes that are not dropped.
  bool MayHaveChanged() const { return may_have_changed_ && !options_.dry_run; }

  // Makes the database of --db and leaves it open.
  CNCCNet& Create(std::uint32_t network);

  // Puts a copy, which was checked, in the place of the database of --db. Returns the name under
  // which that is kept now; nothing when there was none.
  std::string Restore(const std::string& copy);
  struct Copy {
    std::uint64_t revision;
    std::uint32_t network;
  };
  // What a copy that is whole holds; throws Failure for any other.
  Copy CheckCopy(const std::string& copy);
  // Opens what the database of --db stored last; says and asks nothing. False when it cannot be
  // read.
  bool Peek(CNCCNet& net) const;

  // What is known of the database of --db from outside. Where too few machines of a cluster answer
  // that is how they are: revision 0.
  CDatabaseStatus Status();
  // For a copy that the library refused.
  Failure CopyingFailure(const std::string& from, const std::string& to);

  // DIR/NAME as the user gave it; a Failure when there is none.
  const std::string& DatabaseText() const;

  // From here on the current directory may change. To be called before Net().
  void FixDatabasePath();

  const Applications& Apps();

  // For an operation that the library refused: its reason behind `what`. Where it is not known
  // whether a change is stored, that is asked for a while first.
  Failure Refusal(std::string_view what);

  // Whether every question is answered with yes.
  bool SaysYes() const { return options_.yes; }
  void SayYes(bool yes) { options_.yes = yes; }

  // Returns when the user agrees; throws Failure otherwise. `question` ends without a mark.
  void Confirm(const std::string& question);
  // The same for a file that is about to be replaced; does nothing when there is none. The files of
  // the database itself are refused.
  void ConfirmReplacing(const std::string& file);

 private:
  DatabasePlace Split() const { return SplitDatabase(DatabaseText()); }
  Failure OpeningFailure();
  Failure Unsettled(const std::string& text);
  void NameOrigin();
  // Calls `open` until it succeeds, the user has to be asked or it is no use to wait any longer.
  void Obtain(const std::function<bool(const DatabasePlace&)>& open);
  void TellRevision(const DatabasePlace& place);
  void GoTo(const std::string& at);

  Options options_;
  Output& output_;
  CNCCNet net_;
  bool open_ = false;
  bool only_reads_ = false;
  bool in_unit_ = false;
  bool may_have_changed_ = false;
  std::unique_ptr<Applications> applications_;
  std::unique_ptr<View> shown_;
};

// All changes made while one lives are stored together by Store, or dropped; within a unit of the
// session, with that.
class Batch {
 public:
  explicit Batch(Session& session);
  ~Batch();
  Batch(const Batch&) = delete;
  Batch& operator=(const Batch&) = delete;

  void Store();

 private:
  Session& session_;
  bool running_;
};

}  // namespace ncc::tool
