// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// applist-walk-through: the whole job on a real bus. A user interface in this process and applistd
// in another go through every operation with the machine's own applications; after each step both
// are asked what they hold.
#include <clocale>
#include <csignal>
#include <cstdio>
#include <exception>
#include <vector>

#include "WalkThrough.h"
#include "desktop/DesktopApplications.h"

namespace {

using applist::DesktopApplication;

// What there is too little of on a bare machine.
constexpr size_t kFewest = 3;

std::vector<DesktopApplication> ApplicationsOrSamples(const std::string& samplesFolder) {
  std::vector<DesktopApplication> applications = applist::InstalledApplications();
  const size_t installed = applications.size();
  if (installed < kFewest) {
    const std::vector<DesktopApplication> samples = applist::ApplicationsIn(samplesFolder);
    applications.insert(applications.end(), samples.begin(), samples.end());
  }
  std::printf(
      "Applications of this machine: %zu; sample entries: %zu\n"
      "here: the user interface; there: the remote side, asked over the bus\n\n",
      installed, applications.size() - installed);
  return applications;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 3) {
    std::fputs("Usage: applist-walk-through APPLISTD SAMPLES-FOLDER\n", stderr);
    return 2;
  }
  std::setlocale(LC_ALL, "");
  // A reader that goes away must not keep the walk from cleaning up.
  std::signal(SIGPIPE, SIG_IGN);
  WalkThrough::BlockEndingSignals();
  try {
    return WalkThrough(argv[1], ApplicationsOrSamples(argv[2])).Run();
  } catch (const std::exception& e) {
    std::fprintf(stderr, "applist-walk-through: %s\n", e.what());
    return 1;
  }
}
