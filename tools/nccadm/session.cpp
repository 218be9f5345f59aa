#include "session.h"

#include <filesystem>
#include <list>
#include <vector>

#include <fmt/format.h>

#include "terminal.h"
#include "view.h"

namespace ncc::tool {

Session::Session(const Options& options, Output& output) : options_(options), output_(output) {}

Session::~Session() = default;

const std::string& Session::DatabaseText() const {
  if (options_.database.empty()) {
    throw Failure("no database is given", "Add --db DIR/NAME or set NCCADM_DB to DIR/NAME.",
                  kExitUsage);
  }
  return options_.database;
}

Session::Place Session::Split() const {
  const std::string& text = DatabaseText();
  const std::size_t slash = text.rfind('/');
  const bool bare = slash == std::string::npos;
  Place place{bare ? "./" : text.substr(0, slash + 1), bare ? text : text.substr(slash + 1)};
  if (place.name.empty()) {
    throw Failure(fmt::format("\"{}\" is a folder and no database", text),
                  fmt::format("Add the name of the database: --db {}NAME", place.folder),
                  kExitUsage);
  }
  return place;
}

Failure Session::OpeningFailure(const std::string& reason) const {
  if (reason.find("in use") != std::string::npos) {
    return Failure(fmt::format("{}: {}", options_.database, reason),
                   "Close the program that has it open, then try again.", kExitInUse);
  }
  if (reason.find("there is no database") != std::string::npos) {
    return Failure(reason, fmt::format("To create it, type: nccadm --db {} init --network NUMBER",
                                       options_.database));
  }
  return Failure(fmt::format("{}: {}", options_.database,
                             reason.empty() ? "the database cannot be opened" : reason));
}

CNCCNet& Session::Net() {
  if (open_) return net_;
  const Place place = Split();
  if (!net_.Open(place.folder.c_str(), place.name.c_str())) {
    throw OpeningFailure(net_.LastError());
  }
  open_ = true;
  return net_;
}

View& Session::Shown() {
  if (!shown_) shown_ = std::make_unique<OwnView>(Net());
  return *shown_;
}

void Session::SetShown(std::unique_ptr<View> view) { shown_ = std::move(view); }

CNCCNet& Session::Create(std::uint32_t network) {
  const Place place = Split();
  if (!net_.Create(place.folder.c_str(), place.name.c_str(), network)) {
    throw OpeningFailure(net_.LastError());
  }
  open_ = true;
  return net_;
}

void Session::FixDatabasePath() {
  options_.database = std::filesystem::absolute(DatabaseText()).string();
}

const Applications& Session::Apps() {
  if (!applications_) {
    std::list<std::string> names;
    net_.GetAPP(0, names);
    applications_ =
        std::make_unique<Applications>(std::vector<std::string>(names.begin(), names.end()));
  }
  return *applications_;
}

Failure Session::Refusal(std::string_view what) {
  const std::string reason = net_.LastError();
  return Failure(reason.empty() ? std::string(what) : fmt::format("{}: {}", what, reason));
}

void Session::Confirm(const std::string& question) {
  if (options_.yes) return;
  if (!IsTerminal(Stream::kInput) || !IsTerminal(Stream::kError)) {
    throw Failure(question, "Add --yes if that is meant; nothing was changed.");
  }
  if (!AskYesNo(question + ". Go on?")) throw Failure("not confirmed; nothing was changed");
}

void Session::ConfirmReplacing(const std::string& file) {
  std::error_code error;
  for (const char* suffix : {".db", ".db-wal", ".db-journal", ".lock"}) {
    if (std::filesystem::equivalent(options_.database + suffix, file, error)) {
      throw Failure(fmt::format("{} belongs to the database itself", file), "Give another file.");
    }
  }
  if (std::filesystem::is_regular_file(file, error)) {
    Confirm(fmt::format("the file {} exists and would be replaced", file));
  }
}

Batch::Batch(Session& session) : session_(session) {
  if (!session.Net().BeginBatch()) throw session.Refusal("the changes cannot begin");
}

Batch::~Batch() {
  if (running_) session_.Net().EndBatch(false);
}

void Batch::Keep() {
  running_ = false;
  if (!session_.Net().EndBatch(true)) {
    throw session_.Refusal("the changes could not be stored, nothing was changed");
  }
}

}  // namespace ncc::tool
