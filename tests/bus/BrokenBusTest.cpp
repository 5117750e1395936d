// SPDX-FileCopyrightText: 2026 The AppList authors
// SPDX-License-Identifier: MIT
//
// A bus that takes connections, answers Hello, and then sends what is no message.
#include <sys/socket.h>
#include <systemd/sd-event.h>
#include <unistd.h>

#include <cstdlib>
#include <mutex>
#include <random>

#include "bus/BusFixture.h"
#include "bus/LoopThread.h"
#include "support/BusDaemon.h"
#include "support/Seed.h"

namespace applist_test {
namespace {

using Clock = std::chrono::steady_clock;

// Serves at `path`, on a thread of its own, whoever connects: grants names, knows nobody, and
// answers the first message by which a link follows its partner with `bytes`.
class BrokenBus {
 public:
  BrokenBus(const std::string& path, std::string bytes)
      : m_bytes(std::move(bytes)), m_socket(applist::SocketAt(path, SOCK_STREAM)) {
    m_thread.Run([this] {
      sd_event_default(&m_event);
      sd_event_add_io(m_event, &m_listening, m_socket.Get(), EPOLLIN, OnConnection, this);
    });
  }
  ~BrokenBus() {
    m_thread.Run([this] {
      m_connections.clear();
      sd_event_source_unref(m_listening);
      sd_event_unref(m_event);
    });
  }
  BrokenBus(const BrokenBus&) = delete;
  BrokenBus& operator=(const BrokenBus&) = delete;

  // When each link that follows its partner connected, and when it was sent the bytes.
  struct Visit {
    Clock::time_point came;
    Clock::time_point broken;
  };
  std::vector<Visit> Visits() {
    const std::lock_guard<std::mutex> lock(m_mutex);
    return m_visits;
  }

 private:
  struct Connection {
    applist::BusPtr bus;
    Clock::time_point came;
    int fd = -1;
    BrokenBus* owner = nullptr;
  };

  static int OnConnection(sd_event_source* /*source*/, int fd, uint32_t /*events*/, void* self) {
    static_cast<BrokenBus*>(self)->Accept(fd);
    return 0;
  }

  void Accept(int listening) {
    Connection& connection = m_connections.emplace_back();
    connection.came = Clock::now();
    connection.fd = accept4(listening, nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK);
    connection.owner = this;
    sd_bus* bus = nullptr;
    sd_bus_new(&bus);
    connection.bus.reset(bus);
    sd_bus_set_server(bus, 1, sd_id128_t{});
    sd_bus_set_fd(bus, connection.fd, connection.fd);
    sd_bus_negotiate_fds(bus, 1);
    sd_bus_add_filter(bus, nullptr, OnMessage, &connection);
    sd_bus_start(bus);
    sd_bus_attach_event(bus, m_event, SD_EVENT_PRIORITY_NORMAL);
  }

  static int OnMessage(sd_bus_message* message, void* connection, sd_bus_error* /*error*/) {
    Connection& of = *static_cast<Connection*>(connection);
    const char* const member = sd_bus_message_get_member(message);
    const std::string called = member != nullptr ? member : "";
    if (called == "Hello") {
      sd_bus_reply_method_return(message, "s", ":1.1");
    } else if (called == "RequestName") {
      sd_bus_reply_method_return(message, "u", 1U);
    } else if (called == "AddMatch") {
      of.owner->Break(of);
    } else if (sd_bus_message_is_method_call(message, nullptr, nullptr) > 0) {
      sd_bus_reply_method_errorf(message, SD_BUS_ERROR_NAME_HAS_NO_OWNER, "Nobody is here");
    }
    return 1;
  }

  // The end of what is sent is the end of the connection in one direction.
  void Break(const Connection& connection) {
    sd_bus_flush(connection.bus.get());
    {
      const std::lock_guard<std::mutex> lock(m_mutex);
      m_visits.push_back({connection.came, Clock::now()});
    }
    EXPECT_EQ(send(connection.fd, m_bytes.data(), m_bytes.size(), MSG_NOSIGNAL),
              static_cast<ssize_t>(m_bytes.size()));
    shutdown(connection.fd, SHUT_WR);
  }

  const std::string m_bytes;
  applist::Descriptor m_socket;
  sd_event* m_event = nullptr;
  sd_event_source* m_listening = nullptr;
  // Used on the thread; each stays where it is.
  std::deque<Connection> m_connections;
  std::mutex m_mutex;
  std::vector<Visit> m_visits;
  LoopThread m_thread;
};

// The fixed part of a message: byte order, type, flags, version, length of the body, serial number,
// length of the fields.
std::string Header(uint32_t body, uint32_t fields) {
  std::string header = {'l', 4, 1, 1};
  for (const uint32_t number : {body, uint32_t{77}, fields}) {
    for (unsigned shift = 0; shift < 32; shift += 8) {
      header += static_cast<char>(number >> shift & 0xFFU);
    }
  }
  return header;
}

std::string RandomBytes() {
  std::mt19937 random(Seed());
  std::string bytes(4096, '\0');
  for (char& byte : bytes) {
    byte = static_cast<char>(random());
  }
  return bytes;
}

struct Breakage {
  const char* name;
  std::string bytes;
};
std::ostream& operator<<(std::ostream& out, const Breakage& breakage) {
  return out << breakage.name;
}

class BrokenBusTest : public BusTest {
 protected:
  BrokenBusTest() : BusTest(CallsWait::AsUsual) { setenv("APPLIST_LOG", "info", 1); }

  static size_t Count(const std::string& text, const std::string& part) {
    size_t count = 0;
    for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) {
      ++count;
    }
    return count;
  }

  // Has the link come to a broken bus so often, and then go back to the good one.
  void Visit(size_t times, const std::string& bytes) {
    ui = std::make_unique<UserInterface>();
    ui->model.AddItems(ui->NewItems({"a", "b"}));
    ::testing::internal::CaptureStderr();
    bus.Stop();
    unlink(Path().c_str());
    {
      BrokenBus broken(Path(), bytes);
      EXPECT_TRUE(WaitFor([&] { return broken.Visits().size() >= times; }));
      ui->model.AddItemAtEnd(ui->NewItem("while it is broken"));
      visits = broken.Visits();
    }
    log = ::testing::internal::GetCapturedStderr();
    bus.Start();
    control = applist::ControlClient(bus.Address());
  }

  // One line when the good bus went, and one for each broken connection.
  void ExpectALineForEachLoss() {
    EXPECT_GE(Count(log, "No bus: "), 1U) << log;
    EXPECT_LE(Count(log, "No bus: "), 1 + visits.size()) << log;
  }

  void ExpectEqualLists() {
    Connect();
    ExpectBoth({Named({"a", "b", "while it is broken"}), ""});
  }

  std::string Path() const { return bus.Address().substr(std::string("unix:path=").size()); }

  std::vector<BrokenBus::Visit> visits;
  std::string log;
};

TEST_F(BrokenBusTest, IsTriedLessAndLessOften) {
  Visit(3, RandomBytes());
  auto delay = std::chrono::milliseconds(100);
  for (size_t k = 1; k < visits.size(); ++k, delay *= 2) {
    EXPECT_GE(visits[k].came - visits[k - 1].broken, delay) << k;
  }
  ExpectALineForEachLoss();
  ExpectEqualLists();
}

// The connection is made, as somebody listens; a bus it is not.
TEST_F(BrokenBusTest, OneThatDoesNotAnswerHelloIsNotConnectedTo) {
  bus.Stop();
  unlink(Path().c_str());
  {
    const applist::Descriptor listening = applist::SocketAt(Path(), SOCK_STREAM);
    ui = std::make_unique<UserInterface>();
    ui->model.AddItems(ui->NewItems({"a", "b"}));
    ui->model.SetSelection(ui->Find("a"));
    std::vector<applist::Descriptor> silent;
    EXPECT_TRUE(WaitFor([&] {
      applist::Descriptor connection(accept4(listening.Get(), nullptr, nullptr, SOCK_CLOEXEC));
      if (connection.Get() >= 0) {
        silent.push_back(std::move(connection));
      }
      return silent.size() >= 2;
    })) << "it is not tried again";
    EXPECT_EQ(ui->Holds(), (Contents{Named({"a", "b"}), "a"}));
  }
  bus.Start();
  control = applist::ControlClient(bus.Address());
  Connect();
  ExpectBoth({Named({"a", "b"}), "a"});
}

class BreakageTest : public BrokenBusTest, public ::testing::WithParamInterface<Breakage> {};

TEST_P(BreakageTest, IsSurvived) {
  Visit(1, GetParam().bytes);
  ExpectALineForEachLoss();
  ExpectEqualLists();
}

INSTANTIATE_TEST_SUITE_P(
    OfTheBus, BreakageTest,
    ::testing::Values(Breakage{"Nothing", ""}, Breakage{"RandomBytes", RandomBytes()},
                      Breakage{"Zeroes", std::string(4096, '\0')},
                      Breakage{"HalfAHeader", Header(4, 16).substr(0, 9)},
                      Breakage{"HalfAMessage", Header(1024, 64) + std::string(40, '\1')},
                      Breakage{"AnOversizedBody", Header(UINT32_MAX, 16) + std::string(64, '\1')},
                      Breakage{"OversizedFields", Header(4, 0x7FFFFFFF) + std::string(64, '\1')},
                      Breakage{"BrokenFields", Header(0, 16) + std::string(16, '\xFF')}),
    [](const ::testing::TestParamInfo<Breakage>& tested) {
      return std::string(tested.param.name);
    });

}  // namespace
}  // namespace applist_test
