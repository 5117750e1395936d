// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// applist-try-out: a user interface in this terminal, with a bus and a remote side of its own,
// which end with it.
#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <string>
#include <system_error>

#include "dbus/Descriptor.h"
#include "desktop/DesktopApplications.h"
#include "support/ChildProcess.h"
#include "support/PrivateBus.h"

namespace {

// What there is too little of on a bare machine.
constexpr size_t kFewest = 3;

// A folder that goes with its object.
class Folder {
 public:
  Folder() : m_path("/tmp/applist-try-out-XXXXXX") {
    if (mkdtemp(m_path.data()) == nullptr) {
      throw std::filesystem::filesystem_error("no folder", m_path,
                                              std::error_code(errno, std::generic_category()));
    }
  }
  ~Folder() {
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;

  const std::string& Path() const { return m_path; }

 private:
  std::string m_path;
};

// Where this machine has hardly any applications, the samples are installed for all that is started
// from here.
void AddSamples(const std::string& samples, const Folder& folder) {
  if (applist::InstalledApplications().size() >= kFewest) {
    return;
  }
  std::filesystem::create_directory_symlink(std::filesystem::absolute(samples),
                                            folder.Path() + "/applications");
  const char* folders = std::getenv("XDG_DATA_DIRS");
  const std::string others =
      folders != nullptr && *folders != '\0' ? folders : "/usr/local/share:/usr/share";
  setenv("XDG_DATA_DIRS", (folder.Path() + ":" + others).c_str(), 1);
}

// The terminal belongs to the user interface: nothing else may write to it meanwhile.
class QuietStandardError {
 public:
  QuietStandardError() : m_original(fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 3)) {
    const applist::Descriptor nowhere(open("/dev/null", O_WRONLY | O_CLOEXEC));
    dup2(nowhere.Get(), STDERR_FILENO);
  }
  ~QuietStandardError() { dup2(m_original.Get(), STDERR_FILENO); }
  QuietStandardError(const QuietStandardError&) = delete;
  QuietStandardError& operator=(const QuietStandardError&) = delete;

 private:
  applist::Descriptor m_original;
};

sigset_t Watched() {
  sigset_t signals;
  sigemptyset(&signals);
  for (const int number : {SIGCHLD, SIGINT, SIGTERM, SIGHUP}) {
    sigaddset(&signals, number);
  }
  return signals;
}

// Runs `program` in the foreground and returns its status as a shell has it. It hears a key press
// such as Ctrl-C itself; what ends this process is passed on to it.
int RunInForeground(const char* program) {
  const sigset_t watched = Watched();
  const pid_t child = fork();
  if (child == 0) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    sigprocmask(SIG_UNBLOCK, &watched, nullptr);
    execl(program, program, static_cast<char*>(nullptr));
    std::perror(program);
    _exit(127);
  }
  int status = 0;
  while (child > 0 && waitpid(child, &status, WNOHANG) == 0) {
    int number = 0;
    sigwait(&watched, &number);
    if (number == SIGTERM || number == SIGHUP) {
      kill(child, number);
    }
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
}

int TryOut(const char* daemon, const char* userInterface, const char* samples) {
  const Folder folder;
  AddSamples(samples, folder);
  const applist::PrivateBus bus;
  bus.UseAsSessionBus();
  const auto remote = [daemon] {
    const QuietStandardError quiet;
    return applist::ChildProcess({daemon});
  }();
  return RunInForeground(userInterface);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::fputs("Usage: applist-try-out APPLISTD APPLIST-UI SAMPLES-FOLDER\n", stderr);
    return 2;
  }
  const sigset_t watched = Watched();
  sigprocmask(SIG_BLOCK, &watched, nullptr);
  try {
    return TryOut(argv[1], argv[2], argv[3]);
  } catch (const std::exception& e) {
    std::fprintf(stderr, "applist-try-out: %s\n", e.what());
    return 1;
  }
}
