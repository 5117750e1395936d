// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// A model over the recording log, transport and mutex, and items and listeners for it.
#ifndef APPLIST_TESTS_SUPPORT_MODELTEST_H
#define APPLIST_TESTS_SUPPORT_MODELTEST_H

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "applist/RemoteAppListModel.h"
#include "common/AppListRemoteControl.h"
#include "support/Record.h"
#include "support/RecordingLog.h"
#include "support/RecordingMutex.h"
#include "support/RecordingTransport.h"
#include "support/TestItem.h"

namespace applist_test {

// Listens to everything. Its entries in the record are "selected NAME", "changed NAME" and "clicked
// NAME".
class TestListener : public ItemSelectionListener,
                     public ItemChangeListener,
                     public ItemClickListener {
 public:
  explicit TestListener(std::string name) : m_name(std::move(name)) {}
  void ItemSelected(AppListModel* model) override { Called("selected ", model); }
  void ItemChanged(AppListModel* model) override { Called("changed ", model); }
  void ItemClicked(AppListModel* model) override { Called("clicked ", model); }

  // Called with the model; may throw.
  std::function<void(AppListModel*)> onCall;

 private:
  void Called(const std::string& what, AppListModel* model) {
    Record(what + m_name);
    if (onCall) {
      onCall(model);
    }
  }

  std::string m_name;
};

class ModelTest : public ::testing::Test {
 protected:
  ModelTest() {
    AnswerWith(nullptr);
    ConnectWith(nullptr);
    model = std::make_unique<RemoteAppListModel>();
    TakeRecord();
    TakeLogLines();
  }

  // Runs an operation and returns what it made happen.
  template <class Operation>
  static std::vector<std::string> RecordOf(Operation operation) {
    TakeRecord();
    operation();
    return TakeRecord();
  }

  static JavaMWDbusRemote& Transport() { return *LiveTransports().back(); }

  // A notification of the remote side.
  static void Notify(int messageId, const std::string& payload = "") {
    std::vector<char> data = Bytes(Frame(payload, messageId));
    Transport().HandleNotification(data);
  }

  // Makes the remote side answer the question for its selection, and nothing else.
  static void RemoteSelectionIs(const std::string& reply) {
    AnswerWith([reply](const std::string& frame) {
      return frame == Frame("", APPLIST_GET_SELECTION_FNC) ? reply : "";
    });
  }

  // An item as %p shows it.
  static void* At(AppListItem& item) { return &item; }

  // Log lines that many operations share.
  static std::string Length(int length) {
    return Debug("SendMessageToRemote data length: %d", length);
  }
  static std::string Serialized(AppListItem& item) { return Debug("Serialize item: %p", At(item)); }
  static std::string Listed(const TestItem& item) {
    return Debug(" - AppListItem name: %s, uniqueId: %s", item.name.c_str(), item.id.c_str());
  }

  TestItem a{"Alpha", "a"};
  TestItem b{"Beta", "b"};
  TestItem c{"Gamma", "c"};
  TestItem otherA{"Other", "a"};  // The same item as `a`, another object.
  TestItem noId{"Nameless", ""};
  std::unique_ptr<RemoteAppListModel> model;
};

}  // namespace applist_test

#endif
