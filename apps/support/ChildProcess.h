// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// A program that another one starts, and ends again.
#ifndef APPLIST_SUPPORT_CHILDPROCESS_H
#define APPLIST_SUPPORT_CHILDPROCESS_H

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

namespace applist {

// Runs from construction to destruction at the longest; ends with its parent too, however that
// ends. It is in a process group of its own, so that a key press in the terminal does not reach it.
class ChildProcess {
 public:
  // Starts `command` (found in PATH), with `environment` ("NAME=value") added to ours. `keptFd` is
  // a descriptor that the child inherits under the same number; all others are closed.
  // Throws std::system_error when it cannot be started.
  explicit ChildProcess(const std::vector<std::string>& command,
                        const std::vector<std::string>& environment = {}, int keptFd = -1);

  // Asks the child to end, kills it when it does not within 5 s, and waits for it.
  ~ChildProcess();

  ChildProcess(const ChildProcess&) = delete;
  ChildProcess& operator=(const ChildProcess&) = delete;

  pid_t Pid() const { return m_pid; }

  // Sends a signal, unless the child has been waited for.
  void Signal(int number);

  // Waits for the end, and returns the exit status, or the number of the signal that ended it plus
  // 128, as a shell does.
  int Wait();

  // The exit status if the child has ended already.
  std::optional<int> Poll();

 private:
  std::optional<int> WaitFor(int options);

  pid_t m_pid = -1;
  std::optional<int> m_status;
};

}  // namespace applist

#endif
