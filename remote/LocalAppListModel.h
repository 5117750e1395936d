// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The remote side's model of the application list: what a middleware process keeps and shows.
#ifndef APPLIST_LOCALAPPLISTMODEL_H
#define APPLIST_LOCALAPPLISTMODEL_H

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "applist/RemoteAppListItem.h"
#include "common/Export.h"
#include "dbus/JavaMWDbusLocal.h"
#include "ipc/IPCApplist.h"

// Holds the list that the user interface sends, the selection and the last click, as values, and
// tells the user interface what became of them. A program makes one, runs the event loop of the
// thread that made it, and asks or changes it on that thread.
//
// The list mirrors the user interface's own rules, so that both lists are equal after every
// message. When a user interface appears, or another takes its place, the list is dropped and the
// user interface asked for its own.
//
// A message that cannot be decoded whole, or that is not known, changes nothing and is answered by
// an error.
class LocalAppListModel {
 public:
  // Items by value, in display order.
  using ItemList = std::vector<RemoteAppListItem>;

  // What an observer hears of.
  enum class Change { Items, Selection, Click, Connection };

  // Connects. Never fails and never waits: with no bus or no user interface, the list stays empty.
  APPLIST_EXPORT LocalAppListModel();
  APPLIST_EXPORT ~LocalAppListModel();
  LocalAppListModel(const LocalAppListModel&) = delete;
  LocalAppListModel& operator=(const LocalAppListModel&) = delete;

  // `observer` is called after each change, on the loop's thread. It may ask the model anything,
  // but must not change it.
  void Observe(std::function<void(Change)> observer) { m_observer = std::move(observer); }

  // The list in display order; valid until the next message or change.
  const ItemList& Items() const { return m_items; }

  // The item that was selected last, on either side, if one is; valid until the next message or
  // change.
  const std::optional<RemoteAppListItem>& Selection() const { return m_selection; }

  // The item that was clicked last, on either side, whether or not it is in the list.
  const std::optional<RemoteAppListItem>& LastClicked() const { return m_lastClicked; }

  // Whether a user interface is there.
  bool IsConnected() const { return m_connected; }

  // The remote side selects by itself: the first item with this identifier. The user interface is
  // told. Returns false, with nothing changed, when the list has no such item, or when the
  // identifier is empty.
  APPLIST_EXPORT bool Select(const std::string& id);

  // The remote side clicks by itself: the first item with this identifier. The user interface is
  // told. Returns false, with nothing changed, when the list has no such item.
  APPLIST_EXPORT bool Click(const std::string& id);

  // The link to the user interface, for a program that shares its connection.
  DbusLink& Link() { return m_IPC.Link(); }

 private:
  // The endpoint, which passes on also that the user interface is gone.
  class Endpoint : public IPCApplist<JavaMWDbusLocal, LocalAppListModel> {
   public:
    explicit Endpoint(LocalAppListModel* model) : m_model(model) {}
    void HandleConnectionReady(bool state, const std::string& partner) override;

   private:
    LocalAppListModel* m_model;
  };

  // How far the list of a user interface that has just appeared is in: see Announce. Unasked is
  // one that could not be asked for.
  enum class Filling { Done, Unasked, Expected, Begun, Unsure };

  std::vector<char> OnMessageReceive(int messageId, const std::vector<char>& data);
  std::vector<char> Apply(int messageId, const std::vector<char>& data);
  void OnConnection(bool state);
  void Announce();

  void SetSelection(RemoteAppListItem item);
  void RemoveAllItems();
  void AddItems(const std::vector<char>& data);
  bool SkipKnown(ItemList& items, bool keep);
  void AddItemAtEnd(const RemoteAppListItem& item);
  void SetClicked(RemoteAppListItem item);
  void RemoveItem(RemoteAppListItem item);
  void ModifyItem(RemoteAppListItem oldItem, const RemoteAppListItem& newItem);

  ItemList::iterator Find(const std::string& id);
  void ChangeSelection(std::optional<RemoteAppListItem> selection);
  void Tell(int event, Change change);

  ItemList m_items;
  std::optional<RemoteAppListItem> m_selection;
  std::optional<RemoteAppListItem> m_lastClicked;
  bool m_connected = false;
  Filling m_filling = Filling::Done;
  // The last whole list that held an identifier twice.
  std::vector<char> m_doubtful;
  std::function<void(Change)> m_observer;
  Endpoint m_IPC;
};

#endif
