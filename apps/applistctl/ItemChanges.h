// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// What became of a list between two looks at it.
#ifndef APPLIST_APPLISTCTL_ITEMCHANGES_H
#define APPLIST_APPLISTCTL_ITEMCHANGES_H

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

// Identifier and visible name of each item, in order.
using ItemTexts = std::vector<std::pair<std::string, std::string>>;

struct ItemChange {
  enum class Kind { Removed, Added, Renamed, Moved };

  Kind kind;
  std::string id;
  std::string name;
  // Of a renamed item.
  std::string nameBefore;
  // From 1: in the new list, or of a removed item in the old one.
  size_t place;
};

// The changes that make `before` into `after`: first what was removed, then for each place what
// happened there. Of items that changed their order as few as possible count as moved. Two items
// with the same identifier are told apart by their order.
std::vector<ItemChange> ChangesBetween(const ItemTexts& before, const ItemTexts& after);

#endif
