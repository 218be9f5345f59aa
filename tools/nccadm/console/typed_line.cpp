#include "console/typed_line.h"

#include <utility>

#include "console/failure.h"

namespace ncc::tool {
namespace {

bool IsOneOf(std::string_view letters, char c) { return letters.find(c) != letters.npos; }

// Whether a letter means itself outside of quotes.
bool IsPlain(char c) {
  const bool is_letter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
  const bool is_digit = c >= '0' && c <= '9';
  const bool is_ascii = static_cast<unsigned char>(c) < 0x80;
  return is_letter || is_digit || !is_ascii || IsOneOf("_-+./,:@%=", c);
}

}  // namespace

TypedLine TakeApart(std::string_view line, std::string_view breaks) {
  TypedLine typed;
  std::vector<std::string>& words = typed.words;
  bool in_word = false;
  char quote = '\0';
  std::size_t before_quote = 0;
  for (std::size_t i = 0; i < line.size() && !typed.ends_in_remark; ++i) {
    const char c = line[i];
    if (quote == '\0' && IsOneOf(" \t\r\n", c)) {
      in_word = false;
      continue;
    }
    if (!in_word && c == '#') {
      typed.ends_in_remark = true;
      continue;
    }
    if (!in_word) {
      words.emplace_back();
      typed.last_part = i;
      in_word = true;
    }
    const bool is_backslash = c == '\\' && quote != '\'';
    if (quote != '\0' && c == quote) {
      quote = '\0';
      typed.last_part = before_quote;
    } else if (quote == '\0' && IsOneOf("'\"", c)) {
      quote = c;
      before_quote = typed.last_part;
      typed.last_part = i + 1;
    } else if (is_backslash && i + 1 < line.size()) {
      words.back() += line[++i];
    } else {
      words.back() += c;
      typed.ends_in_escape = is_backslash;
      if (quote == '\0' && IsOneOf(breaks, c)) typed.last_part = i + 1;
    }
  }
  typed.ends_in_word = in_word;
  typed.quote = quote;
  if (!in_word) typed.last_part = line.size();
  return typed;
}

std::vector<std::string> WordsOf(std::string_view line) {
  TypedLine typed = TakeApart(line);
  if (typed.quote != '\0') throw Failure("a quote does not end", {}, kExitUsage);
  return std::move(typed.words);
}

std::string Escaped(std::string_view text, char quote) {
  std::string escaped;
  for (const char c : text) {
    if (quote == '\'') {
      escaped += c == '\'' ? "'\\''" : std::string(1, c);
      continue;
    }
    if (quote == '"' ? IsOneOf("\"\\$`", c) : !IsPlain(c)) escaped += '\\';
    escaped += c;
  }
  return escaped;
}

}  // namespace ncc::tool
