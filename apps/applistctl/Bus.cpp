// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "Bus.h"

#include <cerrno>

#include "Failure.h"
#include "ShownText.h"

using applist::BusError;
using applist::BusPtr;
using applist::MessagePtr;

namespace {

std::string BusInWords() {
  return "the bus at " + Harmless(applist::BusAddress());
}

[[noreturn]] void FailToConnect(int result) {
  if (result == -ETIMEDOUT) {
    throw Failure(Status::TimeOut, "cannot use " + BusInWords() +
                                       ": it does not answer; see whether its process is stopped");
  }
  throw Failure(Status::NobodyThere,
                "cannot connect to " + BusInWords() + ": " + BusError().Text(result) +
                    "; start it, or choose another with --system, --session or --address");
}

int WaitUntilReady(sd_bus* bus) {
  const auto deadline = std::chrono::steady_clock::now() + kAnswerTimeout;
  while (sd_bus_is_ready(bus) <= 0) {
    int r = sd_bus_process(bus, nullptr);
    const auto left = std::chrono::duration_cast<std::chrono::microseconds>(
        deadline - std::chrono::steady_clock::now());
    if (r == 0 && left.count() <= 0) {
      return -ETIMEDOUT;
    }
    if (r == 0) {
      r = sd_bus_wait(bus, static_cast<uint64_t>(left.count()));
    }
    if (r < 0 && r != -EINTR) {
      return r;
    }
  }
  return 0;
}

void BecomeMonitor(sd_bus* bus, const std::vector<std::string>& rules) {
  sd_bus_message* created = nullptr;
  int r =
      sd_bus_message_new_method_call(bus, &created, "org.freedesktop.DBus", "/org/freedesktop/DBus",
                                     "org.freedesktop.DBus.Monitoring", "BecomeMonitor");
  const MessagePtr call(created);
  if (r >= 0) {
    r = sd_bus_message_open_container(created, 'a', "s");
  }
  for (const std::string& rule : rules) {
    if (r >= 0) {
      r = sd_bus_message_append(created, "s", rule.c_str());
    }
  }
  if (r >= 0) {
    r = sd_bus_message_close_container(created);
  }
  if (r >= 0) {
    r = sd_bus_message_append(created, "u", 0);
  }
  BusError error;
  if (r >= 0) {
    r = sd_bus_call(bus, created, 0, error.Get(), nullptr);
  }
  if (r < 0) {
    throw Failure(IsTimeOut(r, error.Name()) ? Status::TimeOut : Status::Refused,
                  "cannot monitor " + BusInWords() + ": " + Harmless(error.Text(r)) +
                      "; try as root, or as the user that the bus belongs to");
  }
}

MessagePtr CallTo(sd_bus* bus, const std::string& destination, const char* interface,
                  const char* member) {
  sd_bus_message* created = nullptr;
  int r = sd_bus_message_new_method_call(bus, &created, destination.c_str(),
                                         Link().objectPath.c_str(), interface, member);
  MessagePtr call(created);
  if (r >= 0) {
    r = sd_bus_message_set_auto_start(created, 0);
  }
  if (r < 0) {
    FailToConnect(r);
  }
  return call;
}

applist::SlotPtr Send(sd_bus* bus, sd_bus_message* call, sd_bus_message_handler_t then,
                      void* data) {
  sd_bus_slot* slot = nullptr;
  const int r = sd_bus_call_async(bus, &slot, call, then, data, 0);
  if (r < 0) {
    FailToConnect(r);
  }
  return applist::SlotPtr(slot);
}

Status StatusOf(const applist::ControlError& error) {
  const std::string& name = error.Name();
  if (name == "org.javamw.Applist.Control1.Error.NotInList") {
    return Status::UnknownIdentifier;
  }
  if (name == SD_BUS_ERROR_SERVICE_UNKNOWN || name == SD_BUS_ERROR_NAME_HAS_NO_OWNER) {
    return Status::NobodyThere;
  }
  if (IsTimeOut(error.Result(), name)) {
    return Status::TimeOut;
  }
  const bool lost = error.Result() == -ECONNRESET || error.Result() == -ENOTCONN;
  return lost ? Status::NobodyThere : Status::Refused;
}

std::string WhyRefused(const applist::ControlError& error) {
  if (HasNoControl(error)) {
    return "it has no control interface, as applistd has; see applistctl status";
  }
  const std::string said = Harmless(error.what());
  return error.Name() == SD_BUS_ERROR_ACCESS_DENIED
             ? said + "; see whether this user may use the bus"
             : said;
}

}  // namespace

const applist::LinkNames& Link() {
  static const applist::LinkNames names = applist::LinkNames::ForRemoteSide("Applist");
  return names;
}

BusPtr Connect() {
  int result = 0;
  BusPtr bus =
      applist::StartConnection("applistctl", kAnswerTimeout, applist::Socket::Present, result);
  if (bus != nullptr) {
    result = WaitUntilReady(bus.get());
  }
  if (result < 0) {
    FailToConnect(result);
  }
  return bus;
}

BusPtr ConnectAsMonitor(const std::vector<std::string>& rules) {
  sd_bus* created = nullptr;
  int r = sd_bus_new(&created);
  BusPtr bus(created);
  if (r >= 0) {
    r = sd_bus_set_address(created, applist::BusAddress().c_str());
  }
  if (r >= 0) {
    r = sd_bus_set_bus_client(created, 1);
  }
  if (r >= 0) {
    r = sd_bus_set_monitor(created, 1);
  }
  if (r >= 0) {
    r = sd_bus_set_method_call_timeout(
        created, static_cast<uint64_t>(std::chrono::microseconds(kAnswerTimeout).count()));
  }
  if (r >= 0) {
    r = sd_bus_start(created);
  }
  if (r >= 0) {
    r = WaitUntilReady(created);
  }
  if (r < 0) {
    FailToConnect(r);
  }
  BecomeMonitor(created, rules);
  return bus;
}

Owner OwnerOf(sd_bus* bus, const std::string& name) {
  sd_bus_creds* creds = nullptr;
  const int r = sd_bus_get_name_creds(
      bus, name.c_str(),
      SD_BUS_CREDS_AUGMENT | SD_BUS_CREDS_PID | SD_BUS_CREDS_COMM | SD_BUS_CREDS_UNIQUE_NAME,
      &creds);
  if (r == -ENXIO || r == -ESRCH) {
    return {};
  }
  if (r < 0) {
    FailToConnect(r);
  }
  Owner owner;
  const char* text = nullptr;
  pid_t process = 0;
  if (sd_bus_creds_get_unique_name(creds, &text) >= 0) {
    owner.uniqueName = text;
  }
  if (sd_bus_creds_get_pid(creds, &process) >= 0) {
    owner.process = process;
  }
  if (sd_bus_creds_get_comm(creds, &text) >= 0) {
    owner.command = text;
  }
  sd_bus_creds_unref(creds);
  return owner;
}

applist::SlotPtr GetLinkProperties(sd_bus* bus, const std::string& destination,
                                   sd_bus_message_handler_t then, void* data) {
  const MessagePtr question = CallTo(bus, destination, "org.freedesktop.DBus.Properties", "GetAll");
  const int r = sd_bus_message_append(question.get(), "s", applist::kLinkInterface);
  if (r < 0) {
    FailToConnect(r);
  }
  return Send(bus, question.get(), then, data);
}

applist::SlotPtr HoldBus(sd_bus* bus, const std::string& destination, sd_bus_message_handler_t then,
                         void* data) {
  const MessagePtr call = CallTo(bus, destination, applist::kLinkInterface, "HoldBus");
  return Send(bus, call.get(), then, data);
}

void Fail(const std::string& what, const applist::ControlError& error) {
  const std::string text = "cannot " + what + " at " + Link().own.incoming + ": ";
  const Status status = StatusOf(error);
  switch (status) {
    case Status::UnknownIdentifier:
      throw Failure(status, text + "the list has no such item; see applistctl list");
    case Status::NobodyThere:
      throw Failure(status, text + "no remote side is running on " + BusInWords() +
                                "; start applistd, or choose another bus");
    case Status::TimeOut:
      throw Failure(status, text + "the remote side does not answer; see applistctl status");
    default:
      throw Failure(Status::Refused, text + WhyRefused(error));
  }
}

bool HasNoControl(const applist::ControlError& error) {
  const std::string& name = error.Name();
  return name == SD_BUS_ERROR_UNKNOWN_INTERFACE || name == SD_BUS_ERROR_UNKNOWN_METHOD ||
         name == SD_BUS_ERROR_UNKNOWN_OBJECT;
}

void FailLost() {
  throw Failure(Status::NobodyThere, "the connection to " + BusInWords() +
                                         " was lost: the bus has ended, or has cut it; try again");
}

bool IsTimeOut(int result, const std::string& error) {
  return result == -ETIMEDOUT || error == SD_BUS_ERROR_NO_REPLY || error == SD_BUS_ERROR_TIMEOUT;
}
