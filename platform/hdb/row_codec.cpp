#include "platform/hdb/row_codec.h"

#include "nccnet/text.h"
#include "platform/hdb/base.h"

#include <array>
#include <charconv>

namespace ncc {
namespace {

constexpr std::uint8_t kRecordItemKind = 6;

std::uint32_t ImpliedSpace(std::uint8_t kind) {
  return kind == kRecordItemKind ? kRecordSpace : kFolderSpace;
}

void PutNumber(std::string& out, std::uint32_t number) {
  std::array<char, 10> digits;
  const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number).ptr;
  out.append(digits.data(), end);
}

void PutString(std::string& out, const std::string& name) {
  static constexpr char kHex[] = "0123456789abcdef";
  out += '"';
  for (char c : Utf8FromCp1251(name)) {
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

// put(out, element, slot)
template <class T, class PutElement>
std::string EncodeSlots(std::span<const T> slots, PutElement put) {
  std::string out;
  for (std::uint32_t slot = 0; slot < slots.size(); ++slot) {
    out += slot == 0 ? '[' : ',';
    if (slots[slot].IsHole()) {
      out += "null";
    } else {
      put(out, slots[slot], slot);
    }
  }
  if (!slots.empty()) out += ']';
  return out;
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

  std::string TakeString() {
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
    return DecodeName(utf8);
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

template <class T, class TakeElement>
void DecodeSlots(std::string_view text, Slots<T>& slots, TakeElement take) {
  Reader in(text);
  bool is_empty = true;
  in.Take('[');
  do {
    if (slots.IsFull()) Reader::Fail();
    if (in.TakeIf(std::string_view("null"))) {
      slots.Append(T::Hole());
    } else {
      is_empty = false;
      slots.Append(take(in));
    }
  } while (in.TakeIf(','));
  in.Take(']');
  in.End();
  if (is_empty) Reader::Fail();
}

void PutEntry(std::string& out, const CHDBFolderEntry& entry, const std::string* label) {
  out += '[';
  PutNumber(out, entry.Kind());
  out += ',';
  PutNumber(out, entry.Object().number);
  const bool other_space = entry.Object().space != ImpliedSpace(entry.Kind());
  if (label != nullptr) {
    out += ',';
    PutString(out, *label);
  } else if (other_space) {
    out += ",null";
  }
  if (other_space) {
    out += ',';
    PutNumber(out, entry.Object().space);
  }
  out += ']';
}

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

}  // namespace

std::string DecodeName(std::string_view utf8) {
  auto name = Cp1251FromUtf8(utf8);
  if (!name) throw StorageError("database is damaged: a name cannot be read");
  return *std::move(name);
}

std::string EncodeChunk(const CHDBFolder& folder, std::uint32_t chunk) {
  return EncodeSlots(folder.Entries().SlotsOf(chunk),
                     [&](std::string& out, const CHDBFolderEntry& entry, std::uint32_t slot) {
                       PutEntry(out, entry, folder.Label(chunk * kSlotsPerChunk + slot));
                     });
}

std::string EncodeChunk(const IdList& list, std::uint32_t chunk) {
  const auto put = [](std::string& out, const IdListElement& element, std::uint32_t) {
    const bool other_space = element.object.space != kFolderSpace;
    if (other_space) {
      out += '[';
      PutNumber(out, element.object.space);
      out += ',';
    }
    PutNumber(out, element.object.number);
    if (other_space) out += ']';
  };
  return EncodeSlots(list.SlotsOf(chunk), put);
}

std::string EncodeChunk(const PairList& list, std::uint32_t chunk) {
  const auto put = [](std::string& out, const PairValue& value, std::uint32_t) {
    out += '[';
    PutNumber(out, value.first);
    out += ',';
    PutNumber(out, value.second);
    out += ',';
    PutNumber(out, value.kind);
    out += ']';
  };
  return EncodeSlots(list.SlotsOf(chunk), put);
}

std::string EncodeDefinition(const CHDBDefinition& definition) {
  std::string out = "[";
  for (std::uint32_t value :
       {definition.number, definition.kind, definition.length, definition.tag, definition.flags}) {
    if (out.size() > 1) out += ',';
    PutNumber(out, value);
  }
  return out + "]";
}

EntrySlots DecodeEntries(std::string_view text) {
  EntrySlots slots;
  DecodeSlots(text, slots, [&](Reader& in) { return TakeEntry(in, slots.Size(), slots.labels); });
  return slots;
}

Slots<IdListElement> DecodeIds(std::string_view text) {
  Slots<IdListElement> slots;
  DecodeSlots(text, slots, TakeId);
  return slots;
}

Slots<PairValue> DecodePairs(std::string_view text) {
  Slots<PairValue> slots;
  DecodeSlots(text, slots, TakePair);
  return slots;
}

CHDBDefinition DecodeDefinition(std::string_view name, std::uint32_t what, std::string_view text) {
  CHDBDefinition definition;
  definition.what = static_cast<CHDBDefinition::What>(what);
  definition.name = name;
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
