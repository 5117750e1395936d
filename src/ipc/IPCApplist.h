// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The endpoint: puts the message identifier on every outgoing frame, cuts it off every incoming
// one, and calls the registered handler.
//
// A frame is the payload followed by the identifier as a signed 32-bit little-endian integer.
// Replies are not framed.
#ifndef APPLIST_IPC_IPCAPPLIST_H
#define APPLIST_IPC_IPCAPPLIST_H

#include <cstddef>
#include <string>
#include <vector>

#include "common/Log.h"

// BASE_CLASS is the transport: constructible from the service name, with
// `std::vector<char> SendMessage(std::vector<char>&)` and the virtual functions overridden below;
// for SendNotification also `void SendNotification(std::vector<char>&)`. Nothing else is asked of
// it, so the functions below say `virtual` rather than `override`. T is the class of the handlers.
//
// A handler is an object, borrowed, and a member function; there is at most one of each kind, and
// a second registration replaces the first. Handlers run on whichever thread the transport
// delivers on. The endpoint takes no lock: register and unregister only while nothing can be
// delivered. It throws nothing of its own; what a handler or the transport throws comes through.
template <class BASE_CLASS, class T>
class IPCApplist : public BASE_CLASS {
 public:
  // Connects the transport. No handler is registered.
  IPCApplist()
      : BASE_CLASS("Applist"),
        callbackMessageObject(nullptr),
        callbackNotificationObject(nullptr),
        connectionReadyCallbackObject(nullptr) {
    APPLIST_LOG(DLOG_DEBUG, "IPCApplist");
  }

  // Ends the connection. Unregisters nothing.
  virtual ~IPCApplist() {}

  // `proc` answers function messages; what it returns is the reply.
  void RegisterOnMessage(T* object, std::vector<char> (T::*proc)(int messageId,
                                                                 const std::vector<char>& data)) {
    callbackMessageObject = object;
    callbackMessageProc = proc;
  }

  // Forgets the handler if it belongs to `object`, and does nothing otherwise.
  void UnregisterOnMessage(T* object) {
    if (object == callbackMessageObject) {
      callbackMessageObject = nullptr;
      APPLIST_LOG(DLOG_INFO, "Unregistered callbackMessageObject");
    }
  }

  // `proc` receives notifications.
  void RegisterOnNotification(T* object,
                              void (T::*proc)(int messageId, const std::vector<char>& data)) {
    callbackNotificationObject = object;
    callbackNotificationProc = proc;
  }

  // As UnregisterOnMessage.
  void UnregisterOnNotification(T* object) {
    if (object == callbackNotificationObject) {
      callbackNotificationObject = nullptr;
      APPLIST_LOG(DLOG_INFO, "Unregistered callbackNotificationObject");
    }
  }

  // `proc` hears that the partner of the given name is there. That it is gone is only logged.
  void RegisterOnConnectionReady(T* object, void (T::*proc)(const std::string& partner)) {
    connectionReadyCallbackObject = object;
    connectionReadyCallbackProc = proc;
  }

  // As UnregisterOnMessage.
  void UnregisterOnConnectionReady(T* object) {
    if (object == connectionReadyCallbackObject) {
      connectionReadyCallbackObject = nullptr;
      APPLIST_LOG(DLOG_INFO, "Unregistered connectionReadyCallbackObject");
    }
  }

  // Called by the transport for each function message. Cuts the identifier off `data` and returns
  // the handler's answer; an empty reply when no handler is registered, or when `data` is shorter
  // than an identifier and so left as it is.
  virtual std::vector<char> HandleMessage(std::vector<char>& data) {
    APPLIST_LOG(DLOG_DEBUG, "IPC HandleMessage");
    int messageId = 0;
    if (!CutMessageId(data, messageId)) {
      APPLIST_LOG(DLOG_ERROR, "Data corrupted. Does not contain message id.");
      return std::vector<char>();
    }
    if (callbackMessageObject != nullptr) {
      return (callbackMessageObject->*callbackMessageProc)(messageId, data);
    }
    APPLIST_LOG(DLOG_INFO, "callbackMessageObject object is NULL");
    return std::vector<char>();
  }

  // Called by the transport for each notification. Cuts the identifier off `data` as above.
  virtual void HandleNotification(std::vector<char>& data) {
    APPLIST_LOG(DLOG_DEBUG, "IPC HandleNotification");
    int messageId = 0;
    if (!CutMessageId(data, messageId)) {
      APPLIST_LOG(DLOG_ERROR, "Data corrupted. Does not contain message id.");
      return;
    }
    if (callbackNotificationObject != nullptr) {
      (callbackNotificationObject->*callbackNotificationProc)(messageId, data);
      return;
    }
    APPLIST_LOG(DLOG_INFO, "callbackNotificationObject object is NULL");
  }

  // Sends one function message and returns the reply as the transport gives it. With a length of
  // zero the pointer is not read. Any thread that the transport allows.
  std::vector<char> SendMessage(int messageId, const char* messageData, size_t messageDataLen) {
    std::vector<char> messageVector = Frame(messageId, messageData, messageDataLen);
    return BASE_CLASS::SendMessage(messageVector);
  }

  // Sends one notification.
  void SendNotification(int messageId, const std::string& data) {
    std::vector<char> messageVector = Frame(messageId, data.data(), data.size());
    BASE_CLASS::SendNotification(messageVector);
  }

  // Called by the transport when the partner appears or goes.
  virtual void HandleConnectionReady(bool state, const std::string& partner) {
    APPLIST_LOGF(DLOG_DEBUG, "HandleConnectionReady state=%d, partner=%s", state ? 1 : 0,
                 partner.c_str());
    if (state && connectionReadyCallbackObject != nullptr) {
      APPLIST_LOG(DLOG_DEBUG, "Calling connection ready callback");
      (connectionReadyCallbackObject->*connectionReadyCallbackProc)(partner);
    }
  }

 private:
  // An identifier and its bytes in memory order.
  union byteint {
    char b[4];
    int i;
  };
  static_assert(sizeof(int) == 4, "the identifier travels as four bytes");
#if defined(__BYTE_ORDER__)
  static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
                "the identifier travels little-endian, and is copied in memory order");
#endif

  static std::vector<char> Frame(int messageId, const char* messageData, size_t messageDataLen) {
    byteint conv;
    conv.i = messageId;
    std::vector<char> messageVector;
    messageVector.reserve(messageDataLen + sizeof(conv.b));
    if (messageDataLen != 0) {
      messageVector.assign(messageData, messageData + messageDataLen);
    }
    for (char byte : conv.b) {
      messageVector.push_back(byte);
    }
    return messageVector;
  }

  // Moves the identifier from the end of `data` to `messageId`. Returns false, with both
  // unchanged, when `data` is too short to hold one.
  static bool CutMessageId(std::vector<char>& data, int& messageId) {
    byteint conv;
    if (data.size() < sizeof(conv.b)) {
      return false;
    }
    const size_t payloadLen = data.size() - sizeof(conv.b);
    for (size_t k = 0; k < sizeof(conv.b); ++k) {
      conv.b[k] = data[payloadLen + k];
    }
    data.resize(payloadLen);
    messageId = conv.i;
    return true;
  }

  T* callbackMessageObject;
  std::vector<char> (T::*callbackMessageProc)(int messageId, const std::vector<char>& data);
  T* callbackNotificationObject;
  void (T::*callbackNotificationProc)(int messageId, const std::vector<char>& data);
  T* connectionReadyCallbackObject;
  void (T::*connectionReadyCallbackProc)(const std::string& partner);
};

#endif
