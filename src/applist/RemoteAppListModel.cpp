// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "applist/RemoteAppListModel.h"

#include <algorithm>
#include <sstream>

#include "applist/ApplistItemComparator.h"
#include "common/AppListRemoteControl.h"
#include "common/Log.h"

namespace {

// Calls one operation of a listener with the model, for std::for_each over a registry.
template <class T>
class EventAppListModelSend {
 public:
  EventAppListModelSend(void (T::*method)(AppListModel*), AppListModel* model)
      : m_method(method), m_model(model) {}
  ~EventAppListModelSend() {}

  void operator()(T* object) { (object->*m_method)(m_model); }

 private:
  void (T::*m_method)(AppListModel*);
  AppListModel* m_model;
};

template <class T>
void Register(std::vector<T*>& registry, T* listener) {
  if (std::find(registry.begin(), registry.end(), listener) == registry.end()) {
    registry.push_back(listener);
  }
}

template <class T>
void Unregister(std::vector<T*>& registry, T* listener) {
  const auto itr = std::find(registry.begin(), registry.end(), listener);
  if (itr != registry.end()) {
    registry.erase(itr);
  }
}

}  // namespace

RemoteAppListModel::RemoteAppListModel() : m_selectedItem(nullptr) {
  m_IPC.RegisterOnNotification(this, &RemoteAppListModel::OnNotificationReceive);
}

RemoteAppListModel::~RemoteAppListModel() {
  m_IPC.UnregisterOnNotification(this);
  m_mutex.Lock();
  m_selectedItem = nullptr;
  m_items.clear();
  m_mutex.Unlock();
}

void RemoteAppListModel::SetSelection(AppListItem* selection) {
  APPLIST_LOGF(DLOG_DEBUG, "SetSelection: %p", static_cast<void*>(selection));
  m_mutex.Lock();
  std::string data;
  if (selection != nullptr && !selection->GetUnigueId().empty()) {
    m_selectedItem = selection;
    data = Serialize(selection);
    APPLIST_LOGF(DLOG_DEBUG, "Selected item name: %s, uniqueId: %s",
                 m_selectedItem->GetVisibleName().c_str(), m_selectedItem->GetUnigueId().c_str());
  }
  m_mutex.Unlock();
  SendMessageToRemote(APPLIST_SET_SELECTION_FNC, data);
}

AppListItem* RemoteAppListModel::GetSelection() {
  PTAutoLock lockScope(m_mutex);
  return m_selectedItem;
}

std::vector<AppListItem*> RemoteAppListModel::GetAllItems() {
  PTAutoLock lockScope(m_mutex);
  return m_items;
}

// No lock: a click touches no state of the model.
void RemoteAppListModel::SetClicked(AppListItem* item) {
  APPLIST_LOGF(DLOG_DEBUG, "SetClicked: %p", static_cast<void*>(item));
  if (item == nullptr) {
    return;
  }
  SendMessageToRemote(APPLIST_SET_CLICKED_FNC, Serialize(item));
}

void RemoteAppListModel::RemoveAllItems() {
  APPLIST_LOG(DLOG_DEBUG, "RemoveAllItems");
  m_mutex.Lock();
  m_selectedItem = nullptr;
  m_items.clear();
  m_mutex.Unlock();
  RemoveRemoteAllItems();
}

// The whole of `items` is sent, also what was skipped here: the remote side skips by the same rule.
void RemoteAppListModel::AddItems(const std::vector<AppListItem*>& items) {
  APPLIST_LOGF(DLOG_DEBUG, "AddItems number of items: %d", static_cast<int>(items.size()));
  m_mutex.Lock();
  std::string data;
  for (AppListItem* item : items) {
    if (item != nullptr && std::find_if(m_items.begin(), m_items.end(),
                                        ApplistItemComparator(item)) == m_items.end()) {
      m_items.push_back(item);
    }
  }
  APPLIST_LOGF(DLOG_DEBUG, "Adding remote items. Items count: %d", static_cast<int>(items.size()));
  data = Serialize(items);
  m_mutex.Unlock();
  SendMessageToRemote(APPLIST_ADD_ITEMS_FNC, data);
}

void RemoteAppListModel::AddItemAtEnd(AppListItem* item) {
  APPLIST_LOGF(DLOG_DEBUG, "AddItemAtEnd: %p", static_cast<void*>(item));
  m_mutex.Lock();
  std::string data;
  if (item != nullptr) {
    m_items.push_back(item);
    data = Serialize(item);
  }
  m_mutex.Unlock();
  SendMessageToRemote(APPLIST_ADD_ITEM_AT_END_FNC, data);
}

void RemoteAppListModel::RemoveItem(AppListItem* item) {
  APPLIST_LOGF(DLOG_DEBUG, "RemoveItem: %p", static_cast<void*>(item));
  m_mutex.Lock();
  std::string data;
  if (item != nullptr) {
    const auto itr = std::find_if(m_items.begin(), m_items.end(), ApplistItemComparator(item));
    if (itr != m_items.end()) {
      APPLIST_LOGF(DLOG_DEBUG, "Removing item name: %s, uniqueId: %s",
                   (*itr)->GetVisibleName().c_str(), (*itr)->GetUnigueId().c_str());
      if (m_selectedItem == *itr) {
        APPLIST_LOG(DLOG_DEBUG, "Removed item were selected. Removed selection");
        m_selectedItem = nullptr;
      }
      m_items.erase(itr);
      data = Serialize(item);
    }
  }
  m_mutex.Unlock();
  SendMessageToRemote(APPLIST_REMOVE_ITEM_FNC, data);
}

void RemoteAppListModel::ModifyItem(AppListItem* oldItem, AppListItem* newItem) {
  APPLIST_LOGF(DLOG_DEBUG, "ModifyItem oldItem: %p, newItem: %p", static_cast<void*>(oldItem),
               static_cast<void*>(newItem));
  m_mutex.Lock();
  std::string data;
  if (oldItem != nullptr && newItem != nullptr) {
    const auto itr = std::find_if(m_items.begin(), m_items.end(), ApplistItemComparator(oldItem));
    if (itr != m_items.end()) {
      APPLIST_LOGF(DLOG_DEBUG, "Replacing item name: %s, uniqueId: %s with name: %s, uniqueId: %s",
                   (*itr)->GetVisibleName().c_str(), (*itr)->GetUnigueId().c_str(),
                   newItem->GetVisibleName().c_str(), newItem->GetUnigueId().c_str());
      if (m_selectedItem == *itr) {
        APPLIST_LOG(DLOG_DEBUG, "Item that is being modified were selected. Modified selection");
        m_selectedItem = newItem;
      }
      *itr = newItem;
      data = Serialize(oldItem);
      data += Serialize(newItem);
    }
  }
  m_mutex.Unlock();
  SendMessageToRemote(APPLIST_MODIFY_ITEM_FNC, data);
}

int RemoteAppListModel::GetItemsCount() {
  PTAutoLock lockScope(m_mutex);
  return static_cast<int>(m_items.size());
}

void RemoteAppListModel::AddItemSelectionListener(ItemSelectionListener* listener) {
  APPLIST_LOG(DLOG_DEBUG, "AddItemSelectionListener");
  Register(m_selectionListener, listener);
}

void RemoteAppListModel::RemoveItemSelectionListener(ItemSelectionListener* listener) {
  Unregister(m_selectionListener, listener);
}

void RemoteAppListModel::AddItemChangeListener(ItemChangeListener* listener) {
  APPLIST_LOG(DLOG_DEBUG, "AddItemChangeListener");
  Register(m_itemListener, listener);
}

void RemoteAppListModel::RemoveItemChangeListener(ItemChangeListener* listener) {
  Unregister(m_itemListener, listener);
}

void RemoteAppListModel::AddItemClickedListener(ItemClickListener* listener) {
  APPLIST_LOG(DLOG_DEBUG, "AddItemClickedListener");
  Register(m_clickListener, listener);
}

void RemoteAppListModel::RemoveItemClickedListener(ItemClickListener* listener) {
  Unregister(m_clickListener, listener);
}

// The log speaks as the remote side does, which calls itself the local model.
void RemoteAppListModel::OnNotificationReceive(int messageId,
                                               const std::vector<char>& /*responceData*/) {
  switch (messageId) {
    case APPLIST_ITEM_SELECTION_EVENT: {
      APPLIST_LOG(DLOG_DEBUG, "Getting remote selection");
      const std::vector<char> data = GetRemoteSelectionData();
      m_mutex.Lock();
      m_selectedItem = nullptr;
      std::vector<RemoteAppListItem> items = Deserialize(data);
      if (items.empty()) {
        APPLIST_LOG(DLOG_DEBUG,
                    "Received empty data from APPLIST_GET_SELECTION_FNC. Selected item is NULL");
      } else {
        const auto itr =
            std::find_if(m_items.begin(), m_items.end(), ApplistItemComparator(&items.front()));
        if (itr != m_items.end()) {
          APPLIST_LOGF(DLOG_DEBUG, "Found selected item on list. Name: %s, uniqueId: %s",
                       (*itr)->GetVisibleName().c_str(), (*itr)->GetUnigueId().c_str());
          m_selectedItem = *itr;
        }
      }
      m_mutex.Unlock();
      APPLIST_LOGF(DLOG_DEBUG, "ItemSelectionEvent from local model. Listeners :%d",
                   static_cast<int>(m_selectionListener.size()));
      std::for_each(
          m_selectionListener.begin(), m_selectionListener.end(),
          EventAppListModelSend<ItemSelectionListener>(&ItemSelectionListener::ItemSelected, this));
      break;
    }
    case APPLIST_ITEM_CHANGE_EVENT:
      APPLIST_LOGF(DLOG_DEBUG, "ItemChageEvent from local model. Listeners :%d",
                   static_cast<int>(m_itemListener.size()));
      std::for_each(
          m_itemListener.begin(), m_itemListener.end(),
          EventAppListModelSend<ItemChangeListener>(&ItemChangeListener::ItemChanged, this));
      break;
    case APPLIST_ITEM_CLICKED_EVENT:
      APPLIST_LOGF(DLOG_DEBUG, "ItemClickedEvent from local model. Listeners :%d",
                   static_cast<int>(m_clickListener.size()));
      std::for_each(
          m_clickListener.begin(), m_clickListener.end(),
          EventAppListModelSend<ItemClickListener>(&ItemClickListener::ItemClicked, this));
      break;
    case APPLIST_LOCAL_CREATED_EVENT: {
      m_mutex.Lock();
      APPLIST_LOGF(DLOG_DEBUG, "LocalCreatedEvent from local model. Number of items to add :%d",
                   static_cast<int>(m_items.size()));
      std::string addItemsData;
      std::string selectionData;
      if (!m_items.empty()) {
        APPLIST_LOGF(DLOG_DEBUG, "Adding remote items. Items count: %d",
                     static_cast<int>(m_items.size()));
        addItemsData = Serialize(m_items);
        APPLIST_LOGF(DLOG_DEBUG, "Setting remote selection: %p",
                     static_cast<void*>(m_selectedItem));
        if (m_selectedItem != nullptr && !m_selectedItem->GetUnigueId().empty()) {
          selectionData = Serialize(m_selectedItem);
        }
      }
      m_mutex.Unlock();
      SendMessageToRemote(APPLIST_ADD_ITEMS_FNC, addItemsData);
      SendMessageToRemote(APPLIST_SET_SELECTION_FNC, selectionData);
      break;
    }
    default:
      APPLIST_LOGF(DLOG_DEBUG, "Message received with unknown id=%d", messageId);
      break;
  }
}

std::string RemoteAppListModel::Serialize(AppListItem* item) {
  APPLIST_LOGF(DLOG_DEBUG, "Serialize item: %p", static_cast<void*>(item));
  const RemoteAppListItem remoteItem(*item);
  std::ostringstream out;
  out << remoteItem;
  return out.str();
}

// The count in the log is that of the model's own list, which tells a push from an addition.
std::string RemoteAppListModel::Serialize(const std::vector<AppListItem*>& items) {
  APPLIST_LOGF(DLOG_DEBUG, "Number of items to serialize: %d", static_cast<int>(m_items.size()));
  std::string serializeData;
  for (AppListItem* item : items) {
    APPLIST_LOGF(DLOG_DEBUG, " - AppListItem name: %s, uniqueId: %s",
                 item->GetVisibleName().c_str(), item->GetUnigueId().c_str());
    serializeData += Serialize(item);
  }
  return serializeData;
}

// An item counts only if the stream is still good behind it, the end of the data included: what
// ran into the end was cut short.
std::vector<RemoteAppListItem> RemoteAppListModel::Deserialize(const std::vector<char>& data) {
  APPLIST_LOGF(DLOG_DEBUG, "Deserialize data length: %d", static_cast<int>(data.size()));
  std::vector<RemoteAppListItem> items;
  RemoteAppListItem remoteItem;
  std::istringstream in(std::string(data.begin(), data.end()));
  while ((in >> remoteItem) && in.good()) {
    items.push_back(remoteItem);
    APPLIST_LOGF(DLOG_DEBUG, " - RemoteAppListItem name: %s, uniqueId: %s",
                 remoteItem.GetVisibleName().c_str(), remoteItem.GetUnigueId().c_str());
  }
  return items;
}

void RemoteAppListModel::SendMessageToRemote(int message, const std::string& data) {
  APPLIST_LOGF(DLOG_DEBUG, "SendMessageToRemote data length: %d", static_cast<int>(data.size()));
  if (data.empty()) {
    return;
  }
  m_IPC.SendMessage(message, data.data(), data.size());
}

std::vector<char> RemoteAppListModel::GetRemoteSelectionData() {
  APPLIST_LOG(DLOG_DEBUG, "Get remote selection data");
  return m_IPC.SendMessage(APPLIST_GET_SELECTION_FNC, nullptr, 0);
}

void RemoteAppListModel::RemoveRemoteAllItems() {
  m_IPC.SendMessage(APPLIST_REMOVE_ALL_ITEMS_FNC, nullptr, 0);
}
