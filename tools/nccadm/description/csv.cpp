#include "description/csv.h"

#include <algorithm>
#include <utility>

#include "console/text.h"

namespace ncc::tool {
namespace {

char FindDelimiter(std::string_view text) {
  const std::size_t start = std::min(text.find_first_not_of("\r\n"), text.size());
  const std::string_view line = text.substr(start, text.find('\n', start) - start);
  char best = ',';
  for (const char candidate : {';', '\t'}) {
    const auto count = [&line](char c) { return std::count(line.begin(), line.end(), c); };
    if (count(candidate) > count(best)) best = candidate;
  }
  return best;
}

class CsvReader {
 public:
  CsvReader(std::string_view text, ProblemList& problems)
      : text_(text), delimiter_(FindDelimiter(text)), problems_(problems) {}

  std::vector<CsvRow> Run() {
    std::vector<CsvRow> rows;
    while (at_ < text_.size() && problems_.Empty()) {
      CsvRow row = ReadRow();
      const bool blank = row.size() == 1 && row.front().text.empty();
      if (!blank) rows.push_back(std::move(row));
    }
    return rows;
  }

 private:
  bool AtEnd() const { return at_ >= text_.size(); }
  bool AtLineEnd() const { return AtEnd() || text_[at_] == '\n' || text_.substr(at_, 2) == "\r\n"; }

  Place Here() {
    column_ += Width(text_.substr(counted_, at_ - counted_));
    counted_ = at_;
    return {line_, static_cast<int>(column_)};
  }

  void Step() {
    if (text_[at_++] != '\n') return;
    ++line_;
    counted_ = at_;
    column_ = 0;
  }

  void SkipBlanks() {
    while (!AtEnd() && (text_[at_] == ' ' || text_[at_] == '\t') && text_[at_] != delimiter_) ++at_;
  }

  CsvRow ReadRow() {
    CsvRow row;
    for (;;) {
      row.push_back(ReadCell());
      if (AtEnd() || text_[at_] != delimiter_) break;
      ++at_;
    }
    while (!AtEnd() && text_[at_] == '\r') ++at_;
    if (!AtEnd()) Step();
    return row;
  }

  CsvCell ReadCell() {
    SkipBlanks();
    CsvCell cell{{}, Here()};
    if (!AtEnd() && text_[at_] == '"') {
      ReadQuoted(cell);
      return cell;
    }
    while (!AtLineEnd() && text_[at_] != delimiter_) cell.text += text_[at_++];
    cell.text.erase(cell.text.find_last_not_of(" \t") + 1);
    return cell;
  }

  void ReadQuoted(CsvCell& cell) {
    for (++at_; !AtEnd();) {
      if (text_[at_] != '"') {
        cell.text += text_[at_];
        Step();
      } else if (text_.substr(at_, 2) == "\"\"") {
        cell.text += '"';
        at_ += 2;
      } else {
        ++at_;
        SkipBlanks();
        if (AtLineEnd() || text_[at_] == delimiter_) return;
        problems_.Add(Here(), "text behind a field in quotes");
        at_ = text_.size();
        return;
      }
    }
    problems_.Add(cell.place, "this quote is never closed");
  }

  std::string_view text_;
  char delimiter_;
  ProblemList& problems_;
  std::size_t at_ = 0;
  int line_ = 1;
  std::size_t column_ = 0;   // characters of the line
  std::size_t counted_ = 0;  // up to here
};

}  // namespace

std::vector<CsvRow> ReadCsv(std::string_view text, ProblemList& problems) {
  return CsvReader(text, problems).Run();
}

}  // namespace ncc::tool
