// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "Catalogue.h"

#include <glib.h>

#include <algorithm>
#include <utility>

namespace applist_ui {

namespace {

struct Free {
  void operator()(char* text) const { g_free(text); }
};
using Text = std::unique_ptr<char, Free>;

// The same for all ways to write a text in upper and lower case.
std::string Folded(const std::string& name) {
  const Text valid(g_utf8_make_valid(name.data(), static_cast<gssize>(name.size())));
  const Text normal(g_utf8_normalize(valid.get(), -1, G_NORMALIZE_ALL));
  const Text folded(g_utf8_casefold(normal.get(), -1));
  return folded.get();
}

}  // namespace

Catalogue::Item::Item(const std::string& name, const std::string& id)
    : DesktopApplication(name, id), folded(Folded(name)) {}

Catalogue::Changes Catalogue::Update(const std::vector<applist::DesktopApplication>& installed) {
  Identifiers ids;
  for (applist::DesktopApplication application : installed) {
    ids.insert(application.GetUnigueId());
  }
  Changes changes;
  changes.removed = Forget(ids);
  std::vector<AppListItem*> added;
  for (applist::DesktopApplication application : installed) {
    const auto known = m_applications.find(application.GetUnigueId());
    if (known == m_applications.end()) {
      added.push_back(Keep(application.GetUnigueId(), application.GetVisibleName()));
    } else if (TakeName(known->second, application.GetVisibleName())) {
      ++changes.renamed;
    }
  }
  m_model.AddItems(added);
  changes.added = added.size();
  Refresh();
  return changes;
}

// Drops what is not installed any more. Returns how many of them were in the list.
size_t Catalogue::Forget(const Identifiers& installed) {
  const int before = m_model.GetItemsCount();
  for (auto known = m_applications.begin(); known != m_applications.end();) {
    if (installed.count(known->first) == 0) {
      m_model.RemoveItem(known->second.item.get());
      known = m_applications.erase(known);
    } else {
      ++known;
    }
  }
  return static_cast<size_t>(before - m_model.GetItemsCount());
}

AppListItem* Catalogue::Keep(const std::string& id, const std::string& name) {
  Application& application = m_applications[id];
  application = {std::make_unique<Item>(name, id), name};
  return application.item.get();
}

bool Catalogue::TakeName(Application& application, const std::string& name) {
  if (application.installedName == name) {
    return false;
  }
  const bool namedByUser = application.item->GetVisibleName() != application.installedName;
  application.installedName = name;
  if (!namedByUser) {
    Replace(application, name);
  }
  return !namedByUser;
}

// The old item is kept until the model has let go of it.
void Catalogue::Replace(Application& application, const std::string& name) {
  auto renamed = std::make_unique<Item>(name, application.item->GetUnigueId());
  m_model.ModifyItem(application.item.get(), renamed.get());
  application.item = std::move(renamed);
}

size_t Catalogue::Selected(size_t hint) const {
  const AppListItem* selection = m_model.GetSelection();
  if (hint < m_shown.size() && m_shown[hint] == selection) {
    return hint;
  }
  const auto found = std::find(m_shown.begin(), m_shown.end(), selection);
  return static_cast<size_t>(found - m_shown.begin());
}

void Catalogue::Rename(size_t at, const std::string& name) {
  Replace(m_applications.at(IdAt(at)), name);
  Refresh();
}

void Catalogue::Remove(size_t at) {
  m_removed.push_back({IdAt(at)});
  m_model.RemoveItem(m_shown[at]);
  Refresh();
}

void Catalogue::RemoveAll() {
  std::vector<std::string> ids;
  ids.reserve(m_shown.size());
  for (Item* item : m_shown) {
    ids.push_back(item->GetUnigueId());
  }
  m_removed.push_back(std::move(ids));
  m_model.RemoveAllItems();
  Refresh();
}

// What is not installed any more, or was installed anew and is in the list, is passed over.
size_t Catalogue::AddAgain() {
  const size_t before = m_shown.size();
  while (m_shown.size() == before && !m_removed.empty()) {
    std::vector<AppListItem*> items;
    for (const std::string& id : m_removed.back()) {
      const auto known = m_applications.find(id);
      if (known != m_applications.end()) {
        items.push_back(known->second.item.get());
      }
    }
    m_removed.pop_back();
    m_model.AddItems(items);
    Refresh();
  }
  return m_shown.size() - before;
}

size_t Catalogue::Find(const std::string& text, size_t start) const {
  const std::string wanted = Folded(text);
  size_t holding = m_shown.size();
  for (size_t k = 0; k < m_shown.size(); ++k) {
    const size_t at = (start + k) % m_shown.size();
    const size_t place = m_shown[at]->folded.find(wanted);
    if (place == 0) {
      return at;
    }
    if (place != std::string::npos && holding == m_shown.size()) {
      holding = at;
    }
  }
  return holding;
}

// All items of the model's list are the catalogue's.
void Catalogue::Refresh() {
  m_shown.clear();
  for (AppListItem* item : m_model.GetAllItems()) {
    m_shown.push_back(static_cast<Item*>(item));
  }
  ++m_version;
}

}  // namespace applist_ui
