// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "LocalAppListModel.h"

#include <algorithm>
#include <iterator>
#include <sstream>
#include <string_view>
#include <unordered_set>
#include <utility>

#include "common/AppListRemoteControl.h"
#include "common/Log.h"
#include "dbus/DbusLink.h"
#include "dbus/LinkRefusal.h"

namespace {

// The items of a payload that is one item after another and nothing else. A stream keeps a lack of
// memory to itself, as a bad bit, unless told otherwise: it would pass for a malformed payload
// here, and for the whole list in Encode.
std::vector<RemoteAppListItem> Decode(const std::vector<char>& data) {
  std::istringstream in(std::string(data.begin(), data.end()));
  in.exceptions(std::ios_base::badbit);
  std::vector<RemoteAppListItem> items;
  while (in.peek() != std::istringstream::traits_type::eof()) {
    RemoteAppListItem item;
    if (!(in >> item)) {
      throw LinkRefusal("BadPayload",
                        "The payload is malformed behind item " + std::to_string(items.size()));
    }
    items.push_back(std::move(item));
  }
  return items;
}

std::vector<RemoteAppListItem> DecodeCount(const std::vector<char>& data, size_t count) {
  std::vector<RemoteAppListItem> items = Decode(data);
  if (items.size() != count) {
    throw LinkRefusal("BadPayload", "The payload holds " + std::to_string(items.size()) +
                                        " items instead of " + std::to_string(count));
  }
  return items;
}

RemoteAppListItem DecodeOne(const std::vector<char>& data) {
  return DecodeCount(data, 1).front();
}

void ExpectEmpty(const std::vector<char>& data) {
  if (!data.empty()) {
    throw LinkRefusal("BadPayload", "The message has no payload, but " +
                                        std::to_string(data.size()) + " bytes came with it");
  }
}

std::vector<char> Encode(const std::vector<RemoteAppListItem>& items) {
  std::ostringstream out;
  out.exceptions(std::ios_base::badbit);
  for (const RemoteAppListItem& item : items) {
    out << item;
  }
  const std::string bytes = out.str();
  return std::vector<char>(bytes.begin(), bytes.end());
}

}  // namespace

LocalAppListModel::LocalAppListModel() : m_IPC(this) {
  m_IPC.RegisterOnMessage(this, &LocalAppListModel::OnMessageReceive);
}

LocalAppListModel::~LocalAppListModel() = default;

bool LocalAppListModel::Select(const std::string& id) {
  const auto found = Find(id);
  if (id.empty() || found == m_items.end()) {
    return false;
  }
  ChangeSelection(*found);
  return true;
}

bool LocalAppListModel::Click(const std::string& id) {
  const auto found = Find(id);
  if (found == m_items.end()) {
    return false;
  }
  SetClicked(*found);
  return true;
}

void LocalAppListModel::Endpoint::HandleConnectionReady(bool state, const std::string& partner) {
  IPCApplist::HandleConnectionReady(state, partner);
  m_model->OnConnection(state);
}

void LocalAppListModel::OnConnection(bool state) {
  m_connected = state;
  if (state) {
    m_selection.reset();
    m_doubtful.clear();
    Announce();
  }
  if (m_observer) {
    m_observer(Change::Connection);
  }
}

// Drops the list and has the user interface send its own. What it sent before it heard of us was
// meant for a list that we do not have, and nothing in a message tells it from what came after. But
// a list that arrives as the first change is in its place, and without a list there was nothing to
// send; so only a list that follows other changes is in doubt, and then we start over. The user
// interface has heard us once it answers what we ask behind the announcement.
//
// Starting over keeps the selection: the user interface may be about to ask for it, and would lose
// its own to an empty answer. At the end both sides agree on it once more.
//
// Where memory is too short even for that, it is made up for with the next message.
void LocalAppListModel::Announce() {
  const bool hadItems = !m_items.empty();
  m_items.clear();
  m_filling = Filling::Unasked;
  if (hadItems && m_observer) {
    m_observer(Change::Items);
  }
  m_IPC.SendNotification(APPLIST_LOCAL_CREATED_EVENT, "");
  Link().WhenPartnerHasCaughtUp([this, selected = m_selection.has_value()] {
    const bool again = m_filling == Filling::Unsure || m_filling == Filling::Unasked;
    m_filling = Filling::Done;
    if (again) {
      Announce();
    } else if (selected && m_selection) {
      const auto listed = Find(m_selection->GetUnigueId());
      ChangeSelection(listed != m_items.end() ? std::make_optional(*listed) : std::nullopt);
    }
  });
  m_filling = Filling::Expected;
}

// A message that fails for want of memory may be half applied, and the user interface has done its
// part already: the whole list is asked for anew.
std::vector<char> LocalAppListModel::OnMessageReceive(int messageId,
                                                      const std::vector<char>& data) {
  try {
    if (m_filling == Filling::Unasked) {
      Announce();
    }
    return Apply(messageId, data);
  } catch (const LinkRefusal&) {
    throw;
  } catch (...) {
    Announce();
    throw;
  }
}

std::vector<char> LocalAppListModel::Apply(int messageId, const std::vector<char>& data) {
  switch (messageId) {
    case APPLIST_SET_SELECTION_FNC:
      SetSelection(DecodeOne(data));
      break;
    case APPLIST_GET_SELECTION_FNC:
      ExpectEmpty(data);
      return m_selection ? Encode({*m_selection}) : std::vector<char>();
    case APPLIST_GET_ALL_ITEMS_FNC:
      ExpectEmpty(data);
      return Encode(m_items);
    case APPLIST_REMOVE_ALL_ITEMS_FNC:
      ExpectEmpty(data);
      RemoveAllItems();
      break;
    case APPLIST_ADD_ITEMS_FNC:
      AddItems(data);
      break;
    case APPLIST_ADD_ITEM_AT_END_FNC:
      AddItemAtEnd(DecodeOne(data));
      break;
    case APPLIST_SET_CLICKED_FNC:
      SetClicked(DecodeOne(data));
      break;
    case APPLIST_REMOVE_ITEM_FNC:
      RemoveItem(DecodeOne(data));
      break;
    case APPLIST_MODIFY_ITEM_FNC: {
      const ItemList items = DecodeCount(data, 2);
      ModifyItem(items.front(), items.back());
      break;
    }
    default:
      throw LinkRefusal("UnknownMessage",
                        "The message identifier " + std::to_string(messageId) + " is not known");
  }
  return std::vector<char>();
}

// A selection of something that is not here is refused, and the user interface told to ask what is
// selected, so that it falls back to what is held here.
void LocalAppListModel::SetSelection(RemoteAppListItem item) {
  const std::string id = item.GetUnigueId();
  if (!Select(id)) {
    m_IPC.SendNotification(APPLIST_ITEM_SELECTION_EVENT, "");
    throw LinkRefusal("NotInList", "An item that is not in the list cannot be selected");
  }
}

void LocalAppListModel::RemoveAllItems() {
  const bool hadItems = !m_items.empty();
  m_items.clear();
  if (hadItems) {
    Tell(APPLIST_ITEM_CHANGE_EVENT, Change::Items);
  }
  if (m_selection) {
    ChangeSelection(std::nullopt);
  }
}

// Skips what is in the list already, as the user interface does. Its whole list may hold an
// identifier twice all the same, and is taken as it is; but what it only adds to an empty list
// looks alike, so such a list is believed when it comes again.
void LocalAppListModel::AddItems(const std::vector<char>& data) {
  ItemList items = Decode(data);
  if (items.empty()) {
    throw LinkRefusal("BadPayload", "The payload holds no item");
  }
  const bool whole = m_filling == Filling::Expected;
  const bool repeats = SkipKnown(items, whole);
  if (m_filling == Filling::Begun || (whole && repeats && data != m_doubtful)) {
    m_filling = Filling::Unsure;
    m_doubtful = data;
  }
  if (!items.empty()) {
    m_items.insert(m_items.end(), std::make_move_iterator(items.begin()),
                   std::make_move_iterator(items.end()));
    Tell(APPLIST_ITEM_CHANGE_EVENT, Change::Items);
  }
}

// Takes those out of `items` whose identifier is in the list or stands before them, unless `keep`.
// Returns whether there are any.
bool LocalAppListModel::SkipKnown(ItemList& items, bool keep) {
  std::unordered_set<std::string_view> ids;
  ids.reserve(m_items.size() + items.size());
  for (const RemoteAppListItem& item : m_items) {
    ids.insert(item.UniqueId());
  }
  std::vector<bool> known;
  known.reserve(items.size());
  for (const RemoteAppListItem& item : items) {
    known.push_back(!ids.insert(item.UniqueId()).second);
  }
  const bool some = std::find(known.begin(), known.end(), true) != known.end();
  if (some && !keep) {
    auto next = known.begin();
    const auto end = std::remove_if(items.begin(), items.end(),
                                    [&next](const RemoteAppListItem&) { return *next++; });
    items.erase(end, items.end());
  }
  return some;
}

void LocalAppListModel::AddItemAtEnd(const RemoteAppListItem& item) {
  m_items.push_back(item);
  Tell(APPLIST_ITEM_CHANGE_EVENT, Change::Items);
}

void LocalAppListModel::SetClicked(RemoteAppListItem item) {
  m_lastClicked = std::move(item);
  Tell(APPLIST_ITEM_CLICKED_EVENT, Change::Click);
}

void LocalAppListModel::RemoveItem(RemoteAppListItem item) {
  const std::string id = item.GetUnigueId();
  const auto found = Find(id);
  if (found == m_items.end()) {
    return;
  }
  m_items.erase(found);
  Tell(APPLIST_ITEM_CHANGE_EVENT, Change::Items);
  if (m_selection && m_selection->GetUnigueId() == id) {
    ChangeSelection(std::nullopt);
  }
}

void LocalAppListModel::ModifyItem(RemoteAppListItem oldItem, const RemoteAppListItem& newItem) {
  const std::string id = oldItem.GetUnigueId();
  const auto found = Find(id);
  if (found == m_items.end()) {
    return;
  }
  *found = newItem;
  Tell(APPLIST_ITEM_CHANGE_EVENT, Change::Items);
  if (m_selection && m_selection->GetUnigueId() == id) {
    ChangeSelection(newItem);
  }
}

std::vector<RemoteAppListItem>::iterator LocalAppListModel::Find(const std::string& id) {
  return std::find_if(m_items.begin(), m_items.end(),
                      [&id](const RemoteAppListItem& item) { return item.UniqueId() == id; });
}

void LocalAppListModel::ChangeSelection(std::optional<RemoteAppListItem> selection) {
  m_selection = std::move(selection);
  Tell(APPLIST_ITEM_SELECTION_EVENT, Change::Selection);
}

void LocalAppListModel::Tell(int event, Change change) {
  if (change == Change::Items && m_filling == Filling::Expected) {
    m_filling = Filling::Begun;
  }
  m_IPC.SendNotification(event, "");
  if (m_observer) {
    m_observer(change);
  }
}
