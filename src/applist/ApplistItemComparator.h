// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// Item identity: the one predicate by which the model finds an item in its list.
#ifndef APPLIST_APPLIST_APPLISTITEMCOMPARATOR_H
#define APPLIST_APPLIST_APPLISTITEMCOMPARATOR_H

#include "AppList.h"

// Accepts every item that has the identifier of the reference item. Neither may be null. Both
// identifiers are asked for at each comparison: the predicate keeps nothing but the borrowed
// pointer.
class ApplistItemComparator {
 public:
  // `item` is the reference, borrowed for as long as the predicate is used.
  ApplistItemComparator(AppListItem* item) : m_item(item) {}

  // Whether `item` has the identifier of the reference.
  bool operator()(AppListItem* item) {
    const std::string reference = m_item->GetUnigueId();
    const std::string candidate = item->GetUnigueId();
    return reference == candidate;
  }

 private:
  AppListItem* m_item;
};

#endif
