// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The applications of a machine, read from its desktop entries.
#ifndef APPLIST_DESKTOP_DESKTOPAPPLICATIONS_H
#define APPLIST_DESKTOP_DESKTOPAPPLICATIONS_H

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "AppList.h"

namespace applist {

// One application: its name in the user's language, and the identifier of its desktop entry.
class DesktopApplication : public AppListItem {
 public:
  DesktopApplication(std::string name, std::string id)
      : m_name(std::move(name)), m_id(std::move(id)) {}

  std::string GetVisibleName() override { return m_name; }
  std::string GetUnigueId() override { return m_id; }

 private:
  std::string m_name;
  std::string m_id;
};

// The applications that a user of this machine is shown, sorted by name. The language is that of
// the process's locale.
std::vector<DesktopApplication> InstalledApplications();

// The same for the desktop entries in one folder.
std::vector<DesktopApplication> ApplicationsIn(const std::string& folder);

// Tells when applications are installed, removed or changed.
class ApplicationsMonitor {
 public:
  // `changed` is called from GLib's main context of this thread, once for several changes at a
  // time. It has to read InstalledApplications() again: nothing more is told before that.
  explicit ApplicationsMonitor(std::function<void()> changed);
  ~ApplicationsMonitor();
  ApplicationsMonitor(const ApplicationsMonitor&) = delete;
  ApplicationsMonitor& operator=(const ApplicationsMonitor&) = delete;

 private:
  struct Watch;
  std::unique_ptr<Watch> m_watch;
};

}  // namespace applist

#endif
