// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// What the remote side should hold and say, reckoned a second time.
#ifndef APPLIST_TESTS_FUZZ_REMOTESIDERECKONING_H
#define APPLIST_TESTS_FUZZ_REMOTESIDERECKONING_H

#include <algorithm>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "support/PlainItem.h"

namespace applist_fuzz {

using applist_test::PlainItem;

// What becomes of a message: a reply, or a refusal and its reason.
struct Answer {
  std::string reply;
  std::string refusal;
};

inline bool operator==(const Answer& left, const Answer& right) {
  return left.reply == right.reply && left.refusal == right.refusal;
}

class RemoteSideReckoning {
 public:
  using Items = std::vector<PlainItem>;

  Answer Message(int id, const std::string& payload) {
    const std::optional<Items> items = applist_test::DecodeAll(payload);
    if (id < 2000 || id > 2008) {
      return {"", "UnknownMessage"};
    }
    if (!items || !IsCount(id, items->size())) {
      return {"", "BadPayload"};
    }
    if (id == 2001) {
      return {selection ? Encode(*selection) : "", ""};
    }
    if (id == 2002) {
      return {applist_test::Encode(list), ""};
    }
    if (id == 2000 && !Select(items->front().id)) {
      events.push_back(2);
      return {"", "NotInList"};
    }
    if (id == 2004) {
      Doubt(*items, payload);
    }
    Apply(id, *items);
    return {};
  }

  // A user interface appears. Nothing is left of the one before but its last click.
  void Connect() {
    selection.reset();
    m_doubted.clear();
    Announce();
  }

  // The user interface has worked off the announcement.
  void CatchUp() {
    m_filling = false;
    if (m_doubtful) {
      Announce();
    } else if (m_kept && selection) {
      const auto at = At(selection->id);
      selection = at != list.end() ? std::make_optional(*at) : std::nullopt;
      events.push_back(2);
    }
  }

  bool Select(const std::string& id) {
    if (id.empty() || At(id) == list.end()) {
      return false;
    }
    selection = *At(id);
    events.push_back(2);
    return true;
  }

  bool Click(const std::string& id) {
    if (At(id) == list.end()) {
      return false;
    }
    clicked = *At(id);
    events.push_back(3);
    return true;
  }

  Items list;
  std::optional<PlainItem> selection;
  std::optional<PlainItem> clicked;
  std::vector<int> events;

 private:
  static bool IsCount(int id, size_t count) {
    switch (id) {
      case 2001:
      case 2002:
      case 2003:
        return count == 0;
      case 2004:
        return count > 0;
      default:
        return count == (id == 2008 ? 2 : 1);
    }
  }

  void Apply(int id, const Items& items) {
    const PlainItem none;
    const PlainItem& item = items.empty() ? none : items.front();
    if (id == 2003) {
      RemoveAll();
    } else if (id == 2004) {
      Add(items);
    } else if (id == 2005) {
      list.push_back(item);
      Changed();
    } else if (id == 2006) {
      clicked = item;
      events.push_back(3);
    } else if (id == 2007) {
      Replace(item.id, std::nullopt);
    } else if (id == 2008) {
      Replace(item.id, items.back());
    }
  }

  void RemoveAll() {
    if (!list.empty()) {
      list.clear();
      Changed();
    }
    if (selection) {
      selection.reset();
      events.push_back(2);
    }
  }

  // A list behind an announcement is in doubt when a change came before it, and when it holds an
  // identifier twice and is not the one that was in doubt last.
  void Doubt(const Items& items, const std::string& payload) {
    if (m_filling && !m_doubtful && (m_changed || (Repeats(items) && payload != m_doubted))) {
      m_doubtful = true;
      m_doubted = payload;
    }
  }

  static bool Repeats(const Items& items) {
    std::set<std::string> ids;
    for (const PlainItem& item : items) {
      ids.insert(item.id);
    }
    return ids.size() < items.size();
  }

  // The first list behind an announcement is taken as it is, when nothing came before it.
  void Add(const Items& items) {
    const size_t before = list.size();
    const bool whole = m_filling && !m_changed;
    for (const PlainItem& item : items) {
      if (whole || At(item.id) == list.end()) {
        list.push_back(item);
      }
    }
    if (list.size() != before) {
      Changed();
    }
  }

  void Replace(const std::string& id, const std::optional<PlainItem>& item) {
    const auto found = At(id);
    if (found == list.end()) {
      return;
    }
    if (item) {
      *found = *item;
    } else {
      list.erase(found);
    }
    Changed();
    if (selection && selection->id == id) {
      selection = item;
      events.push_back(2);
    }
  }

  void Changed() {
    m_changed = true;
    events.push_back(1);
  }

  void Announce() {
    list.clear();
    m_filling = true;
    m_changed = false;
    m_doubtful = false;
    m_kept = selection.has_value();
    events.push_back(4);
  }

  Items::iterator At(const std::string& id) {
    return std::find_if(list.begin(), list.end(),
                        [&id](const PlainItem& item) { return item.id == id; });
  }

  bool m_filling = false;   // Announced, and not caught up yet.
  bool m_changed = false;   // The list changed since the announcement.
  bool m_doubtful = false;  // A list in doubt came.
  bool m_kept = false;      // Something was selected at the announcement.
  std::string m_doubted;    // The list that was in doubt last.
};

}  // namespace applist_fuzz

#endif
