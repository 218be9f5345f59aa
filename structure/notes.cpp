// Notes of objects.

#include "nccnet/notes.h"

#include "core/entry.h"
#include "core/find.h"
#include "core/operation.h"
#include "nccnet/text.h"
#include "platform/hdb/notes.h"

#include <algorithm>
#include <charconv>
#include <set>

using namespace ncc;

namespace {

// The notes of an object that there is; null when it has none.
const Notes* KnownNotes(const NetState& net, unsigned long id) {
  const CHDBRecord* const object = net.base->FindRecord(id);
  if (object == nullptr || object->Type() == 0) RefuseUnknown(kTypeNone, id);
  return net.base->NotesOf(object->Number());
}

// A text of the caller's in UTF-8.
std::string StoredText(const NetState& net, const char* given, const char* what) {
  if (given == nullptr) throw Refusal(std::string("no ") + what + " was given");
  return net.encoding == CTextEncoding::kUtf8 ? given : Utf8FromCp1251(given);
}

std::string GivenText(const NetState& net, const std::string& stored) {
  if (net.encoding == CTextEncoding::kUtf8) return stored;
  std::optional<std::string> bytes = Cp1251FromUtf8(stored);
  if (!bytes) {
    throw Refusal(
        "a note has characters that code page 1251 lacks: SetTextEncoding lets it be "
        "read in UTF-8");
  }
  return std::move(*bytes);
}

std::string KeyOfNote(const NetState& net, const char* given) {
  std::string key = StoredText(net, given, "key of a note");
  const std::string fault = FaultOfNoteKey(key);
  if (!fault.empty()) throw Refusal("the key of the note " + fault);
  return key;
}

// Digits with at most one point between them, behind at most one sign.
bool IsDegrees(std::string_view text, double most) {
  const std::string_view digits = text.substr(text.starts_with('-') ? 1 : 0);
  if (digits.empty() || digits.front() == '.' || digits.back() == '.') return false;
  if (digits.find_first_not_of("0123456789.") != std::string_view::npos) return false;
  double value = 0;
  const auto [end, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  return error == std::errc() && end == digits.data() + digits.size() && value <= most;
}

bool AreTags(std::string_view text) {
  std::set<std::string_view> tags;
  while (true) {
    const std::string_view tag = text.substr(0, text.find(','));
    if (tag.empty() || tag.front() == ' ' || tag.back() == ' ') return false;
    if (!tags.insert(tag).second) return false;
    if (tag.size() == text.size()) return true;
    text.remove_prefix(tag.size() + 1);
  }
}

std::string FaultOfForm(const std::string& key, const std::string& value) {
  if (key == "tags" && !AreTags(value))
    return "tags are words with a comma between each two, none twice, not \"" + value + "\"";
  const double most = key == "latitude" ? 90 : key == "longitude" ? 180 : 0;
  if (most == 0 || IsDegrees(value, most)) return {};
  const std::string limit = std::to_string(static_cast<int>(most));
  return "the " + key + " is a number of degrees from -" + limit + " to " + limit + ", not \"" +
         value + "\"";
}

// The note of this key, which there has to be.
Notes::const_iterator KnownNote(const NetState& net, unsigned long id, const char* given) {
  const Notes* const notes = KnownNotes(net, id);
  const std::string key = KeyOfNote(net, given);
  const auto note = notes != nullptr ? notes->find(key) : Notes::const_iterator();
  if (notes == nullptr || note == notes->end())
    throw Refusal("the object " + std::to_string(id) + " has no such note");
  return note;
}

}  // namespace

std::string FaultOfNote(const std::string& key, const std::string& value) {
  std::string fault = FaultOfNoteKey(key);
  if (!fault.empty()) return "the key of the note " + fault;
  fault = FaultOfNoteValue(value);
  return fault.empty() ? FaultOfForm(key, value) : "the text of the note " + fault;
}

bool SetNote(CNCCNet& net, unsigned long id, const char* key, const char* value) {
  NetState& state = StateOf::Net(net);
  return Run(state, [&] {
    const Notes* const present = KnownNotes(state, id);
    const std::string stored_key = StoredText(state, key, "key of a note");
    const std::string stored_value = StoredText(state, value, "text of a note");
    const std::string fault = FaultOfNote(stored_key, stored_value);
    if (!fault.empty()) throw Refusal(fault);
    Notes notes = present != nullptr ? *present : Notes();
    notes[stored_key] = stored_value;
    if (notes.size() > kMaxNotes)
      throw Refusal("an object has at most " + std::to_string(kMaxNotes) + " notes");
    state.base->SetNotes(static_cast<std::uint32_t>(id), std::move(notes));
  });
}

bool GetNote(CNCCNet& net, unsigned long id, const char* key, std::string& value) {
  NetState& state = StateOf::Net(net);
  return Run(state, [&] { value = GivenText(state, KnownNote(state, id, key)->second); });
}

bool RemoveNote(CNCCNet& net, unsigned long id, const char* key) {
  NetState& state = StateOf::Net(net);
  return Run(state, [&] {
    const std::string known = KnownNote(state, id, key)->first;
    Notes notes = *KnownNotes(state, id);
    notes.erase(known);
    state.base->SetNotes(static_cast<std::uint32_t>(id), std::move(notes));
  });
}

unsigned long ListNotes(CNCCNet& net, unsigned long id, std::list<CNote>& list) {
  NetState& state = StateOf::Net(net);
  return RunList(state, list, [&] {
    const Notes* const notes = KnownNotes(state, id);
    if (notes == nullptr) return;
    for (const auto& [key, value] : *notes)
      list.push_back({GivenText(state, key), GivenText(state, value)});
  });
}

unsigned long ListNoted(CNCCNet& net, std::list<unsigned long>& list) {
  NetState& state = StateOf::Net(net);
  return RunList(state, list, [&] {
    for (const auto& [number, notes] : state.base->AllNotes()) list.push_back(number);
  });
}
