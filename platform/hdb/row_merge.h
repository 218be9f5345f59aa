// Taking back what a unit did to a row, though later ones may have gone on with it.
#pragma once

#include "platform/storage/row.h"

#include <functional>
#include <optional>
#include <string>

namespace ncc {

// What becomes of a data image that went from `before` to `after` and further to `now` when the
// first step is taken back; nothing when later ones have changed the same.
using MergeData =
    std::function<std::optional<std::string>(const RowKey& key, const std::string& before,
                                             const std::string& after, const std::string& now)>;

// The same for a row, nothing standing for none. Elements of lists are told apart by their
// positions, notes by their keys. False when later steps have changed the same; `now` stays then.
bool TakeBackRow(const RowKey& key, const std::optional<Row>& before,
                 const std::optional<Row>& after, std::optional<Row>& now, const MergeData& merge);

// Whether two states of a row hold the same, wherever in their lists holes are.
bool HoldSame(const std::optional<Row>& one, const std::optional<Row>& other);

}  // namespace ncc
