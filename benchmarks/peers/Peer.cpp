// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
#include "Peer.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <exception>
#include <iostream>
#include <mutex>
#include <sstream>
#include <stdexcept>
#include <string_view>
#include <system_error>
#include <thread>

namespace bench {

namespace {

const char* Environment(const char* name) {
  const char* value = std::getenv(name);
  if (value == nullptr) {
    throw std::runtime_error(std::string(name) + " is not set: benchmarks/run.py starts this");
  }
  return value;
}

Shared* MapShared() {
  const int fd = open(Environment("BENCH_SHARED"), O_RDWR | O_CLOEXEC);
  void* memory = mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
  if (memory == MAP_FAILED) {
    throw std::system_error(errno, std::generic_category(), "BENCH_SHARED");
  }
  close(fd);
  return static_cast<Shared*>(memory);
}

std::vector<Item> Decode(std::string_view data) {
  std::vector<Item> items;
  while (!data.empty()) {
    const size_t name = data.find('\n');
    const size_t id = data.find('\n', name + 1);
    if (name == std::string_view::npos || id == std::string_view::npos) {
      throw std::runtime_error("malformed items");
    }
    items.push_back(
        {std::string(data.substr(0, name)), std::string(data.substr(name + 1, id - name - 1))});
    data.remove_prefix(id + 1);
  }
  return items;
}

}  // namespace

Shared& TheShared() {
  static Shared* const shared = MapShared();
  return *shared;
}

int64_t Now() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return int64_t{now.tv_sec} * 1000000000 + now.tv_nsec;
}

void Trigger(char what) {
  static const int fd = std::atoi(Environment("BENCH_TRIGGER_WRITE"));
  if (write(fd, &what, 1) != 1) {
    throw std::system_error(errno, std::generic_category(), "trigger");
  }
}

int TriggerDescriptor() {
  static const int fd = std::atoi(Environment("BENCH_TRIGGER_READ"));
  return fd;
}

char ReadTrigger() {
  char what = 0;
  if (read(TriggerDescriptor(), &what, 1) != 1) {
    std::exit(0);  // the benchmark is over
  }
  return what;
}

std::string SocketPath() {
  return Environment("BENCH_SOCKET");
}

std::vector<Item> MakeItems(int count) {
  std::vector<Item> items;
  for (int k = 0; k < count; ++k) {
    const std::string number = std::to_string(100000 + k);
    items.push_back({"Name " + number, "org.example." + number + ".desktop"});
  }
  return items;
}

std::string Encode(const Item& item) {
  return item.name + '\n' + item.id + '\n';
}

std::string Encode(const std::vector<Item>& items) {
  std::string payload;
  for (const Item& item : items) {
    payload += Encode(item);
  }
  return payload;
}

std::string Frame(const std::string& payload, int message) {
  std::string frame;
  frame.reserve(payload.size() + sizeof message);
  frame = payload;
  char bytes[sizeof message];
  std::memcpy(bytes, &message, sizeof message);
  return frame.append(bytes, sizeof message);
}

std::string RemoteSide::Answer(const char* frame, size_t size) {
  int message = 0;
  if (size < sizeof message) {
    throw std::runtime_error("a frame without a number");
  }
  const std::string_view payload(frame, size - sizeof message);
  std::memcpy(&message, payload.data() + payload.size(), sizeof message);
  ++TheShared().taken;
  switch (message) {
    case kCall:
      break;
    case kSetSelection:
      Select(Decode(payload).front().id);
      break;
    case kGetSelection: {
      const auto selected = std::find_if(m_items.begin(), m_items.end(),
                                         [&](const Item& item) { return item.id == m_selection; });
      return selected == m_items.end() ? std::string() : Encode(*selected);
    }
    case kRemoveAll:
      m_items.clear();
      break;
    case kAddItems:
      m_items = Decode(payload);
      if (static_cast<int64_t>(m_items.size()) == TheShared().expected) {
        TheShared().end = Now();
      }
      m_notify(kItemsChanged);
      break;
    case kAddAtEnd:
      m_items.push_back(Decode(payload).front());
      m_notify(kItemsChanged);
      break;
    case kSetClicked:
      m_clicked = Decode(payload).front();
      m_notify(kClicked);
      break;
    default:
      throw std::runtime_error("an unknown message");
  }
  return std::string();
}

bool RemoteSide::Select(const std::string& id) {
  const auto found = std::find_if(m_items.begin(), m_items.end(),
                                  [&id](const Item& item) { return item.id == id; });
  if (found == m_items.end()) {
    throw std::runtime_error("selected what is not in the list");
  }
  m_selection = id;
  m_notify(kSelected);
  return true;
}

void RemoteSide::OnTrigger() {
  if (ReadTrigger() == kCreateTrigger) {
    m_items.clear();
    TheShared().begin = Now();
    m_notify(kCreated);
    return;
  }
  TheShared().begin = Now();
  const size_t last = m_items.size() - 1;
  Select(m_items[last - (m_items[last].id == m_selection ? 1 : 0)].id);
}

void Transport::WaitFor(int event) {
  for (;;) {
    while (m_events.empty()) {
      Wait();
    }
    const int next = m_events.front();
    m_events.pop_front();
    if (next == event) {
      return;
    }
  }
}

int64_t Time(const std::function<void()>& work) {
  const int64_t begin = Now();
  work();
  return Now() - begin;
}

int64_t TimeOnThreads(int count, const std::function<void()>& work) {
  std::vector<std::thread> threads;
  const int64_t begin = Now();
  for (int k = 0; k < count; ++k) {
    threads.emplace_back([&work] {
      for (int call = 0; call < kCallsPerThread; ++call) {
        work();
      }
    });
  }
  for (std::thread& thread : threads) {
    thread.join();
  }
  return (Now() - begin) / (int64_t{count} * kCallsPerThread);
}

Operations OperationsOn(Transport& transport) {
  // The client's own list, which the operations share.
  static std::vector<Item> items;
  static size_t turn = 0;
  static std::mutex mutex;
  const auto call = [&transport](const std::string& payload, int message) {
    return Time([&] { transport.Call(Frame(payload, message)); });
  };
  // Tells and then waits, untimed, until the server's event is worked off.
  const auto tell = [&transport, call](const Item& item, int message, int event) {
    const int64_t time = Time([&] { call(Encode(item), message); });
    transport.WaitFor(event);
    if (event == kSelected) {
      transport.Call(Frame("", kGetSelection));
    }
    return time;
  };
  Operations operations;
  operations["first"] = operations["call"] = [call](int size) {
    return call(std::string(static_cast<size_t>(size), 'x'), kCall);
  };
  operations["list"] = [&transport, call](int size) {
    items = MakeItems(size);
    TheShared().expected = 0;
    const int64_t time = call("", kRemoveAll) + call(Encode(items), kAddItems);
    transport.WaitFor(kItemsChanged);
    return time;
  };
  // One of the last two, so that a search shows.
  operations["select"] = [tell](int) {
    return tell(items[items.size() - 1 - turn++ % 2], kSetSelection, kSelected);
  };
  operations["click"] = [tell](int) { return tell(items[0], kSetClicked, kClicked); };
  operations["append"] = [tell](int) { return tell(items[0], kAddAtEnd, kItemsChanged); };
  operations["event"] = [&transport](int) {
    Trigger(kSelectTrigger);
    transport.WaitFor(kSelected);
    const std::string selected = transport.Call(Frame("", kGetSelection));
    const auto found = std::find_if(items.begin(), items.end(), [&selected](const Item& item) {
      return selected == Encode(item);
    });
    const int64_t time = Now() - TheShared().begin;
    if (found == items.end()) {
      throw std::runtime_error("the server has selected what is not in the list");
    }
    return time;
  };
  operations["push"] = [&transport, call](int size) {
    TheShared().end = 0;
    TheShared().expected = size;
    Trigger(kCreateTrigger);
    transport.WaitFor(kCreated);
    call(Encode(items), kAddItems);
    transport.WaitFor(kItemsChanged);
    return TheShared().end - TheShared().begin;
  };
  operations["threads"] = [&transport](int size) {
    const std::string frame = Frame(Encode(items[0]), kSetClicked);
    const int64_t time = TimeOnThreads(size, [&] {
      const std::lock_guard<std::mutex> lock(mutex);
      transport.Call(frame);
    });
    for (int k = 0; k < size * kCallsPerThread; ++k) {
      transport.WaitFor(kClicked);
    }
    return time;
  };
  return operations;
}

int RunClient(const Operations& operations) {
  const int64_t before = TheShared().taken;
  operations.at("first")(40);
  std::cout << Now() << std::endl;
  if (TheShared().taken == before) {
    throw std::runtime_error("the first call has not arrived");
  }
  std::string line;
  while (std::getline(std::cin, line)) {
    std::istringstream words(line);
    std::string name;
    int count = 0;
    int size = 0;
    words >> name >> count >> size;
    const auto operation = operations.find(name);
    if (operation == operations.end()) {
      std::cout << "unknown" << std::endl;
      continue;
    }
    for (int k = 0; k < count; ++k) {
      const int64_t time = operation->second(size);
      if (time <= 0) {
        throw std::runtime_error(name + " has not happened");
      }
      std::cout << time << ' ';
    }
    std::cout << std::endl;
  }
  return 0;
}

void SayReady() {
  std::cout << "ready" << std::endl;
}

int Main(int argc, char** argv, const std::map<std::string, std::function<int()>>& roles) {
  try {
    const auto role = argc == 2 ? roles.find(argv[1]) : roles.end();
    if (role == roles.end()) {
      throw std::runtime_error("usage: client, or a server's name");
    }
    return role->second();
  } catch (const std::exception& e) {
    std::cerr << argv[0] << ": " << e.what() << std::endl;
    return 1;
  }
}

}  // namespace bench
