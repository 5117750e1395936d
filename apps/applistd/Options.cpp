// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "Options.h"

#include <getopt.h>

#include <cstdio>
#include <cstdlib>
#include <string>

namespace {

constexpr const char* kHelp =
    "Keeps the application list of a user interface, and serves it on the bus.\n"
    "Usage: applistd [OPTIONS]\n"
    "\n"
    "Options:\n"
    "  --version               Show the version\n"
    "  -h,--help               Show this text\n"
    "  --system                Use the system bus\n"
    "  --session               Use the session bus\n"
    "  --address ADDRESS       Use the bus at this address\n"
    "  --launch                Start the application whose desktop-file id is clicked\n"
    "\n"
    "Without a choice, it is the session bus where DBUS_SESSION_BUS_ADDRESS is set, and the\n"
    "system bus otherwise.";

constexpr const char* kNoAddress = "--address: 1 required ADDRESS missing";

// Behind every character that a short option could have.
enum Option { kVersion = 256, kHelpOption, kSystem, kSession, kAddress, kLaunch };

constexpr option kOptions[] = {{"version", no_argument, nullptr, kVersion},
                               {"help", no_argument, nullptr, kHelpOption},
                               {"system", no_argument, nullptr, kSystem},
                               {"session", no_argument, nullptr, kSession},
                               {"address", required_argument, nullptr, kAddress},
                               {"launch", no_argument, nullptr, kLaunch},
                               {nullptr, 0, nullptr, 0}};

int Show(const char* text) {
  std::puts(text);
  return EXIT_SUCCESS;
}

int Refuse(const std::string& error) {
  std::fprintf(stderr, "applistd: %s; see applistd --help\n", error.c_str());
  return applist::kUsageStatus;
}

int RefuseArgument(const std::string& argument) {
  return Refuse("The following argument was not expected: " + argument);
}

}  // namespace

std::optional<int> ReadOptions(int argc, char** argv, Options& options) {
  int buses = 0;
  opterr = 0;
  for (int found; (found = getopt_long(argc, argv, ":h", kOptions, nullptr)) != -1;) {
    switch (found) {
      case 'h':
      case kHelpOption:
        return Show(kHelp);
      case kVersion:
        return Show("applistd " APPLIST_VERSION);
      case kSystem:
        options.bus.system = true;
        ++buses;
        break;
      case kSession:
        options.bus.session = true;
        ++buses;
        break;
      case kAddress:
        if (*optarg == '\0') {
          return Refuse(kNoAddress);
        }
        options.bus.address = optarg;
        ++buses;
        break;
      case kLaunch:
        options.launch = true;
        break;
      case ':':
        return Refuse(kNoAddress);
      default:
        // A short option may stand in the middle of others.
        return RefuseArgument(optopt > 0 && optopt < kVersion ? std::string("-") + char(optopt)
                                                              : argv[optind - 1]);
    }
  }
  if (optind < argc) {
    return RefuseArgument(argv[optind]);
  }
  if (buses > 1) {
    return Refuse(applist::kTwoBuses);
  }
  return std::nullopt;
}
