#include "description/yaml_writer.h"

#include <algorithm>
#include <array>
#include <utility>

#include "console/text.h"

namespace ncc::tool {
namespace {

constexpr std::string_view kHardBlank = "\xC2\xA0";  // would look like any other

// Plain is what every reader of YAML takes for text: it begins with a letter, holds nothing with a
// meaning and is not a word for a truth value or for nothing.
bool IsPlain(std::string_view utf8) {
  static constexpr std::array<std::string_view, 9> kWords = {"true", "false", "yes", "no", "on",
                                                             "off",  "null",  "y",   "n"};
  const std::string folded = FoldName(utf8);
  if (std::find(kWords.begin(), kWords.end(), folded) != kWords.end()) return false;
  const auto is_letter = [](char c) {
    return (c >= 'a' && c <= 'z') || (static_cast<unsigned char>(c) & 0x80U) != 0;
  };
  const auto is_plain = [&](char c) {
    return is_letter(c) || (c >= '0' && c <= '9') || c == '_' || c == '-' || c == '.' || c == ' ';
  };
  // U+00A0 and the like, which look like blanks, begin with C2; Cyrillic letters never do.
  return !folded.empty() && is_letter(folded.front()) && folded.back() != ' ' &&
         folded.find('\xC2') == std::string::npos && folded.find("  ") == std::string::npos &&
         std::all_of(folded.begin(), folded.end(), is_plain);
}

// The text as it can stand in a document.
std::string Plain(std::string_view utf8) {
  if (IsPlain(utf8)) return std::string(utf8);
  std::string quoted = "\"";
  for (std::size_t i = 0; i < utf8.size(); ++i) {
    if (utf8.substr(i, kHardBlank.size()) == kHardBlank) {
      quoted += "\\xa0";
      ++i;
      continue;
    }
    if (utf8[i] == '"' || utf8[i] == '\\') quoted += '\\';
    quoted += utf8[i];
  }
  return quoted += '"';
}

}  // namespace

void YamlWriter::BeginItem() {
  Open& open = open_.back();
  const bool on_line = open.form == Form::kFlow || behind_dash_;
  if (open.form == Form::kFlow && !open.empty) out_ += ", ";
  if (!on_line && !out_.empty()) out_.append("\n").append(open.indent, ' ');
  open.empty = false;
  behind_dash_ = false;
}

void YamlWriter::BeginValue(bool on_line) {
  if (behind_key_) {
    if (on_line) out_ += ' ';
  } else if (!open_.empty()) {
    BeginItem();
    if (open_.back().form == Form::kBlock) {
      out_ += "- ";
      behind_dash_ = true;
    }
  }
  behind_key_ = false;
}

void YamlWriter::Begin(Form form, char bracket) {
  BeginValue(form == Form::kFlow);
  if (form == Form::kFlow) {
    out_ += bracket;
    behind_dash_ = false;
  }
  open_.push_back({form, bracket, open_.empty() ? 0 : open_.back().indent + 2});
}

void YamlWriter::End() {
  const Open& open = open_.back();
  if (open.form == Form::kFlow) out_ += open.bracket == '{' ? '}' : ']';
  open_.pop_back();
}

void YamlWriter::Key(std::string_view key) {
  BeginItem();
  out_.append(key).append(":");
  behind_key_ = true;
}

void YamlWriter::Word(std::string_view word) {
  BeginValue(true);
  behind_dash_ = false;
  out_ += word;
}

void YamlWriter::TextKey(std::string_view utf8) { Key(Plain(utf8)); }
void YamlWriter::Text(std::string_view utf8) { Word(Plain(utf8)); }

std::string YamlWriter::Finish() {
  out_ += '\n';
  return std::exchange(out_, {});
}

}  // namespace ncc::tool
