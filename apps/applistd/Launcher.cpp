// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "Launcher.h"

#include <fcntl.h>
#include <spawn.h>
#include <sys/wait.h>
#include <systemd/sd-event.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <exception>
#include <filesystem>
#include <iterator>
#include <system_error>
#include <utility>

#include "BusText.h"
#include "DesktopId.h"
#include "common/Log.h"

namespace {

constexpr const char* kHelperName = "applist-launch";
// How much of an identifier is logged: it may be of any length.
constexpr size_t kMostShown = 100;

std::string Shown(const std::string& id) {
  const std::string text = applist::ToBusText(id);
  return text.size() <= kMostShown ? text : text.substr(0, kMostShown) + "...";
}

void Check(int number, const char* what) {
  if (number != 0) {
    throw std::system_error(number, std::generic_category(), what);
  }
}

// Next to the daemon, as it is built, or where it is installed, below whatever prefix.
std::string FindHelper() {
  const auto folder = std::filesystem::read_symlink("/proc/self/exe").parent_path();
  std::filesystem::path path;
  for (const char* place : {".", APPLIST_LAUNCH_FOLDER}) {
    path = (folder / place / kHelperName).lexically_normal();
    if (access(path.c_str(), X_OK) == 0) {
      return path;
    }
  }
  throw std::system_error(errno, std::generic_category(), path);
}

// What a service manager or a bus says to the daemon alone.
bool IsPrivate(const std::string& variable) {
  return variable.rfind("NOTIFY_SOCKET=", 0) == 0 || variable.rfind("DBUS_STARTER_", 0) == 0;
}

// How a process is to be started: in a session of its own, with signals as they are by default, and
// nothing on standard input.
class SpawnSettings {
 public:
  SpawnSettings() {
    sigset_t none;
    sigset_t all;
    sigemptyset(&none);
    sigfillset(&all);
    Check(posix_spawnattr_init(&m_attributes), "posix_spawnattr_init");
    Check(posix_spawn_file_actions_init(&m_actions), "posix_spawn_file_actions_init");
    posix_spawnattr_setsigmask(&m_attributes, &none);
    posix_spawnattr_setsigdefault(&m_attributes, &all);
    posix_spawnattr_setflags(&m_attributes,
                             POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETSID);
    Check(posix_spawn_file_actions_addopen(&m_actions, STDIN_FILENO, "/dev/null", O_RDONLY, 0),
          "posix_spawn_file_actions_addopen");
  }
  ~SpawnSettings() {
    posix_spawn_file_actions_destroy(&m_actions);
    posix_spawnattr_destroy(&m_attributes);
  }
  SpawnSettings(const SpawnSettings&) = delete;
  SpawnSettings& operator=(const SpawnSettings&) = delete;

  const posix_spawnattr_t* Attributes() const { return &m_attributes; }
  const posix_spawn_file_actions_t* Actions() const { return &m_actions; }

 private:
  posix_spawnattr_t m_attributes;
  posix_spawn_file_actions_t m_actions;
};

std::vector<char*> Pointers(const std::vector<std::string>& words) {
  std::vector<char*> pointers;
  pointers.reserve(words.size() + 1);
  for (const std::string& word : words) {
    pointers.push_back(const_cast<char*>(word.c_str()));
  }
  pointers.push_back(nullptr);
  return pointers;
}

}  // namespace

void Launcher::EventUnref::operator()(sd_event* event) const {
  sd_event_unref(event);
}

void Launcher::SourceUnref::operator()(sd_event_source* source) const {
  sd_event_source_disable_unref(source);
}

Launcher::Launcher(const Environment& environment, std::function<void(const std::string&)> launched)
    : m_helper(FindHelper()), m_launched(std::move(launched)) {
  std::remove_copy_if(environment.begin(), environment.end(), std::back_inserter(m_environment),
                      IsPrivate);
  sd_event* event = nullptr;
  Check(std::max(0, -sd_event_default(&event)), "no event loop");
  m_event.reset(event);
}

Launcher::~Launcher() = default;

void Launcher::Launch(const std::string& id) {
  if (!IsDesktopId(id)) {
    APPLIST_LOGF(DLOG_ERROR, "Cannot start '%s': it is not the identifier of a desktop entry",
                 Shown(id).c_str());
  } else if (m_repeated.IsRepeat(id, RepeatedClicks::Clock::now())) {
    APPLIST_LOGF(DLOG_INFO, "Not started again by a second click: '%s'", Shown(id).c_str());
  } else {
    try {
      StartHelper(id);
    } catch (const std::exception& e) {
      APPLIST_LOGF(DLOG_ERROR, "Cannot start '%s': %s", Shown(id).c_str(), e.what());
    }
  }
}

void Launcher::StartHelper(const std::string& id) {
  const pid_t helper = Spawn(id);
  const auto ended = [](sd_event_source*, const siginfo_t* info, void* launcher) {
    static_cast<Launcher*>(launcher)->TakeEnd(info->si_pid,
                                              info->si_code == CLD_EXITED && info->si_status == 0);
    return 0;
  };
  sd_event_source* source = nullptr;
  const int r = sd_event_add_child(m_event.get(), &source, helper, WEXITED, ended, this);
  Start start{id, SourcePtr(source)};
  Check(std::max(0, -r), "its start cannot be watched");
  m_starts[helper] = std::move(start);
}

pid_t Launcher::Spawn(const std::string& id) const {
  const SpawnSettings settings;
  const std::vector<std::string> command = {m_helper, "--", id};
  pid_t helper = -1;
  Check(posix_spawn(&helper, m_helper.c_str(), settings.Actions(), settings.Attributes(),
                    Pointers(command).data(), Pointers(m_environment).data()),
        m_helper.c_str());
  return helper;
}

// Why it did not succeed, the helper has logged.
void Launcher::TakeEnd(pid_t helper, bool succeeded) {
  const auto found = m_starts.find(helper);
  const Start start = std::move(found->second);
  m_starts.erase(found);
  if (succeeded) {
    m_launched(start.id);
  }
}
