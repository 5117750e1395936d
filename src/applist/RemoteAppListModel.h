// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The application list of a user interface, kept in step with a remote side.
#ifndef APPLIST_APPLIST_REMOTEAPPLISTMODEL_H
#define APPLIST_APPLIST_REMOTEAPPLISTMODEL_H

#include <string>
#include <vector>

#include "AppList.h"
#include "applist/RemoteAppListItem.h"
#include "common/Export.h"
#include "common/PTMutex.h"
#include "ipc/IPCApplist.h"
#include "ipc/javamw-dbus-remote.h"

// AppListModel tells what each operation does. What is added here is how the two sides meet:
//
// Out: an operation changes the list or the selection and builds its message under the lock, gives
// the lock back, and then sends. Two operations on two threads change the list in the order of the
// lock, but their messages may reach the remote side the other way round.
//
// In: the transport delivers the remote side's events to OnNotificationReceive. A selection event
// is answered by asking for the remote selection; a created event by sending the whole list and
// the selection, since the remote side starts empty. The remote side's list is never fetched.
//
// The lock covers the list and the selection, and is never held while a message is sent or a
// listener runs. It is held while items are asked for their strings; what they throw then leaves
// it locked. The registries of listeners are covered by nothing.
class APPLIST_EXPORT RemoteAppListModel : public AppListModel {
 public:
  // Starts empty and connects. Sends nothing and calls nobody.
  RemoteAppListModel();

  // Disconnects. Sends nothing, calls no listener, frees no item and no listener.
  ~RemoteAppListModel() override;

  void SetSelection(AppListItem* selection) override;
  AppListItem* GetSelection() override;
  std::vector<AppListItem*> GetAllItems() override;
  void SetClicked(AppListItem* item) override;
  void RemoveAllItems() override;
  void AddItems(const std::vector<AppListItem*>& items) override;
  void AddItemAtEnd(AppListItem* item) override;
  void RemoveItem(AppListItem* item) override;
  void ModifyItem(AppListItem* oldItem, AppListItem* newItem) override;
  int GetItemsCount() override;
  void AddItemSelectionListener(ItemSelectionListener* listener) override;
  void RemoveItemSelectionListener(ItemSelectionListener* listener) override;
  void AddItemChangeListener(ItemChangeListener* listener) override;
  void RemoveItemChangeListener(ItemChangeListener* listener) override;
  void AddItemClickedListener(ItemClickListener* listener) override;
  void RemoveItemClickedListener(ItemClickListener* listener) override;

  // Handles one event of the remote side; the endpoint calls it. `messageId` is an _EVENT of
  // AppListRemoteControl, anything else is logged and ignored; the payload is not read.
  void OnNotificationReceive(int messageId, const std::vector<char>& responceData);

 private:
  // One item, and items back to back. No item may be null.
  std::string Serialize(AppListItem* item);
  std::string Serialize(const std::vector<AppListItem*>& items);

  // The items of a payload, up to the first one that is malformed or cut short.
  std::vector<RemoteAppListItem> Deserialize(const std::vector<char>& data);

  // Sends a function message and drops the reply. Sends nothing when `data` is empty.
  void SendMessageToRemote(int message, const std::string& data);

  // The two requests without a payload.
  std::vector<char> GetRemoteSelectionData();
  void RemoveRemoteAllItems();

  std::vector<AppListItem*> m_items;
  AppListItem* m_selectedItem;
  PTMutex m_mutex;
  std::vector<ItemSelectionListener*> m_selectionListener;
  std::vector<ItemChangeListener*> m_itemListener;
  std::vector<ItemClickListener*> m_clickListener;
  IPCApplist<JavaMWDbusRemote, RemoteAppListModel> m_IPC;
};

#endif
