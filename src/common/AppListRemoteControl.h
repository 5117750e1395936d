// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The identifiers of the messages between the model and the remote side. docs/protocol.md tells
// what each one carries.
#ifndef APPLIST_COMMON_APPLISTREMOTECONTROL_H
#define APPLIST_COMMON_APPLISTREMOTECONTROL_H

// The identifier of a message: the last four bytes of its frame.
enum AppListRemoteControl {
  // Notifications of the remote side, one-way, without a payload that anybody reads.
  APPLIST_ITEM_CHANGE_EVENT = 1,
  APPLIST_ITEM_SELECTION_EVENT = 2,
  APPLIST_ITEM_CLICKED_EVENT = 3,
  APPLIST_LOCAL_CREATED_EVENT = 4,

  // Function messages of the model, each with a reply.
  APPLIST_SET_SELECTION_FNC = 2000,
  APPLIST_GET_SELECTION_FNC = 2001,
  APPLIST_GET_ALL_ITEMS_FNC = 2002,
  APPLIST_REMOVE_ALL_ITEMS_FNC = 2003,
  APPLIST_ADD_ITEMS_FNC = 2004,
  APPLIST_ADD_ITEM_AT_END_FNC = 2005,
  APPLIST_SET_CLICKED_FNC = 2006,
  APPLIST_REMOVE_ITEM_FNC = 2007,
  APPLIST_MODIFY_ITEM_FNC = 2008
};

#endif
