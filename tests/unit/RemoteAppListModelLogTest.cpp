// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// Every line that the model and its endpoint can log: where it says that it comes from, and its
// format before the arguments are put in.
#include <set>
#include <string>
#include <vector>

#include "support/ModelTest.h"

namespace applist_test {
namespace {

class RemoteAppListModelLog : public ModelTest {
 protected:
  // Makes the model log each of its lines at least once.
  std::vector<LogLine> EveryLine() {
    TestListener listener("listener");
    model = std::make_unique<RemoteAppListModel>();
    model->AddItemSelectionListener(&listener);
    model->AddItemChangeListener(&listener);
    model->AddItemClickedListener(&listener);
    model->AddItems({&a, &b});
    model->AddItemAtEnd(&c);
    model->SetSelection(&a);
    model->SetClicked(&a);
    model->ModifyItem(&a, &otherA);
    model->RemoveItem(&a);
    RemoteSelectionIs("Beta\nb\n");
    for (int event = 1; event <= 5; ++event) {
      Notify(event);
    }
    RemoteSelectionIs("");
    Notify(APPLIST_ITEM_SELECTION_EVENT);
    model->RemoveAllItems();
    std::vector<char> shortFrame;
    Transport().HandleNotification(shortFrame);
    Transport().HandleMessage(shortFrame);
    std::vector<char> message = Bytes(Frame("", 1));
    Transport().HandleMessage(message);
    Transport().HandleConnectionReady(true, "partner");
    model.reset();
    return TakeLogLines();
  }
};

TEST_F(RemoteAppListModelLog, EveryLineHasTheFormOfTheLog) {
  for (const LogLine& line : EveryLine()) {
    SCOPED_TRACE(line.text);
    EXPECT_EQ(line.logId, LOG_ID_MAIN);
    EXPECT_EQ(line.tag, "applist");
    EXPECT_THAT(line.format, ::testing::StartsWith(kLogPrefix));
    EXPECT_EQ(line.format.find('\n'), line.format.size() - 1);
    EXPECT_GT(line.line, 0);
    EXPECT_EQ(line.lineAgain, line.line);
    EXPECT_EQ(line.functionAgain, line.function);
  }
}

TEST_F(RemoteAppListModelLog, EveryLineNamesWhereItComesFrom) {
  std::set<std::string> lines;
  for (const LogLine& line : EveryLine()) {
    const std::string priority = line.priority == DLOG_DEBUG  ? "debug"
                                 : line.priority == DLOG_INFO ? "info"
                                                              : "error";
    const size_t prefix = std::string(kLogPrefix).size();
    lines.insert(line.file + " " + line.function + " " + priority + ": " +
                 line.format.substr(prefix, line.format.size() - prefix - 1));
  }

  const std::string endpoint = "IPCApplist.h ";
  const std::string m = "RemoteAppListModel.cpp ";
  const std::string event = m + "OnNotificationReceive debug: ";
  const std::set<std::string> expected = {
      endpoint + "IPCApplist debug: IPCApplist",
      endpoint + "UnregisterOnNotification info: Unregistered callbackNotificationObject",
      endpoint + "HandleMessage debug: IPC HandleMessage",
      endpoint + "HandleMessage error: Data corrupted. Does not contain message id.",
      endpoint + "HandleMessage info: callbackMessageObject object is NULL",
      endpoint + "HandleNotification debug: IPC HandleNotification",
      endpoint + "HandleNotification error: Data corrupted. Does not contain message id.",
      endpoint + "HandleConnectionReady debug: HandleConnectionReady state=%d, partner=%s",
      m + "AddItemSelectionListener debug: AddItemSelectionListener",
      m + "AddItemChangeListener debug: AddItemChangeListener",
      m + "AddItemClickedListener debug: AddItemClickedListener",
      m + "SetSelection debug: SetSelection: %p",
      m + "SetSelection debug: Selected item name: %s, uniqueId: %s",
      m + "SetClicked debug: SetClicked: %p",
      m + "RemoveAllItems debug: RemoveAllItems",
      m + "AddItems debug: AddItems number of items: %d",
      m + "AddItems debug: Adding remote items. Items count: %d",
      m + "AddItemAtEnd debug: AddItemAtEnd: %p",
      m + "RemoveItem debug: RemoveItem: %p",
      m + "RemoveItem debug: Removing item name: %s, uniqueId: %s",
      m + "RemoveItem debug: Removed item were selected. Removed selection",
      m + "ModifyItem debug: ModifyItem oldItem: %p, newItem: %p",
      m + "ModifyItem debug: Replacing item name: %s, uniqueId: %s with name: %s, uniqueId: %s",
      m + "ModifyItem debug: Item that is being modified were selected. Modified selection",
      m + "Serialize debug: Serialize item: %p",
      m + "Serialize debug: Number of items to serialize: %d",
      m + "Serialize debug:  - AppListItem name: %s, uniqueId: %s",
      m + "Deserialize debug: Deserialize data length: %d",
      m + "Deserialize debug:  - RemoteAppListItem name: %s, uniqueId: %s",
      m + "SendMessageToRemote debug: SendMessageToRemote data length: %d",
      m + "GetRemoteSelectionData debug: Get remote selection data",
      event + "Getting remote selection",
      event + "Received empty data from APPLIST_GET_SELECTION_FNC. Selected item is NULL",
      event + "Found selected item on list. Name: %s, uniqueId: %s",
      event + "ItemSelectionEvent from local model. Listeners :%d",
      event + "ItemChageEvent from local model. Listeners :%d",
      event + "ItemClickedEvent from local model. Listeners :%d",
      event + "LocalCreatedEvent from local model. Number of items to add :%d",
      event + "Adding remote items. Items count: %d",
      event + "Setting remote selection: %p",
      event + "Message received with unknown id=%d",
  };
  EXPECT_THAT(lines, ::testing::ContainerEq(expected));
}

}  // namespace
}  // namespace applist_test
