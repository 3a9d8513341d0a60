// The clients of the daemons behind real ports: against the daemons themselves where the machine
// has them, and against others that talk nonsense, stop in the middle or say nothing.
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <thread>

#include "switchsim/plane_ovs/netlink.h"
#include "switchsim/plane_ovs/openflow.h"
#include "switchsim/plane_ovs/ovsdb.h"
#include "switchsim/plane_ovs/vty.h"
#include "tests/support/temp_folder.h"

namespace
{
constexpr uint64_t SHORT_MS = 200;
constexpr uint64_t LONG_MS = 10000;

uint64_t in_ms(uint64_t ms)
{
  return stream_now_ms() + ms;
}

// A daemon that sends each of these pieces after something came in, and then closes or, with none
// left to send, waits until the client has gone.
struct fake_daemon_t {
  temp_folder folder;
  std::string path = folder.path + "/socket";
  fd_guard_t listener{socket(AF_UNIX, SOCK_STREAM, 0)};
  std::thread thread;

  fake_daemon_t(std::vector<std::string> pieces, bool stays)
  {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    snprintf(address.sun_path, sizeof address.sun_path, "%s", path.c_str());
    EXPECT_EQ(bind(listener.fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(listen(listener.fd, 1), 0);
    thread = std::thread([this, pieces = std::move(pieces), stays] {
      const fd_guard_t client(accept(listener.fd, nullptr, nullptr));
      char room[65536];
      for (const std::string& piece : pieces) {
        if (recv(client.fd, room, sizeof room, 0) <= 0)
          return;
        send(client.fd, piece.data(), piece.size(), MSG_NOSIGNAL);
      }
      while (stays && recv(client.fd, room, sizeof room, 0) > 0) {
      }
    });
  }
  ~fake_daemon_t()
  {
    shutdown(listener.fd, SHUT_RDWR);
    thread.join();
  }
};

std::string bytes(std::initializer_list<int> numbers)
{
  return std::string(numbers.begin(), numbers.end());
}

const std::string HELLO = bytes({5, 0, 0, 8, 0, 0, 0, 1});

struct bad_answer_t {
  const char* name;
  std::vector<std::string> pieces;
  bool stays;
};

// One exchange with a daemon; what it says is wrong, empty when nothing is.
using exchange_t = std::string (*)(const std::string& path);

std::string ask_ovsdb(const std::string& path)
{
  ovsdb_t db;
  std::string why;
  json_ptr_t operations(json_tokener_parse(R"([{"op":"comment","comment":"x"}])"));
  return ovsdb_connect(db, path, in_ms(SHORT_MS), why) &&
                 ovsdb_transact(db, std::move(operations), in_ms(SHORT_MS), why) != nullptr
             ? ""
             : why;
}

std::string ask_openflow(const std::string& path)
{
  of_t of;
  std::string why;
  std::vector<of_flow_t> flows;
  return of_connect(of, path, in_ms(SHORT_MS), why) &&
                 of_flows_read(of, 0, 0, flows, in_ms(SHORT_MS), why)
             ? ""
             : why;
}

std::string ask_vty(const std::string& path)
{
  vty_t vty;
  std::string why;
  std::string answer;
  return vty_connect(vty, path, in_ms(SHORT_MS), why) &&
                 vty_run(vty, "show version", answer, in_ms(SHORT_MS), why)
             ? ""
             : why;
}

void expect_all_refused(exchange_t ask, const std::vector<bad_answer_t>& answers)
{
  for (const bad_answer_t& bad : answers) {
    const fake_daemon_t daemon(bad.pieces, bad.stays);
    const uint64_t started = stream_now_ms();
    EXPECT_NE(ask(daemon.path), "") << bad.name;
    EXPECT_LT(stream_now_ms() - started, LONG_MS) << bad.name;
  }
  EXPECT_NE(ask("/nowhere/socket"), "");
  EXPECT_NE(ask(std::string(200, 'x')), "");
}

TEST(Clients, BadDatabase)
{
  expect_all_refused(ask_ovsdb,
                     {
                         {"silence",           {},                                                true },
                         {"closed",            {},                                                false},
                         {"cut",               {R"({"id":1,"resu)"},                              false},
                         {"stuck",             {R"({"id":1,"resu)"},                              true },
                         {"garbage",           {"\x01\x02}{"},                                    true },
                         {"deep",              {std::string(100000, '[')},                        true },
                         {"number",            {"7 "},                                            true },
                         {"another's answer",  {R"({"id":9,"result":[{}],"error":null})"},        true },
                         {"no result",         {R"({"id":1,"result":null,"error":"no"})"},        true },
                         {"result of no kind", {R"({"id":1,"result":{"a":1},"error":null})"},     true },
                         {"refused",           {R"({"id":1,"result":[{"error":"constraint"}]})"}, true },
  });
  const fake_daemon_t asks_back(
      {R"({"id":"echo","method":"echo","params":[]})", R"({"id":1,"result":[{}],"error":null})"},
      true);
  EXPECT_EQ(ask_ovsdb(asks_back.path), "");
}

TEST(Clients, BadBridge)
{
  const std::string reply_head = bytes({5, 19, 0, 20, 0, 0, 0, 2, 0, 1, 0, 0, 0, 0, 0, 0});
  expect_all_refused(ask_openflow,
                     {
                         {"silence",           {},                                                    true },
                         {"closed",            {},                                                    false},
                         {"old version",       {bytes({1, 0, 0, 8, 0, 0, 0, 1})},                     true },
                         {"short length",      {bytes({5, 0, 0, 3, 0, 0, 0, 1})},                     true },
                         {"cut",               {HELLO.substr(0, 5)},                                  false},
                         {"error",             {HELLO, bytes({5, 1, 0, 12, 0, 0, 0, 2, 0, 1, 0, 5})}, true },
                         {"short error",       {HELLO, bytes({5, 1, 0, 9, 0, 0, 0, 2, 0})},           true },
                         {"empty reply",       {HELLO, bytes({5, 19, 0, 8, 0, 0, 0, 2})},             true },
                         {"entry of length 0", {HELLO, reply_head + std::string(4, '\0')},            true },
                         {"entry too long",    {HELLO, reply_head + bytes({0, 100, 0, 0})},           true },
  });
  const fake_daemon_t empty({HELLO, bytes({5, 19, 0, 16, 0, 0, 0, 2, 0, 1, 0, 0, 0, 0, 0, 0})},
                            true);
  EXPECT_EQ(ask_openflow(empty.path), "");
}

TEST(Clients, BadVty)
{
  const std::string done = bytes({0, 0, 0, 0});
  expect_all_refused(ask_vty, {
                                  {"silence", {},                                         true },
                                  {"closed",  {done},                                     false},
                                  {"cut",     {done, "text" + bytes({0, 0, 0})},          false},
                                  {"stuck",   {done, "text" + bytes({0, 0})},             true },
                                  {"endless", {done, std::string(1 << 20, 'x')},          true },
                                  {"refused", {done, "% no" + bytes({'\n', 0, 0, 0, 2})}, true },
  });
  const fake_daemon_t good({done, "text" + bytes({0, 0, 0, 0})}, true);
  EXPECT_EQ(ask_vty(good.path), "");
}

// ---- the daemons themselves ----

bool run(const std::string& command)
{
  return system((command + " >/dev/null 2>&1").c_str()) == 0;
}

// Open vSwitch in a folder of its own, without ports of the machine.
struct real_daemons_t {
  temp_folder folder;
  bool running = false;

  std::string at(const std::string& name) const
  {
    return folder.path + "/" + name;
  }
  real_daemons_t()
  {
    const std::string options =
        " --detach --no-chdir --log-file=" + at("log") + " --pidfile=" + at("");
    setenv("OVS_RUNDIR", folder.path.c_str(), 1);
    running =
        run("ovsdb-tool create " + at("conf.db") + " /usr/share/openvswitch/vswitch.ovsschema") &&
        run("ovsdb-server " + at("conf.db") + " --remote=punix:" + at("db.sock") +
            " --unixctl=" + at("db.ctl") + options + "db.pid") &&
        run("ovs-vsctl --db=unix:" + at("db.sock") + " --no-wait init") &&
        run("ovs-vswitchd --enable-dummy --disable-system unix:" + at("db.sock") +
            " --unixctl=" + at("vs.ctl") + options + "vs.pid") &&
        run("ovs-vsctl --db=unix:" + at("db.sock") +
            " add-br t0 -- set bridge t0 datapath_type=dummy fail-mode=secure -- add-port t0 p1 "
            "-- set interface p1 type=dummy ofport_request=1");
  }
  ~real_daemons_t()
  {
    for (const char* pid : {"vs.pid", "db.pid"})
      run("kill $(cat " + at(pid) + ")");
  }
};

TEST(Clients, RealDatabase)
{
  const real_daemons_t daemons;
  if (!daemons.running)
    GTEST_SKIP() << "no Open vSwitch here";
  ovsdb_t db;
  std::string why;
  ASSERT_TRUE(ovsdb_connect(db, "unix:" + daemons.at("db.sock"), in_ms(LONG_MS), why)) << why;
  const auto transact = [&](const char* operations) {
    return ovsdb_transact(db, json_ptr_t(json_tokener_parse(operations)), in_ms(LONG_MS), why);
  };
  const json_ptr_t selected =
      transact(R"([{"op":"select","table":"Bridge","where":[],"columns":["name"]}])");
  ASSERT_NE(selected, nullptr) << why;
  EXPECT_STREQ(json_object_to_json_string_ext(selected.get(), JSON_C_TO_STRING_PLAIN),
               R"([{"rows":[{"name":"t0"}]}])");
  EXPECT_EQ(transact(R"([{"op":"select","table":"Nothing","where":[]}])"), nullptr);
  EXPECT_NE(why.find("Nothing"), std::string::npos) << why;
  EXPECT_NE(transact(R"([{"op":"comment","comment":"still there"}])"), nullptr) << why;
}

// What is written is read back as the same, whatever the bridge makes of it, and a bundle with a
// wrong flow does nothing.
TEST(Clients, RealBridge)
{
  const real_daemons_t daemons;
  if (!daemons.running)
    GTEST_SKIP() << "no Open vSwitch here";
  of_t of;
  std::string why;
  ASSERT_TRUE(of_connect(of, daemons.at("t0.mgmt"), in_ms(LONG_MS), why)) << why;

  constexpr uint64_t COOKIE = 0x7700000000;
  std::vector<of_flow_t> wanted;
  const auto flow = [&](const std::function<void(of_flow_t&)>& fill, const std::string& actions,
                        uint8_t next) {
    wanted.emplace_back();
    of_flow_t& added = wanted.back();
    added.priority = static_cast<uint16_t>(wanted.size());
    added.cookie = COOKIE + wanted.size();
    fill(added);
    of_instructions(added, actions, next);
  };
  std::string tag;
  of_action_push_vlan(tag);
  of_action_set(tag, OF_VLAN_VID, OF_VLAN_PRESENT | 10);
  of_action_set(tag, OF_PKT_MARK, 7);
  of_action_output(tag, OF_PORT_NORMAL);
  std::string rewrite;
  of_action_set(rewrite, OF_VLAN_PCP, 5);
  of_action_set(rewrite, OF_ETH_DST, 0x020000000001);
  of_action_set(rewrite, OF_ETH_SRC, 0x020000000002);
  of_action_pop_vlan(rewrite);
  of_action_output(rewrite, 1);
  flow(
      [](of_flow_t& f) {
        of_match(f, OF_VLAN_VID, 0);
        of_match(f, OF_IN_PORT, 1);
      },
      tag, 0);
  flow([](of_flow_t& f) { of_match(f, OF_VLAN_VID, OF_VLAN_PRESENT | 20); }, rewrite, 0);
  flow(
      [](of_flow_t& f) {
        of_match(f, OF_ETH_TYPE, 0x0800);
        of_match(f, OF_IP_PROTO, 6);
        of_match(f, OF_IP_DSCP, 46);
        of_match_masked(f, OF_IPV4_DST, 0x0a010203, 0xffff0000);
        of_match_masked(f, OF_TCP_DST, 80, 0xfff0);
        of_match(f, OF_PKT_MARK, 3);
        of_match_masked(f, OF_IPV4_SRC, 1, 0);
      },
      "", 0);
  flow(
      [](of_flow_t& f) {
        of_match(f, OF_ETH_TYPE, 0x86dd);
        of_match_bytes(f, OF_IPV6_DST, std::string(16, '\x20'),
                       std::string(8, '\xff') + std::string(8, '\0'));
      },
      "", 1);
  flow([](of_flow_t&) {}, "", 2);
  ASSERT_TRUE(of_flows_change(of, {}, wanted, in_ms(LONG_MS), why)) << why;

  std::vector<of_flow_t> read;
  const auto read_all = [&] {
    ASSERT_TRUE(of_flows_read(of, COOKIE, ~0xffffULL, read, in_ms(LONG_MS), why)) << why;
    std::sort(read.begin(), read.end());
  };
  std::sort(wanted.begin(), wanted.end());
  read_all();
  EXPECT_EQ(read, wanted);
  ASSERT_TRUE(of_flows_read(of, 0x1234, UINT64_MAX, read, in_ms(LONG_MS), why)) << why;
  EXPECT_TRUE(read.empty());

  of_flow_t wrong = wanted[0];
  wrong.match = "\xff\xff\xff";
  EXPECT_FALSE(of_flows_change(of, {wanted[1]}, {wrong}, in_ms(LONG_MS), why));
  ASSERT_TRUE(of_connect(of, daemons.at("t0.mgmt"), in_ms(LONG_MS), why)) << why;
  read_all();
  EXPECT_EQ(read, wanted);
  ASSERT_TRUE(of_flows_change(of, {wanted[1]}, {}, in_ms(LONG_MS), why)) << why;
  wanted.erase(wanted.begin() + 1);
  read_all();
  EXPECT_EQ(read, wanted);
}

TEST(Clients, RealLinks)
{
  nl_t nl;
  std::string why;
  nl_links_t links;
  ASSERT_TRUE(nl_open(nl, why)) << why;
  ASSERT_TRUE(nl_links_read(nl, links, in_ms(LONG_MS), why)) << why;
  ASSERT_EQ(links.count("lo"), 1U);
  EXPECT_TRUE(links["lo"].up && links["lo"].carrier);
  std::vector<open_inet_pfx_t> addresses;
  ASSERT_TRUE(nl_addresses_read(nl, links["lo"].index, addresses, in_ms(LONG_MS), why)) << why;
  ASSERT_FALSE(addresses.empty());
  EXPECT_EQ(addresses[0].addr.ipv4, 0x7f000001U);
  EXPECT_EQ(addresses[0].pfxLen, 8U);
  EXPECT_FALSE(nl_up_set(nl, 999999, true, in_ms(LONG_MS), why));
  EXPECT_FALSE(nl_carrier_set(nl, links["lo"].index, false, in_ms(LONG_MS), why));
}
}  // namespace
