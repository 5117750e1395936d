// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "WalkThrough.h"

#include <poll.h>
#include <systemd/sd-event.h>

#include <chrono>
#include <csignal>
#include <cstdio>
#include <stdexcept>

using applist::DesktopApplication;

namespace {

constexpr std::chrono::seconds kDeadline(60);
constexpr int kMomentMilliseconds = 10;

// Signals that end the walk come from the loop.
constexpr int kEndingSignals[] = {SIGINT, SIGTERM, SIGHUP};

std::string Printable(std::string text) {
  for (char& byte : text) {
    if (static_cast<unsigned char>(byte) < 0x20 || byte == 0x7F) {
      byte = '?';
    }
  }
  return text;
}

}  // namespace

void WalkThrough::BlockEndingSignals() {
  sigset_t ending;
  sigemptyset(&ending);
  for (const int number : kEndingSignals) {
    sigaddset(&ending, number);
  }
  sigprocmask(SIG_BLOCK, &ending, nullptr);
}

WalkThrough::WalkThrough(std::string daemon, std::vector<DesktopApplication> applications)
    : m_daemonPath(std::move(daemon)),
      m_applications(std::move(applications)),
      m_remote(m_bus.Address()) {
  sd_event* event = nullptr;
  sd_event_default(&event);
  for (const int number : kEndingSignals) {
    sd_event_add_signal(
        event, nullptr, number,
        [](sd_event_source*, const struct signalfd_siginfo* info, void* received) {
          *static_cast<int*>(received) = static_cast<int>(info->ssi_signo);
          return 0;
        },
        &m_signal);
  }
  sd_event_unref(event);
  m_bus.UseAsSessionBus();
  StartDaemon();
  m_model = std::make_unique<RemoteAppListModel>();
  m_model->AddItemSelectionListener(this);
  m_model->AddItemClickedListener(this);
}

WalkThrough::~WalkThrough() = default;

int WalkThrough::Run() {
  int number = 0;
  for (const Step& step : Steps()) {
    std::printf("%2d  %-41s", ++number, step.text.c_str());
    std::fflush(stdout);
    const bool equal = Play(step);
    if (m_signal != 0) {
      std::printf("  interrupted\n");
      return 128 + m_signal;
    }
    if (!equal) {
      std::printf("\nStep %d, \"%s\", differed.\n", number, step.text.c_str());
      return 1;
    }
  }
  std::printf(
      "\nAfter each of the %d steps both sides held the same items, in order and names,"
      " and the same selection.\n",
      number);
  return 0;
}

std::vector<WalkThrough::Step> WalkThrough::Steps() {
  DesktopApplication* const first = &m_applications.front();
  DesktopApplication* const second = &m_applications[1];
  DesktopApplication* const last = &m_applications.back();
  const auto lastClicked = [this](DesktopApplication* item) {
    return m_remoteState.lastClicked == item->GetUnigueId();
  };
  return {
      {"start with nothing", [] {}, [this] { return m_remoteState.connected; }},
      {"add the list",
       [=] {
         for (DesktopApplication& application : m_applications) {
           if (&application != last) {
             m_expected.push_back(&application);
           }
         }
         m_model->AddItems(m_expected);
       },
       nullptr},
      {"append one",
       [=] {
         m_expected.push_back(last);
         m_model->AddItemAtEnd(last);
       },
       nullptr},
      {"select the first", [=] { Select(first); }, nullptr},
      {"move the selection to the second", [=] { Select(second); }, nullptr},
      {"click it", [=] { m_model->SetClicked(second); },
       [=] { return m_clicksHeard == 1 && lastClicked(second); }},
      {"rename it",
       [=] {
         m_renamed = std::make_unique<DesktopApplication>(second->GetVisibleName() + " (renamed)",
                                                          second->GetUnigueId());
         m_expected[1] = m_renamed.get();
         m_expectedSelection = m_renamed.get();
         m_model->ModifyItem(second, m_renamed.get());
       },
       nullptr},
      {"remove the first",
       [=] {
         m_expected.erase(m_expected.begin());
         m_model->RemoveItem(first);
       },
       nullptr},
      {"the remote side selects the last",
       [=] {
         m_selectionsHeard = 0;
         m_expectedSelection = last;
         m_remote.Select(last->GetUnigueId());
       },
       [this] { return m_selectionsHeard >= 1; }},
      {"the remote side clicks it", [=] { m_remote.Click(last->GetUnigueId()); },
       [=] { return m_clicksHeard == 2 && lastClicked(last); }},
      {"the remote side restarts and is filled", [this] { StartDaemon(); },
       [this] { return m_remoteState.connected && m_remoteState.lastClicked.empty(); }},
      {"remove everything",
       [this] {
         m_expected.clear();
         m_expectedSelection = nullptr;
         m_model->RemoveAllItems();
       },
       nullptr},
  };
}

void WalkThrough::Select(DesktopApplication* application) {
  m_expectedSelection = application;
  m_model->SetSelection(application);
}

// Acts, then waits until both sides hold what they should: what the remote side tells the user
// interface is still under way when an operation returns.
bool WalkThrough::Play(const Step& step) {
  try {
    step.act();
  } catch (const std::runtime_error& e) {
    std::printf("  %s", e.what());
    return false;
  }
  const auto deadline = std::chrono::steady_clock::now() + kDeadline;
  Holding remote;
  std::string trouble;
  bool settled = false;
  while (m_signal == 0 && !(settled = Settled(step, remote, trouble)) &&
         std::chrono::steady_clock::now() < deadline) {
    WaitAMoment();
  }
  if (m_signal != 0) {
    return false;
  }
  std::printf("  here %s | there %s | %s\n", Local().Summary().c_str(), remote.Summary().c_str(),
              settled ? "equal" : "NOT AS EXPECTED");
  if (!settled && !trouble.empty()) {
    std::printf("    %s\n", trouble.c_str());
  }
  return settled;
}

bool WalkThrough::Settled(const Step& step, Holding& remote, std::string& trouble) {
  m_loop.Dispatch();
  try {
    m_remoteState = m_remote.Read();
    trouble.clear();
  } catch (const std::runtime_error& e) {
    trouble = e.what();
    return false;
  }
  remote = {m_remoteState.items, m_remoteState.selection};
  const Holding expected = Expected();
  return Local() == expected && remote == expected && (!step.also || step.also());
}

WalkThrough::Holding WalkThrough::Local() {
  Holding holding;
  for (AppListItem* item : m_model->GetAllItems()) {
    holding.items.emplace_back(item->GetUnigueId(), item->GetVisibleName());
  }
  if (AppListItem* selection = m_model->GetSelection()) {
    holding.selection = selection->GetUnigueId();
  }
  return holding;
}

WalkThrough::Holding WalkThrough::Expected() {
  Holding holding;
  for (AppListItem* item : m_expected) {
    holding.items.emplace_back(item->GetUnigueId(), item->GetVisibleName());
  }
  if (m_expectedSelection != nullptr) {
    holding.selection = m_expectedSelection->GetUnigueId();
  }
  return holding;
}

std::string WalkThrough::Holding::Summary() const {
  return std::to_string(items.size()) + (items.size() == 1 ? " item, " : " items, ") +
         (selection.empty() ? std::string("none selected") : Printable(selection));
}

void WalkThrough::StartDaemon() {
  m_daemon.reset();
  m_daemon = std::make_unique<applist::ChildProcess>(std::vector<std::string>{m_daemonPath});
}

void WalkThrough::WaitAMoment() {
  pollfd ready = {m_loop.Fd(), POLLIN, 0};
  poll(&ready, 1, kMomentMilliseconds);
}

void WalkThrough::ItemSelected(AppListModel* /*model*/) {
  ++m_selectionsHeard;
}

void WalkThrough::ItemClicked(AppListModel* /*model*/) {
  ++m_clicksHeard;
}
