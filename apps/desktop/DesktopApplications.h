// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The applications of a machine, read from its desktop entries.
#ifndef APPLIST_DESKTOP_DESKTOPAPPLICATIONS_H
#define APPLIST_DESKTOP_DESKTOPAPPLICATIONS_H

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

}  // namespace applist

#endif
