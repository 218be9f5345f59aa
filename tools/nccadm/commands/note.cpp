// note
#include <memory>

#include <fmt/format.h>

#include "commands/command_line.h"
#include "commands/object_commands.h"
#include "console/failure.h"
#include "console/text.h"
#include "network/notes.h"
#include "network/object.h"
#include "network/reference.h"

namespace ncc::tool {
namespace {

struct Arguments {
  std::string object;
  std::string key;
  std::string value;
  bool remove = false;
};

std::string NoSuchNote(const Object& object, const std::string& key) {
  return key.empty() ? fmt::format("{} has no notes", Quoted(object))
                     : fmt::format("{} has no note \"{}\"", Quoted(object), key);
}

// All notes of the object, or the text of one.
int ShowNotes(Session& session, const Arguments& arguments) {
  session.OnlyRead();
  const Object object = FindAnyObject(session, arguments.object);
  const Notes notes = NotesOf(session.Net(), object.id);
  const std::string& key = arguments.key;
  Output& out = session.Out();
  if (!key.empty() && !notes.contains(key)) {
    throw Failure(NoSuchNote(object, key),
                  fmt::format("'nccadm note id:{}' shows those that it has.", object.id));
  }
  if (out.IsJson()) {
    out.Document({{"id", object.id}, {"notes", notes}});
  } else if (!key.empty()) {
    out.Line(Printable(notes.at(key)));
  } else if (notes.empty()) {
    out.Say(NoSuchNote(object, key) + ".");
  } else {
    Table table = {{"KEY", "TEXT"}};
    for (const auto& [each, text] : notes) table.push_back({Printable(each), Printable(text)});
    out.PrintTable(table);
  }
  return kExitDone;
}

int Remove(Session& session, const Object& object, const std::string& key) {
  Notes notes = NotesOf(session.Net(), object.id);
  const std::size_t before = notes.size();
  if (key.empty()) {
    notes.clear();
  } else {
    notes.erase(key);
  }
  const std::size_t removed = before - notes.size();
  SetNotes(session, object.id, notes);
  const std::string what =
      key.empty() ? CountText(removed, "note") : fmt::format("the note \"{}\"", key);
  return Report(session, object, removed > 0,
                removed == 0 ? NoSuchNote(object, key) + "."
                             : fmt::format("Removed {} of {}.", what, Quoted(object)));
}

int Note(Session& session, const Arguments& arguments) {
  if (!arguments.remove && arguments.value.empty()) return ShowNotes(session, arguments);
  if (arguments.remove && !arguments.value.empty()) {
    throw Failure("--remove takes a note away and gives it no text",
                  "'nccadm note --help' shows the usage.", kExitUsage);
  }
  const Object object = FindAnyObject(session, arguments.object);
  if (arguments.remove) return Remove(session, object, arguments.key);
  Notes notes = NotesOf(session.Net(), object.id);
  const Notes before = notes;
  notes[arguments.key] = arguments.value;
  SetNotes(session, object.id, notes);
  const bool changes = notes != before;
  return Report(session, object, changes,
                fmt::format("{} the note \"{}\" of {}{}.", changes ? "Set" : "That is",
                            arguments.key, Quoted(object), changes ? "" : " already"));
}

}  // namespace

void AddNoteCommand(CommandLine& line) {
  auto arguments = std::make_shared<Arguments>();
  CLI::App& note = line.AddCommand(
      line.Root(), "note",
      "Show, set or remove notes of an object: texts by keys, which no generated file shows. Tags "
      "are words with commas between them, latitude and longitude degrees",
      "note Center comment \"Second floor; ask the porter\"\nnote Center tags core,spare\n"
      "note -- Center latitude -48.25\nnote Center\nnote Center comment\n"
      "note Center comment --remove",
      arguments, Note);
  note.add_option("OBJECT", arguments->object, "Its name or id:NUMBER")->required();
  note.add_option("KEY", arguments->key, "The note; all of them when it is left out");
  note.add_option("VALUE", arguments->value, "The text that it gets");
  note.add_flag("--remove", arguments->remove, "Take the note away or, without KEY, all of them");
  line.AddDryRun(note);
}

}  // namespace ncc::tool
