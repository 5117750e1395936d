// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// An item by value, and its encoding on the wire.
//
// One item is its visible name, a line feed, its unique identifier and a line feed. Inside either
// string a backslash is written as two and a line feed as a backslash and an n; every other byte
// stands for itself, zero bytes included. Items follow each other with nothing between them.
#ifndef APPLIST_APPLIST_REMOTEAPPLISTITEM_H
#define APPLIST_APPLIST_REMOTEAPPLISTITEM_H

#include <istream>
#include <ostream>
#include <string>

#include "AppList.h"
#include "common/Export.h"

// An item that holds its two strings itself. To be used by one thread at a time.
class APPLIST_EXPORT RemoteAppListItem : public AppListItem {
 public:
  // An item with an empty name and an empty identifier.
  RemoteAppListItem() = default;

  // Copies the name and the identifier of any item.
  RemoteAppListItem(AppListItem& item);

  std::string GetVisibleName() override;
  std::string GetUnigueId() override;

  // What GetUnigueId() copies. Valid until the item changes.
  const std::string& UniqueId() const { return m_uniqueId; }

  friend std::ostream& operator<<(std::ostream& out, const RemoteAppListItem& item);
  friend std::istream& operator>>(std::istream& in, RemoteAppListItem& item);

 private:
  std::string m_visibleName;
  std::string m_uniqueId;
};

// Writes one item. Unformatted: width, fill and flags of the stream change nothing.
APPLIST_EXPORT std::ostream& operator<<(std::ostream& out, const RemoteAppListItem& item);

// Reads one item and stops behind its last line feed, without looking further, so that the last
// item of a payload leaves the stream good. Unformatted: skips no white space.
//
// At the end of the data, in an item without its last line feed and at a backslash that is followed
// by anything but a backslash or an n, sets failbit (with eofbit where the data ended) and leaves
// `item` as it was.
APPLIST_EXPORT std::istream& operator>>(std::istream& in, RemoteAppListItem& item);

#endif
