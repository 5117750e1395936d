// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "desktop/DesktopApplications.h"

#include <gio/gdesktopappinfo.h>
#include <gio/gio.h>

#include <algorithm>
#include <filesystem>
#include <memory>
#include <utility>

namespace applist {

namespace {

struct Unref {
  void operator()(gpointer object) const { g_object_unref(object); }
};
using AppInfoPtr = std::unique_ptr<GAppInfo, Unref>;

std::string TextOf(const char* text) {
  return text != nullptr ? text : "";
}

void AddShown(std::vector<DesktopApplication>& applications, GAppInfo* info,
              const std::string& id) {
  if (g_app_info_should_show(info) && !id.empty()) {
    applications.emplace_back(TextOf(g_app_info_get_display_name(info)), id);
  }
}

// With a key for each name, which is what takes its time.
void SortByName(std::vector<DesktopApplication>& applications) {
  struct Keyed {
    std::string key;
    DesktopApplication application;
  };
  std::vector<Keyed> keyed;
  keyed.reserve(applications.size());
  for (DesktopApplication& application : applications) {
    char* key = g_utf8_collate_key(application.GetVisibleName().c_str(), -1);
    keyed.push_back({key, std::move(application)});
    g_free(key);
  }
  std::stable_sort(keyed.begin(), keyed.end(),
                   [](const Keyed& one, const Keyed& other) { return one.key < other.key; });
  applications.clear();
  for (Keyed& entry : keyed) {
    applications.push_back(std::move(entry.application));
  }
}

}  // namespace

std::vector<DesktopApplication> InstalledApplications() {
  std::vector<DesktopApplication> applications;
  GList* all = g_app_info_get_all();
  for (GList* entry = all; entry != nullptr; entry = entry->next) {
    const AppInfoPtr info(static_cast<GAppInfo*>(entry->data));
    AddShown(applications, info.get(), TextOf(g_app_info_get_id(info.get())));
  }
  g_list_free(all);
  SortByName(applications);
  return applications;
}

std::vector<DesktopApplication> ApplicationsIn(const std::string& folder) {
  std::vector<DesktopApplication> applications;
  for (const auto& file : std::filesystem::directory_iterator(folder)) {
    const std::string path = file.path().string();
    if (file.path().extension() != ".desktop") {
      continue;
    }
    GDesktopAppInfo* loaded = g_desktop_app_info_new_from_filename(path.c_str());
    if (loaded != nullptr) {
      const AppInfoPtr info(G_APP_INFO(loaded));
      AddShown(applications, info.get(), file.path().filename().string());
    }
  }
  SortByName(applications);
  return applications;
}

struct ApplicationsMonitor::Watch {
  std::unique_ptr<GAppInfoMonitor, Unref> monitor;
  std::function<void()> changed;
  gulong handler = 0;
};

ApplicationsMonitor::ApplicationsMonitor(std::function<void()> changed)
    : m_watch(std::make_unique<Watch>()) {
  m_watch->monitor.reset(g_app_info_monitor_get());
  m_watch->changed = std::move(changed);
  const auto call = [](GAppInfoMonitor* /*monitor*/, gpointer watch) {
    static_cast<Watch*>(watch)->changed();
  };
  m_watch->handler = g_signal_connect(
      m_watch->monitor.get(), "changed",
      G_CALLBACK(static_cast<void (*)(GAppInfoMonitor*, gpointer)>(call)), m_watch.get());
}

ApplicationsMonitor::~ApplicationsMonitor() {
  g_signal_handler_disconnect(m_watch->monitor.get(), m_watch->handler);
}

}  // namespace applist
