#include "platform/hdb/row_codec.h"

#include "nccnet/notes.h"
#include "platform/hdb/base.h"
#include "platform/text/code_page.h"

#include <array>
#include <charconv>
#include <span>

namespace ncc {
namespace {

std::uint32_t ImpliedSpace(std::uint8_t kind) {
  return kind == kRecordItem ? kRecordSpace : kFolderSpace;
}

int PositionOfIdList(std::uint8_t list) { return kFirstListPosition + list - kFirstIdList; }

// Writing ---------------------------------------------------------------------------------------

// A few numbers and what stands between them, appended as a whole.
class Piece {
 public:
  Piece& Put(char c) {
    *end_++ = c;
    return *this;
  }
  Piece& Put(std::uint32_t number) {
    end_ = std::to_chars(end_, bytes_.data() + bytes_.size(), number).ptr;
    return *this;
  }
  void AppendTo(std::string& out) const {
    out.append(bytes_.data(), static_cast<std::size_t>(end_ - bytes_.data()));
  }

 private:
  std::array<char, 40> bytes_;
  char* end_ = bytes_.data();
};

void PutString(std::string& out, std::string_view utf8) {
  static constexpr char kHex[] = "0123456789abcdef";
  out += '"';
  for (char c : utf8) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte == 0x7F) {
      out += "\\u00";
      out += kHex[byte >> 4];
      out += kHex[byte & 0xF];
    } else {
      if (c == '"' || c == '\\') out += '\\';
      out += c;
    }
  }
  out += '"';
}

void PutEntry(std::string& out, const CHDBFolderEntry& entry, const std::string* label) {
  const TDBObjId object = entry.Object();
  const bool other_space = object.space != ImpliedSpace(entry.Kind());
  Piece piece;
  piece.Put('[').Put(std::uint32_t{entry.Kind()}).Put(',').Put(object.number);
  if (label == nullptr && !other_space) return piece.Put(']').AppendTo(out);
  piece.Put(',').AppendTo(out);
  if (label != nullptr) {
    std::string utf8;
    AppendUtf8(utf8, *label);
    PutString(out, utf8);
  } else {
    out += "null";
  }
  if (other_space) Piece().Put(',').Put(object.space).AppendTo(out);
  out += ']';
}

void PutId(std::string& out, const IdListElement& element) {
  const TDBObjId& object = element.object;
  Piece piece;
  if (object.space == kFolderSpace) return piece.Put(object.number).AppendTo(out);
  piece.Put('[').Put(object.space).Put(',').Put(object.number).Put(']').AppendTo(out);
}

void PutPair(std::string& out, const PairValue& value) {
  Piece piece;
  piece.Put('[').Put(value.first).Put(',').Put(value.second);
  piece.Put(',').Put(std::uint32_t{value.kind}).Put(']').AppendTo(out);
}

// put(element)
template <class T, class PutElement>
void PutSlots(std::string& out, std::span<const T> slots, PutElement put) {
  for (const T& element : slots) {
    out += &element == slots.data() ? '[' : ',';
    if (element.IsHole()) {
      out += "null";
    } else {
      put(element);
    }
  }
  if (!slots.empty()) out += ']';
}

}  // namespace

void EncodeChunk(std::string& out, const CHDBRecord& object, std::uint8_t list,
                 std::uint32_t chunk) {
  if (list == kEntryList) {
    const auto slots = object.Entries().SlotsOf(chunk);
    PutSlots(out, slots, [&](const CHDBFolderEntry& entry) {
      const auto slot = static_cast<std::uint32_t>(&entry - slots.data());
      PutEntry(out, entry, object.Label(chunk * kSlotsPerChunk + slot));
    });
  } else if (list == kPairList) {
    PutSlots(out, object.Pairs().SlotsOf(chunk),
             [&](const PairValue& value) { PutPair(out, value); });
  } else {
    PutSlots(out, object.List(PositionOfIdList(list)).SlotsOf(chunk),
             [&](const IdListElement& element) { PutId(out, element); });
  }
}

void EncodeFirstChunks(std::string& out, const CHDBRecord& object) {
  const std::size_t start = out.size();
  std::size_t end = start;  // of the last list with an element
  for (std::uint8_t list = 0; list < kLists; ++list) {
    out += list == 0 ? '[' : ',';
    const std::size_t before = out.size();
    EncodeChunk(out, object, list, 0);
    if (out.size() == before) {
      out += "null";
    } else {
      end = out.size();
    }
  }
  out.resize(end);
  if (end > start) out += ']';
}

void EncodeNotes(std::string& out, const Notes& notes) {
  char separator = '{';
  for (const auto& [key, text] : notes) {
    out += separator;
    PutString(out, key);
    out += ':';
    PutString(out, text);
    separator = ',';
  }
  out += '}';
}

void EncodeDefinition(std::string& out, const CHDBDefinition& definition) {
  char separator = '[';
  for (std::uint32_t value :
       {definition.number, definition.kind, definition.length, definition.tag, definition.flags}) {
    Piece().Put(separator).Put(value).AppendTo(out);
    separator = ',';
  }
  out += ']';
}

// Reading ---------------------------------------------------------------------------------------

namespace {

// Appends it in code page 1251.
void PutName(std::string& out, std::string_view utf8) {
  if (!AppendCp1251(out, utf8)) throw StorageError("database is damaged: a name cannot be read");
}

// Takes a text apart from its front; every mismatch is a damaged row.
class Reader {
 public:
  explicit Reader(std::string_view text) : at_(text.data()), end_(text.data() + text.size()) {}

  bool TakeIf(char c) {
    if (at_ == end_ || *at_ != c) return false;
    ++at_;
    return true;
  }
  bool TakeIf(std::string_view word) {
    if (!std::string_view(at_, static_cast<std::size_t>(end_ - at_)).starts_with(word))
      return false;
    at_ += word.size();
    return true;
  }
  void Take(char c) {
    if (!TakeIf(c)) Fail();
  }

  std::uint32_t TakeNumber() {
    std::uint32_t number = 0;
    const auto [ptr, error] = std::from_chars(at_, end_, number);
    if (error != std::errc() || (*at_ == '0' && ptr - at_ > 1)) Fail();
    at_ = ptr;
    return number;
  }

  std::string TakeUtf8() {
    Take('"');
    std::string utf8;
    while (at_ != end_ && *at_ != '"') {
      if (TakeIf(std::string_view("\\u00"))) {
        utf8 += TakeHexByte();
      } else {
        TakeIf('\\');
        if (at_ == end_) Fail();
        utf8 += *at_++;
      }
    }
    Take('"');
    return utf8;
  }
  // Of code page 1251.
  std::string TakeString() {
    std::string name;
    PutName(name, TakeUtf8());
    return name;
  }

  const char* At() const { return at_; }
  void End() const {
    if (at_ != end_) Fail();
  }
  [[noreturn]] static void Fail() {
    throw StorageError("database is damaged: a row cannot be read");
  }

 private:
  char TakeHexByte() {
    unsigned value = 0;
    if (end_ - at_ < 2 || std::from_chars(at_, at_ + 2, value, 16).ptr != at_ + 2) Fail();
    at_ += 2;
    return static_cast<char>(value);
  }

  const char* at_;
  const char* end_;
};

CHDBFolderEntry TakeEntry(Reader& in, std::uint32_t slot, CHDBFolder::Labels& labels) {
  const char* const start = in.At();
  in.Take('[');
  const std::uint32_t kind = in.TakeNumber();
  if (kind > 0xFF) Reader::Fail();
  in.Take(',');
  TDBObjId object{ImpliedSpace(static_cast<std::uint8_t>(kind)), in.TakeNumber()};
  if (in.TakeIf(']')) return {object, static_cast<std::uint8_t>(kind)};
  in.Take(',');
  const std::string* label = nullptr;
  if (!in.TakeIf(std::string_view("null"))) label = &(labels[slot] = in.TakeString());
  if (in.TakeIf(',')) object.space = in.TakeNumber();
  if (object.space == 0 || object.space > 0xFFFF) Reader::Fail();
  in.Take(']');
  const CHDBFolderEntry entry(object, static_cast<std::uint8_t>(kind), label != nullptr);
  std::string again;
  PutEntry(again, entry, label);
  if (again != std::string_view(start, static_cast<std::size_t>(in.At() - start))) Reader::Fail();
  return entry;
}

IdListElement TakeId(Reader& in) {
  if (!in.TakeIf('[')) return {{kFolderSpace, in.TakeNumber()}};
  IdListElement element;
  element.object.space = in.TakeNumber();
  in.Take(',');
  element.object.number = in.TakeNumber();
  in.Take(']');
  if (element.object.space == kFolderSpace || element.IsHole()) Reader::Fail();
  return element;
}

PairValue TakePair(Reader& in) {
  PairValue value;
  in.Take('[');
  value.first = in.TakeNumber();
  in.Take(',');
  value.second = in.TakeNumber();
  in.Take(',');
  const std::uint32_t kind = in.TakeNumber();
  if (kind > 0xFF) Reader::Fail();
  value.kind = static_cast<std::uint8_t>(kind);
  in.Take(']');
  return value;
}

template <class T, class TakeElement>
std::span<const T> TakeSlots(Reader& in, std::vector<T>& slots, TakeElement take) {
  bool is_empty = true;
  slots.clear();
  in.Take('[');
  do {
    if (slots.size() == kSlotsPerChunk) Reader::Fail();
    if (in.TakeIf(std::string_view("null"))) {
      slots.push_back(T::Hole());
    } else {
      is_empty = false;
      slots.push_back(take(in));
    }
  } while (in.TakeIf(','));
  in.Take(']');
  if (is_empty) Reader::Fail();
  return slots;
}

void TakeChunk(Reader& in, CHDBRecord& object, std::uint8_t list, std::uint32_t chunk,
               ChunkSlots& slots) {
  if (list == kEntryList) {
    slots.labels.clear();
    const auto take = [&](Reader& from) {
      return TakeEntry(from, static_cast<std::uint32_t>(slots.entries.size()), slots.labels);
    };
    object.PutStored(chunk, TakeSlots(in, slots.entries, take), slots.labels);
  } else if (list == kPairList) {
    object.PutStored(chunk, TakeSlots(in, slots.pairs, TakePair));
  } else {
    object.PutStored(PositionOfIdList(list), chunk, TakeSlots(in, slots.ids, TakeId));
  }
}

}  // namespace

Notes DecodeNotes(std::string_view text) {
  Notes notes;
  Reader in(text);
  in.Take('{');
  do {
    const std::string key = in.TakeUtf8();
    in.Take(':');
    const std::string value = in.TakeUtf8();
    if (!FaultOfNoteKey(key).empty() || !FaultOfNoteValue(value).empty()) Reader::Fail();
    notes.emplace(key, value);
  } while (in.TakeIf(','));
  in.Take('}');
  std::string again;
  EncodeNotes(again, notes);
  if (again != text || notes.size() > kMaxNotes) Reader::Fail();
  return notes;
}

std::string_view RowDecoder::DecodeName(std::string_view utf8) {
  name_.clear();
  PutName(name_, utf8);
  return name_;
}

void RowDecoder::DecodeFirstChunks(CHDBRecord& object, std::string_view text) {
  if (text.empty()) return;
  Reader in(text);
  bool has_elements = false;
  std::uint8_t list = 0;
  in.Take('[');
  do {
    if (list == kLists) Reader::Fail();
    has_elements = !in.TakeIf(std::string_view("null"));
    if (has_elements) TakeChunk(in, object, list, 0, slots_);
    ++list;
  } while (in.TakeIf(','));
  in.Take(']');
  in.End();
  if (!has_elements) Reader::Fail();
}

void RowDecoder::DecodeChunk(CHDBRecord& object, std::uint8_t list, std::uint32_t chunk,
                             std::string_view text) {
  Reader in(text);
  TakeChunk(in, object, list, chunk, slots_);
  in.End();
}

CHDBDefinition RowDecoder::DecodeDefinition(std::string_view name, std::uint32_t what,
                                            std::string_view text) {
  CHDBDefinition definition;
  definition.what = static_cast<CHDBDefinition::What>(what);
  definition.name = DecodeName(name);
  Reader in(text);
  char separator = '[';
  for (std::uint32_t* value : {&definition.number, &definition.kind, &definition.length,
                               &definition.tag, &definition.flags}) {
    in.Take(separator);
    *value = in.TakeNumber();
    separator = ',';
  }
  in.Take(']');
  in.End();
  return definition;
}

}  // namespace ncc
