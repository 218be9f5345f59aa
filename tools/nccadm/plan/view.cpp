#include "plan/view.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include "console/text.h"
#include "network/object.h"

namespace ncc::tool {
namespace {

constexpr std::size_t kMostPercent = 30;

const char* ActionOf(char sign) {
  if (sign == '+') return "add";
  return sign == '-' ? "remove" : "change";
}

Style StyleOf(char sign) {
  if (sign == '+') return Style::kAdded;
  return sign == '-' ? Style::kRemoved : Style::kChanged;
}

std::string TextOf(const Detail& detail) {
  const auto quote = [&detail](const std::string& text) {
    if (!detail.are_quoted) return text;
    return text.empty() ? "none" : fmt::format("\"{}\"", text);
  };
  if (detail.sign == '+') return fmt::format("{} {}", detail.field, quote(detail.to));
  if (detail.sign == '-') return fmt::format("{} {}", detail.field, quote(detail.from));
  return fmt::format("{} {} -> {}", detail.field, quote(detail.from), quote(detail.to));
}

Json JsonOf(const Detail& detail) {
  const auto value = [&detail](const std::string& text) {
    return detail.are_quoted && text.empty() ? Json(nullptr) : Json(text);
  };
  Json json = {{"action", ActionOf(detail.sign)}, {"field", detail.field}};
  if (detail.sign != '+') json["from"] = value(detail.from);
  if (detail.sign != '-') json["to"] = value(detail.to);
  return json;
}

std::string TitleOf(const Change& change) {
  if (!change.item) return "preferences";
  return fmt::format("{} \"{}\"", WordOf(*change.item), PrintableName(change.name));
}

template <class Function>
void ForEachItem(const Plan& plan, Function function) {
  for (std::size_t i = 0; i < kItems; ++i) function(static_cast<Item>(i), plan.tallies[i]);
}

}  // namespace

void PrintChanges(Output& out, const std::vector<Change>& changes) {
  for (const Change& change : changes) {
    out.Line(out.Paint(StyleOf(change.sign), fmt::format("{} {}", change.sign, TitleOf(change))));
    for (const Detail& detail : change.details) {
      out.Line(out.Paint(StyleOf(detail.sign),
                         fmt::format("    {} {}", detail.sign, Printable(TextOf(detail)))));
    }
  }
}

Json JsonOf(const Change& change) {
  Json json = {{"action", ActionOf(change.sign)},
               {"kind", change.item ? KeyOf(KindOf(*change.item)) : "preferences"},
               {"name", Utf8FromBytes(change.name)},
               {"details", Json::array()}};
  for (const Detail& detail : change.details) json["details"].push_back(JsonOf(detail));
  return json;
}

Json TalliesJson(const Plan& plan) {
  Json json;
  ForEachItem(plan, [&json](Item item, const Tally& tally) {
    Json& counts = json[KeyOf(item)];
    counts = {{"added", tally.added}, {"changed", tally.changed}};
    if (item == Item::kAp) counts["moved"] = tally.moved;
    counts["removed"] = tally.removed;
    counts["unchanged"] = tally.unchanged;
    counts["not_in_file"] = tally.kept;
  });
  json["preferences"] = {{"changed", plan.preferences_changed}};
  return json;
}

void PrintTallies(Output& out, const Plan& plan) {
  ForEachItem(plan, [&out](Item item, const Tally& tally) {
    const std::size_t touched = tally.added + tally.changed + tally.moved + tally.removed;
    if (touched + tally.unchanged == 0) return;
    std::string line =
        fmt::format("{:<16}{} added, {} changed, ", WordOfAll(item), tally.added, tally.changed);
    if (item == Item::kAp) line += fmt::format("{} moved, ", tally.moved);
    if (tally.removed > 0) line += fmt::format("{} removed, ", tally.removed);
    out.Line(line + fmt::format("{} unchanged", tally.unchanged));
  });
  if (plan.preferences_changed > 0) {
    out.Line(fmt::format("{:<16}{} changed", "preferences", plan.preferences_changed));
  }
}

std::string SummaryOf(const Plan& plan) {
  std::vector<std::string> parts;
  const auto add = [](std::vector<std::string>& counts, std::size_t count, const char* what) {
    if (count > 0) counts.push_back(fmt::format("{} {}", count, what));
  };
  ForEachItem(plan, [&](Item item, const Tally& tally) {
    std::vector<std::string> counts;
    add(counts, tally.added, "to add");
    add(counts, tally.changed, "to change");
    add(counts, tally.moved, "to move");
    add(counts, tally.removed, "to remove");
    if (counts.empty()) return;
    parts.push_back(fmt::format("{} {}", WordOfAll(item), fmt::join(counts, ", ")));
  });
  if (plan.preferences_changed > 0) {
    parts.push_back(fmt::format("preferences {} to change", plan.preferences_changed));
  }
  if (parts.empty()) return "Plan: nothing to do.";
  return fmt::format("Plan: {}.", fmt::join(parts, "; "));
}

std::string KeptOf(const Plan& plan) {
  std::vector<std::string> parts;
  std::size_t total = 0;
  ForEachItem(plan, [&](Item item, const Tally& tally) {
    if (tally.kept > 0) parts.push_back(CountOf(tally.kept, item));
    total += tally.kept;
  });
  if (parts.empty()) return {};
  return fmt::format("{} {} not in the file; --prune removes {}.", fmt::join(parts, ", "),
                     total == 1 ? "is" : "are", total == 1 ? "it" : "them");
}

std::string MassRemovalOf(const Plan& plan) {
  std::vector<std::string> parts;
  ForEachItem(plan, [&parts](Item item, const Tally& tally) {
    if (tally.removed * 100 <= tally.before * kMostPercent) return;
    parts.push_back(fmt::format("{} of {}", tally.removed, CountOf(tally.before, item)));
  });
  if (parts.empty()) return {};
  return fmt::format("more than {} % of a kind would be removed: {}", kMostPercent,
                     fmt::join(parts, ", "));
}

}  // namespace ncc::tool
