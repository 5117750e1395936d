// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// dbus-broker opens nothing by itself: whoever starts it hands it one end of a line, and on that,
// as D-Bus messages, the socket to listen at and who may do what. Commonly that is systemd's part.
// Without a socket for its log it keeps none, and says on standard error why it ends.
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <systemd/sd-id128.h>

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include "support/BusDaemon.h"

namespace applist {

namespace {

// The rights of each user: whether it may connect, and the rules for the names that it owns, for
// what it sends and for what it receives. Then those of groups, the labels of a security module,
// whether there is one, and the type of the bus.
constexpr const char* kPolicy =
    "(a(u(bta(btbs)a(btssssuutt)a(btssssuutt)))"
    "a(buu(bta(btbs)a(btssssuutt)a(btssssuutt)))"
    "a(ss)bs)";

int Check(int result, const char* what, const BusError& error = BusError()) {
  if (result < 0) {
    throw std::runtime_error("dbus-broker: " + std::string(what) + ": " + error.Text(result));
  }
  return result;
}

int CheckErrno(int result, const char* what) {
  return Check(result < 0 ? -errno : result, what);
}

std::string MachineId() {
  sd_id128_t id = {};
  char text[SD_ID128_STRING_MAX];
  Check(sd_id128_randomize(&id), "A machine identifier");
  return sd_id128_to_string(id, text);
}

std::vector<std::string> Command(int orders) {
  // As many of everything for one user as a session bus commonly grants.
  return {"dbus-broker",    "--controller",        std::to_string(orders),
          "--machine-id",   MachineId(),           "--max-bytes=1073741824",
          "--max-fds=4096", "--max-matches=65536", "--max-objects=65536"};
}

BusPtr ConnectTo(int fd) {
  sd_bus* created = nullptr;
  Check(sd_bus_new(&created), "A connection");
  BusPtr bus(created);
  Check(sd_bus_negotiate_fds(created, 1), "A connection");
  Check(sd_bus_set_fd(created, fd, fd), "A connection");
  Check(sd_bus_start(created), "A connection");
  return bus;
}

// Everything to everybody. Each rule starts with whether it allows and with its priority; an empty
// text, a zero and the highest number stand for "any".
void AppendPolicy(sd_bus_message* message) {
  const uint32_t everybody = UINT32_MAX;
  const uint64_t priority = 1;
  const uint64_t none = 0;
  const uint64_t any = UINT64_MAX;
  Check(sd_bus_message_append(message, "v", kPolicy,                              //
                              1, everybody, 1, priority,                          //
                              1, 1, priority, 1, "",                              //
                              1, 1, priority, "", "", "", "", 0U, 0U, none, any,  //
                              1, 1, priority, "", "", "", "", 0U, 0U, none, any,  //
                              0, 0, 0, "session"),
        "The policy");
}

void AddListener(sd_bus* bus, int socket) {
  sd_bus_message* created = nullptr;
  Check(sd_bus_message_new_method_call(bus, &created, nullptr, "/org/bus1/DBus/Broker",
                                       "org.bus1.DBus.Broker", "AddListener"),
        "An order");
  const MessagePtr order(created);
  Check(sd_bus_message_append(created, "oh", "/org/bus1/DBus/Listener/0", socket), "An order");
  AppendPolicy(created);
  BusError error;
  Check(sd_bus_call(bus, created, 0, error.Get(), nullptr), "Listening", error);
}

}  // namespace

Descriptor SocketAt(const std::string& path, int type) {
  sockaddr_un address = {};
  address.sun_family = AF_UNIX;
  if (path.size() >= sizeof(address.sun_path)) {
    throw std::runtime_error("The path of a socket is too long: " + path);
  }
  path.copy(address.sun_path, path.size());
  Descriptor fd(CheckErrno(socket(AF_UNIX, type | SOCK_CLOEXEC | SOCK_NONBLOCK, 0), "A socket"));
  CheckErrno(bind(fd.Get(), reinterpret_cast<const sockaddr*>(&address), sizeof(address)),
             path.c_str());
  CheckErrno(chmod(path.c_str(), 0666), path.c_str());
  if (type == SOCK_STREAM) {
    CheckErrno(listen(fd.Get(), SOMAXCONN), path.c_str());
  }
  return fd;
}

BusDaemon StartDbusBroker(const std::string& folder) {
  const Descriptor socket = SocketAt(folder + "/bus", SOCK_STREAM);
  int line[2];
  CheckErrno(socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, line), "A line");
  Descriptor theirs(line[1]);
  BusDaemon broker;
  broker.orders = ConnectTo(line[0]);
  broker.process = std::make_unique<ChildProcess>(Command(theirs.Get()), std::vector<std::string>(),
                                                  theirs.Get());
  // With no other end than the broker's, the line breaks when the broker ends.
  theirs.Close();
  AddListener(broker.orders.get(), socket.Get());
  return broker;
}

}  // namespace applist
