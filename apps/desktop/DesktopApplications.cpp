// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "desktop/DesktopApplications.h"

#include <gio/gdesktopappinfo.h>
#include <gio/gio.h>

#include <algorithm>
#include <filesystem>
#include <memory>

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

void SortByName(std::vector<DesktopApplication>& applications) {
  std::stable_sort(applications.begin(), applications.end(),
                   [](DesktopApplication one, DesktopApplication other) {
                     return g_utf8_collate(one.GetVisibleName().c_str(),
                                           other.GetVisibleName().c_str()) < 0;
                   });
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

}  // namespace applist
