// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The steps of the whole job, and what must hold after each of them.
#ifndef APPLIST_WALKTHROUGH_WALKTHROUGH_H
#define APPLIST_WALKTHROUGH_WALKTHROUGH_H

#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "applist/RemoteAppListModel.h"
#include "dbus/EventLoop.h"
#include "desktop/DesktopApplications.h"
#include "support/ChildProcess.h"
#include "support/ControlClient.h"
#include "support/PrivateBus.h"

// Owns a private bus, the daemon on it, and a user interface with its model and loop. Everything
// that it starts ends with it. SIGINT, SIGTERM and SIGHUP end the walk between two steps.
class WalkThrough : private ItemSelectionListener, private ItemClickListener {
 public:
  // To be called before anything is started, and before the construction: from then on the ending
  // signals wait for Run.
  static void BlockEndingSignals();

  // `daemon` is the path of applistd. Needs three applications or more.
  WalkThrough(std::string daemon, std::vector<applist::DesktopApplication> applications);
  ~WalkThrough() override;
  WalkThrough(const WalkThrough&) = delete;
  WalkThrough& operator=(const WalkThrough&) = delete;

  // Goes through all steps and prints a line for each. Returns the exit status: 0 when both sides
  // held the same after every step, 1 when they did not, 128 and the signal when one came.
  int Run();

 private:
  // What one side holds, and what it should.
  struct Holding {
    std::vector<std::pair<std::string, std::string>> items;
    std::string selection;

    bool operator==(const Holding& other) const {
      return items == other.items && selection == other.selection;
    }
    std::string Summary() const;
  };
  struct Step {
    std::string text;
    std::function<void()> act;
    // What must have happened besides that both sides hold the same.
    std::function<bool()> also;
  };

  std::vector<Step> Steps();
  bool Play(const Step& step);
  void Select(applist::DesktopApplication* application);
  Holding Local();
  Holding Expected();
  bool Settled(const Step& step, Holding& remote, std::string& trouble);
  void StartDaemon();
  void WaitAMoment();

  void ItemSelected(AppListModel* model) override;
  void ItemClicked(AppListModel* model) override;

  const std::string m_daemonPath;
  // In order: what the list should hold, or will.
  std::vector<applist::DesktopApplication> m_applications;
  std::unique_ptr<applist::DesktopApplication> m_renamed;
  std::vector<AppListItem*> m_expected;
  AppListItem* m_expectedSelection = nullptr;

  applist::PrivateBus m_bus;
  std::unique_ptr<applist::ChildProcess> m_daemon;
  applist::ControlClient m_remote;
  applist::ControlClient::State m_remoteState;
  EventLoop m_loop;
  std::unique_ptr<RemoteAppListModel> m_model;
  int m_selectionsHeard = 0;
  int m_clicksHeard = 0;
  int m_signal = 0;
};

#endif
