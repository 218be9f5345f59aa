#include "files/stamp_check.h"

#include <algorithm>
#include <utility>

#include <fmt/format.h>

#include "console/text.h"
#include "files/package.h"

namespace ncc::tool {
namespace {

struct Line {
  std::size_t at = 0;
  std::string key;
  std::string value;
};

// "KEY=VALUE", ended in LF or CR LF. Nothing for a line that has another form.
std::optional<Line> ParseLine(std::string_view text, std::size_t at) {
  if (text.ends_with('\r')) text.remove_suffix(1);
  const std::size_t equals = text.rfind('=');
  if (equals == std::string_view::npos) return std::nullopt;
  return Line{at, std::string(text.substr(0, equals)), std::string(text.substr(equals + 1))};
}

std::optional<std::uint32_t> ParseStamp(const std::string& digits) {
  constexpr std::size_t kDigits = 8;
  if (digits.size() != kDigits) return std::nullopt;
  const auto stamp = ParseNumber("0x" + digits, 0xFFFFFFFF);
  return stamp ? std::optional(static_cast<std::uint32_t>(*stamp)) : std::nullopt;
}

class Check {
 public:
  Check(const std::string& name, std::string_view bytes, const Stamper& stamper,
        const StampOf& stamp_of)
      : name_(name), bytes_(bytes), stamper_(stamper), stamp_of_(stamp_of) {}

  void CheckList();
  void CheckRegistration();
  void CheckTunnels();
  StampFindings TakeFindings() { return std::move(findings_); }

 private:
  std::vector<Line> ReadLines(bool all_must_be);
  std::uint32_t OfBytesBefore(const Line& line) {
    return stamper_.OfBytes(bytes_.substr(0, line.at));
  }
  void Compare(const Line& line, const std::string& file, std::optional<std::uint32_t> found);
  void Malformed(std::string text) {
    findings_.problems.push_back({name_, StampFault::kMalformed, 0, 0, std::move(text)});
  }

  const std::string& name_;
  std::string_view bytes_;
  const Stamper& stamper_;
  const StampOf& stamp_of_;
  StampFindings findings_;
};

std::vector<Line> Check::ReadLines(bool all_must_be) {
  std::vector<Line> lines;
  int number = 0;
  for (std::size_t at = 0; at < bytes_.size();) {
    const std::size_t end = std::min(bytes_.find('\n', at), bytes_.size());
    ++number;
    if (auto line = ParseLine(bytes_.substr(at, end - at), at)) {
      lines.push_back(std::move(*line));
    } else if (all_must_be) {
      Malformed(fmt::format("line {} is no line NAME=STAMP", number));
    }
    at = end + 1;
  }
  return lines;
}

void Check::Compare(const Line& line, const std::string& file, std::optional<std::uint32_t> found) {
  ++findings_.stamps;
  const auto listed = ParseStamp(line.value);
  if (!listed) return Malformed(fmt::format("\"{}={}\" has no stamp", line.key, line.value));
  // What was not there when the stamps were made has zeros.
  if (!found && *listed == 0) return;
  if (!found) {
    findings_.problems.push_back({file, StampFault::kMissing, *listed, 0, {}});
  } else if (*found != *listed) {
    const StampFault fault = *listed == 0 ? StampFault::kUnstamped : StampFault::kDiffers;
    findings_.problems.push_back({file, fault, *listed, *found, {}});
  } else {
    findings_.right.push_back(file);
  }
}

void Check::CheckList() {
  const std::vector<Line> lines = ReadLines(true);
  const std::string own = FoldName(name_);
  if (lines.empty() || FoldName(lines.back().key) != own) {
    Malformed("the list does not end in the line about itself");
  }
  for (const Line& line : lines) {
    if (FoldName(line.key) == own) {
      Compare(line, name_, OfBytesBefore(line));
    } else if (const std::string why = NameProblem(line.key); !why.empty()) {
      Malformed(fmt::format("a name in the list {}", why));
    } else {
      Compare(line, line.key, stamp_of_(line.key));
    }
  }
}

void Check::CheckRegistration() {
  const std::string stem = name_.substr(0, name_.size() - 4);
  const std::vector<Line> lines = ReadLines(true);
  for (const auto& [key, extension] :
       {std::pair("MAPCRC", ".map"), {"XNWCRC", ".xnw"}, {"NODCRC", nullptr}, {"TUNCRC", ".tun"}}) {
    const Line* found = nullptr;
    for (const Line& line : lines) {
      if (line.key == key) found = &line;
    }
    if (found == nullptr) {
      Malformed(fmt::format("there is no line {}", key));
    } else if (extension == nullptr) {
      Compare(*found, name_, OfBytesBefore(*found));
    } else {
      Compare(*found, stem + extension, stamp_of_(stem + extension));
    }
  }
}

// Empty ones, of APs, have no stamp.
void Check::CheckTunnels() {
  if (bytes_.empty()) return;
  const std::vector<Line> lines = ReadLines(false);
  if (lines.empty() || lines.back().key != "TUNNEL.REG") {
    Malformed("the file does not end in the line TUNNEL.REG");
  } else {
    Compare(lines.back(), name_, OfBytesBefore(lines.back()));
  }
}

}  // namespace

std::string TextOf(const StampProblem& problem) {
  switch (problem.fault) {
    case StampFault::kDiffers:
      return fmt::format("{} differs: its stamp is {:08X}, listed is {:08X}", problem.file,
                         problem.found, problem.listed);
    case StampFault::kMissing:
      return fmt::format("{} is missing", problem.file);
    case StampFault::kUnstamped:
      return fmt::format("{} has zeros in the list: it was not stamped, empty or missing then",
                         problem.file);
    case StampFault::kMalformed:
      return problem.text;
  }
  return {};
}

Json StampProblemJson(const StampProblem& problem) {
  constexpr const char* kNames[] = {"differs", "missing", "unstamped", "malformed"};
  Json json = {{"file", problem.file},
               {"problem", kNames[static_cast<std::size_t>(problem.fault)]},
               {"text", TextOf(problem)}};
  if (problem.fault == StampFault::kDiffers || problem.fault == StampFault::kUnstamped) {
    json["listed"] = fmt::format("{:08X}", problem.listed);
    json["found"] = fmt::format("{:08X}", problem.found);
  }
  return json;
}

bool HoldsStamps(const std::string& name) {
  const std::string folded = FoldName(name);
  return folded.size() > 4 &&
         (folded.ends_with(FoldName(".crg")) || folded.ends_with(FoldName(".reg")) ||
          folded.ends_with(FoldName(".tun")));
}

StampFindings CheckStamps(const std::string& name, std::string_view bytes, const Stamper& stamper,
                          const StampOf& stamp_of) {
  Check check(name, bytes, stamper, stamp_of);
  const std::string folded = FoldName(name);
  if (folded.ends_with(FoldName(".reg"))) {
    check.CheckRegistration();
  } else if (folded.ends_with(FoldName(".tun"))) {
    check.CheckTunnels();
  } else {
    check.CheckList();
  }
  return check.TakeFindings();
}

}  // namespace ncc::tool
