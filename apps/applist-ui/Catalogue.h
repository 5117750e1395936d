// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// The applications in the list, and those that were taken out of it.
#ifndef APPLIST_UI_CATALOGUE_H
#define APPLIST_UI_CATALOGUE_H

#include <cstddef>
#include <memory>
#include <string>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "AppList.h"
#include "desktop/DesktopApplications.h"

namespace applist_ui {

// Keeps the items that the model borrows, and changes the model's list. The order is the model's.
// An item is named by its place in the list.
class Catalogue {
 public:
  // The catalogue must outlive the model's use of its list.
  explicit Catalogue(AppListModel& model) : m_model(model) {}

  // Takes over what is installed now: what is new is added, what is gone is removed, what has
  // another name gets it, unless the user has named it.
  struct Changes {
    size_t added = 0;
    size_t removed = 0;
    size_t renamed = 0;
  };
  Changes Update(const std::vector<applist::DesktopApplication>& installed);

  size_t Count() const { return m_shown.size(); }
  std::string NameAt(size_t at) const { return m_shown[at]->GetVisibleName(); }
  std::string IdAt(size_t at) const { return m_shown[at]->GetUnigueId(); }

  // Increases with every change of the list.
  unsigned Version() const { return m_version; }

  // The selected item's place, looked for at `hint` first; the count where nothing is selected.
  size_t Selected(size_t hint) const;
  void Select(size_t at) { m_model.SetSelection(m_shown[at]); }

  void Click(size_t at) { m_model.SetClicked(m_shown[at]); }
  void Rename(size_t at, const std::string& name);
  void Remove(size_t at);
  void RemoveAll();

  // Adds what was removed last at the end. Returns how many items that were.
  size_t AddAgain();

  // The first place from `start` on, and then from the beginning, whose name starts with `text`, or
  // else holds it, in whatever case. The count when there is none.
  size_t Find(const std::string& text, size_t start) const;

 private:
  // Has what to find its name by as well.
  struct Item : applist::DesktopApplication {
    Item(const std::string& name, const std::string& id);
    std::string folded;
  };
  struct Application {
    std::unique_ptr<Item> item;
    std::string installedName;
  };
  using Identifiers = std::unordered_set<std::string>;

  size_t Forget(const Identifiers& installed);
  AppListItem* Keep(const std::string& id, const std::string& name);
  bool TakeName(Application& application, const std::string& name);
  void Replace(Application& application, const std::string& name);
  void Refresh();

  AppListModel& m_model;
  std::unordered_map<std::string, Application> m_applications;
  std::vector<Item*> m_shown;
  // Identifiers, by the operation that removed them.
  std::vector<std::vector<std::string>> m_removed;
  unsigned m_version = 0;
};

}  // namespace applist_ui

#endif
