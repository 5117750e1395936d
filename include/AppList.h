// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The application list as a user interface sees it: items, the list model and its listeners.
//
// Items and listeners are borrowed. The model keeps the pointers that its caller hands in and never
// copies, frees or takes over what they point to; the caller keeps an item alive while it is in the
// list or selected, and a listener alive while it is registered.
//
// Two items are the same item when their unique identifiers are equal byte for byte. The visible
// name and the address of the object play no part.
//
// No operation throws on bad input or returns an error: a null item, or one that is not in the
// list, leaves everything as it was. What the standard library or an item's own getters throw comes
// through, and leaves the model unusable from then on unless an operation says otherwise.
#ifndef APPLIST_APPLIST_H
#define APPLIST_APPLIST_H

#include <string>
#include <vector>

#include "common/Export.h"

class AppListModel;

// Hears that the remote side changed the selection. The model has taken the new selection over by
// then: ask it with GetSelection().
//
// All three listeners are called on the thread that delivers the remote side's messages, with no
// lock held, so a listener may call any operation of the model, except registering or unregistering
// a listener of its own kind.
class APPLIST_EXPORT ItemSelectionListener {
 public:
  // `model` is the one that the listener is registered with; ask it for what is selected now.
  virtual void ItemSelected(AppListModel* model) = 0;
  virtual ~ItemSelectionListener() {}
};

// Hears that the items of the remote side changed.
class APPLIST_EXPORT ItemChangeListener {
 public:
  // `model` is the one that the listener is registered with; its own list is as it was.
  virtual void ItemChanged(AppListModel* model) = 0;
  virtual ~ItemChangeListener() {}
};

// Hears that an item was clicked on the remote side.
class APPLIST_EXPORT ItemClickListener {
 public:
  // `model` is the one that the listener is registered with. Which item it was is not told.
  virtual void ItemClicked(AppListModel* model) = 0;
  virtual ~ItemClickListener() {}
};

// One application of the list, implemented by the user interface.
//
// The model calls both getters freely, on whichever thread calls the model or delivers a message,
// also while it holds its lock: they must be cheap, must return the same string every time, must
// not throw and must not call the model.
class APPLIST_EXPORT AppListItem {
 public:
  // The name to show, any bytes.
  virtual std::string GetVisibleName() = 0;

  // The identifier, any bytes. An item with an empty identifier can be listed but not selected.
  virtual std::string GetUnigueId() = 0;

  virtual ~AppListItem() {}
};

// The list, its selection and its clicks, kept in step with the remote side.
//
// Every operation that changes something changes the local list first and then tells the remote
// side, waiting for its answer; with no remote side it takes effect locally all the same. None of
// them calls a listener: listeners hear only of what the remote side announces.
//
// The operations on items may be called from any thread at any time. Listeners are registered and
// unregistered only while no message of the remote side can be delivered on another thread.
class APPLIST_EXPORT AppListModel {
 public:
  // Makes `selection` the selected item, whether or not it is in the list, and tells the remote
  // side. A null item, or one with an empty identifier, changes nothing: the selection stays.
  virtual void SetSelection(AppListItem* selection) = 0;

  // Returns the selected item, or null when nothing is selected.
  virtual AppListItem* GetSelection() = 0;

  // Returns a snapshot of the list in display order. Later changes do not touch it.
  virtual std::vector<AppListItem*> GetAllItems() = 0;

  // Tells the remote side that `item` was clicked, whether or not it is in the list. A null item
  // does nothing. Changes nothing locally.
  virtual void SetClicked(AppListItem* item) = 0;

  // Empties the list, clears the selection and tells the remote side, also when the list was empty.
  virtual void RemoveAllItems() = 0;

  // Appends those of `items` whose identifier is not in the list yet, and sends all of `items` to
  // the remote side. An empty vector does nothing. `items` must not hold a null pointer.
  virtual void AddItems(const std::vector<AppListItem*>& items) = 0;

  // Appends `item`, also when its identifier is in the list already, and tells the remote side. A
  // null item does nothing.
  virtual void AddItemAtEnd(AppListItem* item) = 0;

  // Removes the first item that has the identifier of `item`, and the selection with it when that
  // very item was selected, and tells the remote side. Does nothing when there is none.
  virtual void RemoveItem(AppListItem* item) = 0;

  // Puts `newItem` in the place of the first item that has the identifier of `oldItem`, hands the
  // selection on to it when that very item was selected, and tells the remote side. Does nothing
  // when there is none, or when either item is null.
  virtual void ModifyItem(AppListItem* oldItem, AppListItem* newItem) = 0;

  // Returns the number of items in the list.
  virtual int GetItemsCount() = 0;

  // Adds a listener behind those of its kind. Listeners are called in the order in which they were
  // added. One that is there already is not added again. Must not be null.
  virtual void AddItemSelectionListener(ItemSelectionListener* listener) = 0;

  // Removes a listener, which is not called any more from then on. Does nothing when it is not
  // there.
  virtual void RemoveItemSelectionListener(ItemSelectionListener* listener) = 0;

  // As AddItemSelectionListener.
  virtual void AddItemChangeListener(ItemChangeListener* listener) = 0;

  // As RemoveItemSelectionListener.
  virtual void RemoveItemChangeListener(ItemChangeListener* listener) = 0;

  // As AddItemSelectionListener.
  virtual void AddItemClickedListener(ItemClickListener* listener) = 0;

  // As RemoveItemSelectionListener.
  virtual void RemoveItemClickedListener(ItemClickListener* listener) = 0;

  virtual ~AppListModel() {}
};

#endif
