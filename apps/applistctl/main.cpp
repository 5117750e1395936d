// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// applistctl: looks at the application list and its link, and acts on it, from the command line.
#include <clocale>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <functional>
#include <optional>
#include <vector>

#include "Commands.h"
#include "Output.h"
#include "ShownText.h"
#include "command/CommandLine.h"

namespace {

// The library's own check lets "nan" pass, and "-1" as a large number.
CLI::Validator NumberFrom(int least) {
  constexpr double kMost = 1e9;
  const auto check = [least](const std::string& text) {
    char* end = nullptr;
    const double number = std::strtod(text.c_str(), &end);
    const bool fits = !text.empty() && *end == '\0' && number >= least && number <= kMost;
    return fits ? std::string()
                : "'" + Harmless(text) + "' is no number from " + std::to_string(least) +
                      " to 1000000000";
  };
  return CLI::Validator(check, "");
}

// What the command line says.
class Arguments {
 public:
  explicit Arguments(CLI::App& app) {
    app.add_flag("--json", m_json, "Write JSON, one object on a line");
    // Not required before: what is no command is named first.
    app.require_subcommand(0, 1);
    app.callback([&app] {
      if (app.get_subcommands().empty()) {
        throw CLI::RequiredError("A command");
      }
    });
    CLI::App* list = Add(app, "list", "Show the items, the selection and the last click", [this] {
      List(m_onlyIdentifiers ? ListContent::Identifiers : ListContent::Items, OutputFormat());
    });
    list->add_flag("--ids", m_onlyIdentifiers, "Show the identifiers alone");
    AddId(Add(app, "select", "Have the remote side select an item",
              [this] { Select(m_id, OutputFormat()); }));
    AddId(Add(app, "click", "Have the remote side click an item",
              [this] { Click(m_id, OutputFormat()); }));
    Add(app, "status", "Show both ends of the link, and their processes",
        [this] { ShowStatus(OutputFormat()); });
    AddFollowing(Add(app, "watch", "Show what happens, as it happens",
                     [this] { Watch(m_follow, OutputFormat()); }));
    CLI::App* decode = Add(app, "decode", "Put the bytes of a frame or payload into words",
                           [this] { Decode(m_hex, OutputFormat()); });
    decode->add_option("HEX", m_hex, "The bytes in hexadecimal; - reads them")->type_name("");
    AddFollowing(Add(app, "capture", "Show the frames on the link, as a monitor of the bus",
                     [this] { Capture(m_follow, OutputFormat()); }));
  }

  // The command that was given.
  void Run() const {
    for (const auto& [app, run] : m_commands) {
      if (app->parsed()) {
        run();
      }
    }
  }

 private:
  Format OutputFormat() const { return m_json ? Format::Json : Format::Text; }

  CLI::App* Add(CLI::App& app, const char* name, const char* description,
                std::function<void()> run) {
    CLI::App* command = app.add_subcommand(name, description);
    command->fallthrough();
    command->get_formatter()->column_width(26);
    m_commands.emplace_back(command, std::move(run));
    return command;
  }

  void AddId(CLI::App* command) {
    command->add_option("ID", m_id, "The identifier, as list shows it")->required()->type_name("");
  }

  void AddFollowing(CLI::App* command) {
    command->add_option("--count", m_follow.count, "End after so many lines")
        ->type_name("N")
        ->check(NumberFrom(1));
    command->add_option("--timeout", m_follow.timeout, "End after so many seconds")
        ->type_name("SECONDS")
        ->check(NumberFrom(0));
  }

  bool m_json = false;
  bool m_onlyIdentifiers = false;
  std::string m_id;
  std::vector<std::string> m_hex;
  FollowOptions m_follow;
  std::vector<std::pair<CLI::App*, std::function<void()>>> m_commands;
};

int Run(int argc, char** argv) {
  applist::CommandLine commandLine("applistctl", "Looks at the application list, and acts on it.");
  const Arguments arguments(commandLine.App());
  const std::optional<int> status = commandLine.Read(argc, argv);
  if (status) {
    return *status;
  }
  arguments.Run();
  FinishOutput();
  return static_cast<int>(Status::Done);
}

int End(Status status, const char* why) {
  std::fflush(stdout);
  std::fprintf(stderr, "applistctl: %s\n", why);
  return static_cast<int>(status);
}

}  // namespace

int main(int argc, char** argv) {
  // Texts are UTF-8 whatever the locale, and a reader that goes away ends us, however we were
  // started.
  std::setlocale(LC_CTYPE, "C.UTF-8");
  std::signal(SIGPIPE, SIG_DFL);
  try {
    return Run(argc, argv);
  } catch (const Failure& failure) {
    return End(failure.ExitStatus(), failure.what());
  } catch (const std::exception& error) {
    return End(Status::Refused, error.what());
  }
}
