// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// What the two processes of every contestant have in common: a client, which is told on standard
// input what to do and prints how long each time took, and a server, which keeps the list.
#ifndef APPLIST_BENCHMARKS_PEER_H
#define APPLIST_BENCHMARKS_PEER_H

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <string>
#include <vector>

namespace bench {

constexpr const char* kServerName = "org.javamw.Bench.Server";
constexpr const char* kPath = "/org/javamw/Bench";
constexpr const char* kInterface = "org.javamw.Bench1";

// The messages, with the numbers of the application list's own. kCall is answered at once.
enum Message {
  kItemsChanged = 1,
  kSelected = 2,
  kClicked = 3,
  kCreated = 4,
  kCall = 5,
  kSetSelection = 2000,
  kGetSelection = 2001,
  kRemoveAll = 2003,
  kAddItems = 2004,
  kAddAtEnd = 2005,
  kSetClicked = 2006
};

// Memory that client and server share, beside the way that is measured.
struct Shared {
  // When the server began what it was triggered to do, and when it held all items; 0 before.
  std::atomic<int64_t> begin;
  std::atomic<int64_t> end;
  // How many items it waits for, and how many messages it has taken.
  std::atomic<int64_t> expected;
  std::atomic<int64_t> taken;
};
Shared& TheShared();

// Nanoseconds of a clock that all processes share.
int64_t Now();

// What the client asks the server for by the pipe: to select another item, or to start over.
constexpr char kSelectTrigger = 'e';
constexpr char kCreateTrigger = 'p';
void Trigger(char what);
int TriggerDescriptor();
char ReadTrigger();

// Where a server without a bus listens.
std::string SocketPath();

struct Item {
  std::string name;
  std::string id;
};
std::vector<Item> MakeItems(int count);

// One item after another: the name, a line feed, the identifier, a line feed.
std::string Encode(const Item& item);
std::string Encode(const std::vector<Item>& items);

// The payload with the message's number behind it.
std::string Frame(const std::string& payload, int message);

// The remote side of the application list, as simple as it can be.
class RemoteSide {
 public:
  explicit RemoteSide(std::function<void(int event)> notify) : m_notify(std::move(notify)) {}

  // Takes a message and returns the reply to it.
  std::string Answer(const char* frame, size_t size);

  // Takes what comes by the pipe.
  void OnTrigger();

 private:
  bool Select(const std::string& id);

  std::function<void(int event)> m_notify;
  std::vector<Item> m_items;
  std::string m_selection;
  Item m_clicked;
};

// How a client reaches its server.
class Transport {
 public:
  virtual ~Transport() = default;
  virtual std::string Call(const std::string& frame) = 0;

  // Waits until something has come in, and hands each event in it to Arrived().
  virtual void Wait() = 0;

  void WaitFor(int event);

 protected:
  void Arrived(int event) { m_events.push_back(event); }

 private:
  std::deque<int> m_events;
};

// By name: each does one thing once, takes a size that means something to it, and returns the time
// in nanoseconds.
using Operations = std::map<std::string, std::function<int64_t(int size)>>;

// The time of one run of `work`.
int64_t Time(const std::function<void()>& work);

// What every client on a transport can do.
Operations OperationsOn(Transport& transport);

// Does the first operation, `first`, says when it was done, and then what standard input asks for,
// one line of "OPERATION COUNT SIZE" after another.
int RunClient(const Operations& operations);

// Calls `work` on `count` threads, `kCallsPerThread` times on each, and returns the time for one.
constexpr int kCallsPerThread = 50;
int64_t TimeOnThreads(int count, const std::function<void()>& work);

// Says on standard output that the server is there.
void SayReady();

// Runs whichever of the two the first argument names, and reports what they throw.
int Main(int argc, char** argv, const std::map<std::string, std::function<int()>>& roles);

}  // namespace bench

#endif
