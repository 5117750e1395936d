// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// What the core itself costs, over a transport that answers at once. Each is registered together
// with its floor, the bare loop or copy without which the job cannot be done: "name/..." and
// "floor of name/...".
#include <benchmark/benchmark.h>
#include <unistd.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

#include "AnsweringTransport.h"
#include "applist/ApplistItemComparator.h"
#include "applist/RemoteAppListModel.h"
#include "common/AppListRemoteControl.h"
#include "common/Log.h"

namespace {

using benchmark::DoNotOptimize;

class ListedItem : public AppListItem {
 public:
  ListedItem(std::string name, std::string id) : m_name(std::move(name)), m_id(std::move(id)) {}
  std::string GetVisibleName() override { return m_name; }
  std::string GetUnigueId() override { return m_id; }

 private:
  const std::string m_name;
  const std::string m_id;
};

using Pointers = std::vector<AppListItem*>;

// A list of `count` items, with identifiers of `length` characters that differ at the end, which
// is what makes a comparison longest.
class Items {
 public:
  Items(int64_t count, int64_t length) {
    for (int64_t k = 0; k < count; ++k) {
      const std::string number = std::to_string(100000 + k);
      const size_t rest = static_cast<size_t>(length) - number.size();
      m_items.push_back(
          std::make_unique<ListedItem>("Name " + number, std::string(rest, 'i') + number));
      m_pointers.push_back(m_items.back().get());
    }
  }
  const Pointers& All() const { return m_pointers; }
  AppListItem* Last() const { return m_pointers.back(); }

 private:
  std::vector<std::unique_ptr<ListedItem>> m_items;
  Pointers m_pointers;
};

// The model with a list, and an item that is not in it.
struct Fixture {
  explicit Fixture(const benchmark::State& state)
      : items(state.range(0), state.range(1)),
        other("Another", std::string(static_cast<size_t>(state.range(1)), 'o')) {
    bench::AnswerWith({});
    Fill();
  }
  void Fill() {
    model.RemoveAllItems();
    for (AppListItem* item : items.All()) {
      model.AddItemAtEnd(item);
    }
  }

  Items items;
  ListedItem other;
  RemoteAppListModel model;
};

// ---- The floors

void Append(std::string& payload, AppListItem* item) {
  payload += item->GetVisibleName();
  payload += '\n';
  payload += item->GetUnigueId();
  payload += '\n';
}

// Puts a frame together and copies it nowhere else.
void SendBare(const Pointers& items) {
  std::string frame;
  for (AppListItem* item : items) {
    Append(frame, item);
  }
  frame.append(4, '\0');
  DoNotOptimize(frame.data());
}

Pointers::const_iterator FindBare(const Pointers& items, AppListItem* wanted) {
  return std::find_if(items.begin(), items.end(), [wanted](AppListItem* item) {
    return wanted->GetUnigueId() == item->GetUnigueId();
  });
}

// ---- The model

using Work = std::function<void(Fixture&)>;

void Run(benchmark::State& state, const Work& work) {
  Fixture fixture(state);
  for (auto _ : state) {
    work(fixture);
  }
}

// Sizes and lengths of identifiers.
void ForAllLists(benchmark::internal::Benchmark* registered) {
  registered->ArgsProduct({{1, 100, 1000, 10000}, {12, 35}});
}

void Register(const std::string& name, const Work& work, const Work& floor) {
  ForAllLists(benchmark::RegisterBenchmark(name.c_str(),
                                           [work](benchmark::State& state) { Run(state, work); }));
  ForAllLists(benchmark::RegisterBenchmark(
      ("floor of " + name).c_str(), [floor](benchmark::State& state) { Run(state, floor); }));
}

std::vector<char> EncodingOf(AppListItem* item) {
  std::string payload;
  Append(payload, item);
  return std::vector<char>(payload.begin(), payload.end());
}

void RegisterModel() {
  const Work sendOne = [](Fixture& f) { SendBare({f.items.Last()}); };
  const Work nothing = [](Fixture& f) {
    static std::mutex mutex;
    const std::lock_guard<std::mutex> lock(mutex);
    DoNotOptimize(&f);
  };
  Register(
      "SetSelection", [](Fixture& f) { f.model.SetSelection(f.items.Last()); }, sendOne);
  Register(
      "SetClicked", [](Fixture& f) { f.model.SetClicked(f.items.Last()); }, sendOne);
  Register(
      "GetSelection", [](Fixture& f) { DoNotOptimize(f.model.GetSelection()); }, nothing);
  Register(
      "GetItemsCount", [](Fixture& f) { DoNotOptimize(f.model.GetItemsCount()); }, nothing);
  Register(
      "GetAllItems", [](Fixture& f) { DoNotOptimize(f.model.GetAllItems()); },
      [](Fixture& f) {
        const Pointers copy = f.items.All();
        DoNotOptimize(copy.data());
      });
  Register(
      "AddItemAtEnd and RemoveItem",
      [](Fixture& f) {
        f.model.AddItemAtEnd(&f.other);
        f.model.RemoveItem(&f.other);
      },
      [](Fixture& f) {
        SendBare({&f.other});
        DoNotOptimize(FindBare(f.items.All(), &f.other));
        SendBare({&f.other});
      });
  Register(
      "ModifyItem of the last",
      [](Fixture& f) { f.model.ModifyItem(f.items.Last(), f.items.Last()); },
      [](Fixture& f) {
        DoNotOptimize(FindBare(f.items.All(), f.items.Last()));
        SendBare({f.items.Last(), f.items.Last()});
      });
  // Searches the whole list, and sends nothing.
  Register(
      "RemoveItem of another", [](Fixture& f) { f.model.RemoveItem(&f.other); },
      [](Fixture& f) { DoNotOptimize(FindBare(f.items.All(), &f.other)); });
  Register(
      "AddItems and RemoveAllItems",
      [](Fixture& f) {
        f.model.RemoveAllItems();
        f.model.AddItems(f.items.All());
      },
      [](Fixture& f) {
        Pointers list;
        for (AppListItem* item : f.items.All()) {
          if (FindBare(list, item) == list.end()) {
            list.push_back(item);
          }
        }
        SendBare(list);
      });
  Register(
      "created event",
      [](Fixture& f) { f.model.OnNotificationReceive(APPLIST_LOCAL_CREATED_EVENT, {}); },
      [](Fixture& f) { SendBare(f.items.All()); });
  Register(
      "selection event",
      [](Fixture& f) {
        bench::AnswerWith(EncodingOf(f.items.Last()));
        f.model.OnNotificationReceive(APPLIST_ITEM_SELECTION_EVENT, {});
      },
      [](Fixture& f) {
        bench::AnswerWith(EncodingOf(f.items.Last()));
        DoNotOptimize(FindBare(f.items.All(), f.items.Last()));
      });
  Register(
      "identity search",
      [](Fixture& f) {
        const Pointers& items = f.items.All();
        DoNotOptimize(std::find_if(items.begin(), items.end(), ApplistItemComparator(&f.other)));
      },
      [](Fixture& f) { DoNotOptimize(FindBare(f.items.All(), &f.other)); });
}

// ---- The encoding

RemoteAppListItem ItemOf(const benchmark::State& state) {
  ListedItem item("Name", std::string(static_cast<size_t>(state.range(0)), 'i'));
  return RemoteAppListItem(item);
}

void Encode(benchmark::State& state) {
  const RemoteAppListItem item = ItemOf(state);
  for (auto _ : state) {
    std::ostringstream out;
    out << item;
    DoNotOptimize(out.str());
  }
}

void EncodeFloor(benchmark::State& state) {
  RemoteAppListItem item = ItemOf(state);
  for (auto _ : state) {
    std::string payload;
    Append(payload, &item);
    DoNotOptimize(payload.data());
  }
}

void Decode(benchmark::State& state) {
  RemoteAppListItem item = ItemOf(state);
  std::string payload;
  Append(payload, &item);
  for (auto _ : state) {
    std::istringstream in(payload);
    in >> item;
    DoNotOptimize(&item);
  }
}

void DecodeFloor(benchmark::State& state) {
  RemoteAppListItem item = ItemOf(state);
  std::string payload;
  Append(payload, &item);
  for (auto _ : state) {
    const size_t middle = payload.find('\n');
    const std::string name = payload.substr(0, middle);
    const std::string id = payload.substr(middle + 1, payload.size() - middle - 2);
    DoNotOptimize(name.data());
    DoNotOptimize(id.data());
  }
}

// ---- The endpoint

class Endpoint : public IPCApplist<JavaMWDbusRemote, Endpoint> {
 public:
  Endpoint() { RegisterOnNotification(this, &Endpoint::OnNotification); }

 private:
  void OnNotification(int messageId, const std::vector<char>& data) {
    DoNotOptimize(messageId);
    DoNotOptimize(data.data());
  }
};

void FrameOut(benchmark::State& state) {
  Endpoint endpoint;
  const std::string payload(static_cast<size_t>(state.range(0)), 'x');
  bench::AnswerWith({});
  for (auto _ : state) {
    DoNotOptimize(endpoint.SendMessage(APPLIST_SET_CLICKED_FNC, payload.data(), payload.size()));
  }
}

void FrameIn(benchmark::State& state) {
  Endpoint endpoint;
  const std::vector<char> frame(static_cast<size_t>(state.range(0)) + 4, '\1');
  for (auto _ : state) {
    std::vector<char> received = frame;
    endpoint.HandleNotification(received);
  }
}

void FrameFloor(benchmark::State& state) {
  const std::vector<char> payload(static_cast<size_t>(state.range(0)) + 4, 'x');
  for (auto _ : state) {
    const std::vector<char> frame = payload;
    DoNotOptimize(frame.data());
  }
}

// ---- The log

void FilteredLine(benchmark::State& state) {
  for (auto _ : state) {
    APPLIST_LOGF(DLOG_DEBUG, "SetSelection: %p", static_cast<void*>(&state));
  }
}

void NoLine(benchmark::State& state) {
  for (auto _ : state) {
    DoNotOptimize(&state);
    benchmark::ClobberMemory();
  }
}

void WrittenLine(benchmark::State& state) {
  for (auto _ : state) {
    APPLIST_LOGF(DLOG_ERROR, "SetSelection: %p", static_cast<void*>(&state));
  }
}

void BareWrite(benchmark::State& state) {
  const std::string line(100, 'x');
  for (auto _ : state) {
    DoNotOptimize(write(STDERR_FILENO, line.data(), line.size()));
  }
}

void RegisterRest() {
  const auto both = [](const char* name, void (*work)(benchmark::State&),
                       void (*floor)(benchmark::State&)) {
    const std::string floorName = std::string("floor of ") + name;
    return std::vector<benchmark::internal::Benchmark*>{
        benchmark::RegisterBenchmark(name, work),
        benchmark::RegisterBenchmark(floorName.c_str(), floor)};
  };
  const auto bySize = [](const std::vector<benchmark::internal::Benchmark*>& registered) {
    for (benchmark::internal::Benchmark* one : registered) {
      one->Arg(12)->Arg(35)->Arg(1 << 10)->Arg(1 << 16)->Arg(1 << 20);
    }
  };
  bySize(both("encode", Encode, EncodeFloor));
  bySize(both("decode", Decode, DecodeFloor));
  bySize(both("frame out", FrameOut, FrameFloor));
  bySize(both("frame in", FrameIn, FrameFloor));
  both("filtered log line", FilteredLine, NoLine);
  both("written log line", WrittenLine, BareWrite);
}

}  // namespace

int main(int argc, char** argv) {
  RegisterModel();
  RegisterRest();
  benchmark::Initialize(&argc, argv);
  benchmark::RunSpecifiedBenchmarks();
  return 0;
}
