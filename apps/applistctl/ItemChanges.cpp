// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "ItemChanges.h"

#include <algorithm>
#include <cstdint>
#include <map>

namespace {

// An identifier, and how often it comes earlier in the list.
using Key = std::pair<std::string, size_t>;

std::vector<Key> Keys(const ItemTexts& items) {
  std::map<std::string, size_t> seen;
  std::vector<Key> keys;
  keys.reserve(items.size());
  for (const auto& item : items) {
    keys.emplace_back(item.first, seen[item.first]++);
  }
  return keys;
}

std::map<Key, size_t> Places(const std::vector<Key>& keys) {
  std::map<Key, size_t> places;
  for (size_t place = 0; place < keys.size(); ++place) {
    places[keys[place]] = place;
  }
  return places;
}

// Which of these numbers, all different, belong to a longest sequence that increases.
std::vector<bool> LongestIncreasing(const std::vector<size_t>& numbers) {
  constexpr size_t kNone = SIZE_MAX;
  // For each length, where the sequence of that length with the smallest end ends.
  std::vector<size_t> ends;
  std::vector<size_t> previous(numbers.size(), kNone);
  for (size_t at = 0; at < numbers.size(); ++at) {
    const auto end =
        std::lower_bound(ends.begin(), ends.end(), numbers[at],
                         [&](size_t known, size_t number) { return numbers[known] < number; });
    previous[at] = end == ends.begin() ? kNone : *(end - 1);
    if (end == ends.end()) {
      ends.push_back(at);
    } else {
      *end = at;
    }
  }
  std::vector<bool> belongs(numbers.size(), false);
  for (size_t at = ends.empty() ? kNone : ends.back(); at != kNone; at = previous[at]) {
    belongs[at] = true;
  }
  return belongs;
}

}  // namespace

std::vector<ItemChange> ChangesBetween(const ItemTexts& before, const ItemTexts& after) {
  const std::vector<Key> keysBefore = Keys(before);
  const std::vector<Key> keysAfter = Keys(after);
  const std::map<Key, size_t> placesBefore = Places(keysBefore);
  const std::map<Key, size_t> placesAfter = Places(keysAfter);
  std::vector<ItemChange> changes;
  for (size_t place = 0; place < before.size(); ++place) {
    if (placesAfter.count(keysBefore[place]) == 0) {
      const auto& [id, name] = before[place];
      changes.push_back({ItemChange::Kind::Removed, id, name, {}, place + 1});
    }
  }
  std::vector<size_t> kept;
  for (const Key& key : keysAfter) {
    const auto found = placesBefore.find(key);
    if (found != placesBefore.end()) {
      kept.push_back(found->second);
    }
  }
  const std::vector<bool> inOrder = LongestIncreasing(kept);
  size_t nextKept = 0;
  for (size_t place = 0; place < after.size(); ++place) {
    const auto& [id, name] = after[place];
    const auto found = placesBefore.find(keysAfter[place]);
    if (found == placesBefore.end()) {
      changes.push_back({ItemChange::Kind::Added, id, name, {}, place + 1});
      continue;
    }
    const std::string& nameBefore = before[found->second].second;
    if (!inOrder[nextKept++]) {
      changes.push_back({ItemChange::Kind::Moved, id, name, {}, place + 1});
    }
    if (name != nameBefore) {
      changes.push_back({ItemChange::Kind::Renamed, id, name, nameBefore, place + 1});
    }
  }
  return changes;
}
