// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// applist-launch -- ID: starts the application with this desktop-file id, for applistd. Ends with 0
// when it was started, otherwise with 1 and a line in the log. Desktop entries are found in the XDG
// application directories alone.
#include <gio/gdesktopappinfo.h>
#include <gio/gio.h>

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "DesktopId.h"
#include "common/Log.h"

namespace {

struct Unref {
  void operator()(gpointer object) const { g_object_unref(object); }
};
struct ErrorFree {
  void operator()(GError* error) const { g_error_free(error); }
};

struct Outcome {
  bool known = false;
  std::unique_ptr<GError, ErrorFree> error;
};

void OnLaunched(GObject* info, GAsyncResult* result, gpointer data) {
  auto* outcome = static_cast<Outcome*>(data);
  GError* error = nullptr;
  g_app_info_launch_uris_finish(G_APP_INFO(info), result, &error);
  outcome->error.reset(error);
  outcome->known = true;
}

bool Fail(const std::string& id, const char* cause) {
  APPLIST_LOGF(DLOG_ERROR, "Cannot start '%.100s': %s", id.c_str(), cause);
  return false;
}

// The asynchronous way is the one that waits for what an application that is activated over D-Bus
// has to say.
bool Launch(const std::string& id) {
  if (!IsDesktopId(id)) {
    return Fail(id, "it is not the identifier of a desktop entry");
  }
  const std::unique_ptr<GDesktopAppInfo, Unref> info(g_desktop_app_info_new(id.c_str()));
  if (info == nullptr) {
    return Fail(id, "no application directory has it, or it is hidden or its program is missing");
  }
  Outcome outcome;
  g_app_info_launch_uris_async(G_APP_INFO(info.get()), nullptr, nullptr, nullptr, OnLaunched,
                               &outcome);
  while (!outcome.known) {
    g_main_context_iteration(nullptr, TRUE);
  }
  return outcome.error == nullptr || Fail(id, outcome.error->message);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3 || std::strcmp(argv[1], "--") != 0) {
    std::fputs("usage: applist-launch -- ID\n", stderr);
    return 2;
  }
  return Launch(argv[2]) ? 0 : 1;
}
