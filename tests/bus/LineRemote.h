// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// A remote side on a thread of its own that gives out direct lines, and does with them what a test
// wants it to.
#ifndef APPLIST_TESTS_BUS_LINEREMOTE_H
#define APPLIST_TESTS_BUS_LINEREMOTE_H

#include <atomic>
#include <memory>
#include <string>

#include "bus/BusPeer.h"
#include "bus/LoopThread.h"
#include "dbus/DirectLine.h"

struct sd_event;

namespace applist_test {

// Answers a Send with the way on which it came: "bus" or "line".
class LineRemote {
 public:
  // What it makes of the question for a line: nothing, because it does not know it; a line that
  // works; a line on whose sockets only the test writes; or pipes that nobody reads.
  enum class Gives { Nothing, Lines, BareSockets, DeadPipes };
  LineRemote(const std::string& address, Gives gives);
  ~LineRemote();
  LineRemote(const LineRemote&) = delete;
  LineRemote& operator=(const LineRemote&) = delete;

  // The two sockets of the line that was last given out.
  enum class Socket { Calls, Events };
  void Write(Socket socket, const std::string& bytes);
  void Close(Socket socket);
  // Closes the socket for calls instead of answering on it.
  void HangUpAtNextSend();

  // Answers neither a Send nor a Ping from now on, and the question for a line only when it is told
  // to.
  void Hang();
  bool IsAskedForLine();
  void GiveAskedLine();
  // Whether the other end of the line has taken it.
  bool IsLineReady();

  void NotifyOnBus(const std::string& frame);
  void NotifyOnLine(const std::string& frame);

  // Answers the question by which name the bus knows it, which has to be there already. It does not
  // answer by itself.
  void CallItself(const std::string& uniqueName);
  const std::string& UniqueName() const { return m_peer->UniqueName(); }

  int LinesGiven() const { return m_given; }
  // How often it was asked, on a line, by which name the bus knows it.
  int NamesAsked() const { return m_namesAsked; }

 private:
  struct Way {
    applist::Descriptor fd;
    applist::BusPtr bus;
  };

  Way& Of(Socket socket) { return socket == Socket::Calls ? m_calls : m_events; }
  void Serve(Way& way);
  int GivePipes(sd_bus_message* call);
  int GiveLine(sd_bus_message* call);
  static int OnMessage(sd_bus_message* message, void* remote, sd_bus_error* error);
  int Take(sd_bus_message* message);

  // All but the thread and the numbers is used on the thread.
  const Gives m_gives;
  std::unique_ptr<BusPeer> m_peer;
  Way m_calls;
  Way m_events;
  applist::MessagePtr m_nameAsked;
  applist::MessagePtr m_lineAsked;
  bool m_hangUp = false;
  bool m_hangs = false;
  std::atomic<int> m_given = 0;
  std::atomic<int> m_namesAsked = 0;
  LoopThread m_thread;
};

}  // namespace applist_test

#endif
