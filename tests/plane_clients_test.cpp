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

#include "switchsim/plane_ovs/flow_policies.h"
#include "switchsim/plane_ovs/flows.h"
#include "switchsim/plane_ovs/netlink.h"
#include "switchsim/plane_ovs/rows_apply.h"
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

// What a daemon does behind its last piece, until the client has gone.
enum then_t { CLOSES, STAYS, GOES_ON };  // goes on: sends the last piece again and again

// A daemon that sends each of these pieces after something came in.
struct fake_daemon_t {
  temp_folder folder;
  std::string path = folder.path + "/socket";
  fd_guard_t listener{socket(AF_UNIX, SOCK_STREAM, 0)};
  std::thread thread;

  fake_daemon_t(std::vector<std::string> pieces, then_t then)
  {
    sockaddr_un address = {};
    address.sun_family = AF_UNIX;
    snprintf(address.sun_path, sizeof address.sun_path, "%s", path.c_str());
    EXPECT_EQ(bind(listener.fd, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(listen(listener.fd, 1), 0);
    thread = std::thread([this, pieces = std::move(pieces), then] {
      const fd_guard_t client(accept(listener.fd, nullptr, nullptr));
      char room[65536];
      for (const std::string& piece : pieces) {
        if (recv(client.fd, room, sizeof room, 0) <= 0)
          return;
        send(client.fd, piece.data(), piece.size(), MSG_NOSIGNAL);
      }
      while (then == GOES_ON &&
             send(client.fd, pieces.back().data(), pieces.back().size(), MSG_NOSIGNAL) > 0) {
      }
      while (then == STAYS && recv(client.fd, room, sizeof room, 0) > 0) {
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
  then_t then;
};

// One exchange with a daemon; what it says is wrong, empty when nothing is.
using exchange_t = std::string (*)(const std::string& path);

std::string said(bool done, const std::string& why)
{
  return done ? "" : why;
}

std::string ask_ovsdb(const std::string& path)
{
  ovsdb_t db;
  std::string why;
  json_ptr_t comment(json_tokener_parse(R"([{"op":"comment","comment":"x"}])"));
  return said(ovsdb_connect(db, path, in_ms(SHORT_MS), why) &&
                  ovsdb_transact(db, std::move(comment), in_ms(SHORT_MS), why) != nullptr,
              why);
}

// Reads the rows of a switch with one port that it takes for put right.
std::string ask_rows(const std::string& path)
{
  ovsdb_t db;
  std::string why;
  rows_state_t state;
  const rows_t wanted = {{"b"}, {{"p", {"b", {}, {{"p", {}}}}}}};
  const bool done = ovsdb_connect(db, path, in_ms(SHORT_MS), why) &&
                    rows_apply(db, "b", wanted, state, in_ms(SHORT_MS), why);
  return done && !state.errors.empty() ? state.errors.begin()->second : said(done, why);
}

std::string ask_openflow(const std::string& path)
{
  of_t of;
  std::string why;
  std::vector<of_flow_t> flows;
  return said(of_connect(of, path, in_ms(SHORT_MS), why) &&
                  of_flows_read(of, 0, 0, flows, in_ms(SHORT_MS), why),
              why);
}

std::string ask_vty(const std::string& path)
{
  vty_t vty;
  std::string why;
  std::string answer;
  return said(vty_connect(vty, path, in_ms(SHORT_MS), why) &&
                  vty_run(vty, "show version", answer, in_ms(SHORT_MS), why),
              why);
}

void expect_all_refused(exchange_t ask, std::vector<bad_answer_t> answers)
{
  answers.push_back({"silence", {}, STAYS});
  answers.push_back({"closed", {}, CLOSES});
  for (const bad_answer_t& bad : answers) {
    const fake_daemon_t daemon(bad.pieces, bad.then);
    const uint64_t started = stream_now_ms();
    EXPECT_NE(ask(daemon.path), "") << bad.name;
    EXPECT_LT(stream_now_ms() - started, LONG_MS) << bad.name;
  }
  EXPECT_NE(ask("/nowhere/socket"), "");
  EXPECT_NE(ask(std::string(200, 'x')), "");
}

TEST(Clients, BadDatabase)
{
  expect_all_refused(
      ask_ovsdb, {
                     {"cut",               {R"({"id":1,"resu)"},                              CLOSES },
                     {"stuck",             {R"({"id":1,"resu)"},                              STAYS  },
                     {"garbage",           {"\x01\x02}{"},                                    STAYS  },
                     {"deep",              {std::string(100000, '[')},                        STAYS  },
                     {"null",              {"null "},                                         STAYS  },
                     {"no end",            {R"({"id":9})"},                                   GOES_ON},
                     {"too few results",   {R"({"id":1,"result":[],"error":null})"},          STAYS  },
                     {"number",            {"7 "},                                            STAYS  },
                     {"another's answer",  {R"({"id":9,"result":[{}],"error":null})"},        STAYS  },
                     {"no result",         {R"({"id":1,"result":null,"error":"no"})"},        STAYS  },
                     {"result of no kind", {R"({"id":1,"result":{"a":1},"error":null})"},     STAYS  },
                     {"refused",           {R"({"id":1,"result":[{"error":"constraint"}]})"}, STAYS  },
  });
  const fake_daemon_t asks_back(
      {R"({"id":"echo","method":"echo","params":[]})", R"({"id":1,"result":[{}],"error":null})"},
      STAYS);
  EXPECT_EQ(ask_ovsdb(asks_back.path), "");
}

// Rows of any kind but the right one: nothing is taken for granted.
TEST(Clients, BadRows)
{
  const auto answer = [](const std::string& top, const std::string& rest) {
    return std::vector<std::string>{R"({"id":1,"error":null,"result":[)" + top + "," + rest + "]}"};
  };
  const std::string top = R"({"rows":[{"_uuid":["uuid","t"],"cur_cfg":1,"next_cfg":1}]})";
  const std::string bridge =
      R"({"rows":[{"name":"b","_uuid":["uuid","b"],"ports":["uuid","p"]}]},)";
  const std::string port = R"({"rows":[{"name":"p","_uuid":["uuid","p"],"interfaces":["uuid","i"],)"
                           R"("external_ids":["map",[["rest-engine","b"]]]}]},)";
  const std::string interface = bridge + port + R"({"rows":[{"name":"p","_uuid":["uuid","i"])";
  // clang-format off
  expect_all_refused(ask_rows, {
      {"rows of no kind", answer(R"({"rows":5})", "{},{},{}"), STAYS},
      {"a row of no kind", answer(top, R"({"rows":[7,null,{"name":null}]},{},null)"), STAYS},
      {"odd references", answer(top, R"({"rows":[{"name":"b","ports":["set",7]}]},)" + port + "{}"), STAYS},
      {"no number", answer(top, interface + R"(,"ofport":["set",[]]}]})"), STAYS},
      {"no such column", answer(top, interface + "}]}"), STAYS},
  });
  // clang-format on
  const fake_daemon_t good(answer(top, interface + R"(,"ofport":4}]})"), STAYS);
  EXPECT_EQ(ask_rows(good.path), "");
}

TEST(Clients, BadBridge)
{
  const std::string reply_head = bytes({5, 19, 0, 20, 0, 0, 0, 2, 0, 1, 0, 0, 0, 0, 0, 0});
  expect_all_refused(ask_openflow,
                     {
                         {"old version",       {bytes({1, 0, 0, 8, 0, 0, 0, 1})},                     STAYS  },
                         {"short length",      {bytes({5, 0, 0, 3, 0, 0, 0, 1})},                     STAYS  },
                         {"cut",               {HELLO.substr(0, 5)},                                  CLOSES },
                         {"error",             {HELLO, bytes({5, 1, 0, 12, 0, 0, 0, 2, 0, 1, 0, 5})}, STAYS  },
                         {"short error",       {HELLO, bytes({5, 1, 0, 9, 0, 0, 0, 2, 0})},           STAYS  },
                         {"no end",            {HELLO, HELLO},                                        GOES_ON},
                         {"empty reply",       {HELLO, bytes({5, 19, 0, 8, 0, 0, 0, 2})},             STAYS  },
                         {"entry of length 0", {HELLO, reply_head + std::string(4, '\0')},            STAYS  },
                         {"entry too long",    {HELLO, reply_head + bytes({0, 100, 0, 0})},           STAYS  },
  });
  const fake_daemon_t empty({HELLO, bytes({5, 19, 0, 16, 0, 0, 0, 2, 0, 1, 0, 0, 0, 0, 0, 0})},
                            STAYS);
  EXPECT_EQ(ask_openflow(empty.path), "");
}

TEST(Clients, BadVty)
{
  const std::string done = bytes({0, 0, 0, 0});
  expect_all_refused(ask_vty, {
                                  {"cut",     {done, "text" + bytes({0, 0, 0})},          CLOSES},
                                  {"stuck",   {done, "text" + bytes({0, 0})},             STAYS },
                                  {"endless", {done, std::string(1 << 20, 'x')},          STAYS },
                                  {"refused", {done, "% no" + bytes({'\n', 0, 0, 0, 2})}, STAYS },
  });
  const fake_daemon_t good({done, "text" + bytes({0, 0, 0, 0})}, STAYS);
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

// Everything that settings can ask of flows: locks, VLANs, a group, a port that routes, and
// policies that match and do all that there is.
wish_t rich_wish()
{
  wish_t wish;
  // clang-format off
  for (const uint32_t port : {1, 2, 3, 4})
    wish.ports[port].netdev = "e" + std::to_string(port);
  wish.ports[1].locked = {{0x020000000001, 10}};
  wish.members[1] = {false, {1}, 0, 10, true, true, {1, 10, 20}, {1, 10}};
  wish.members[9] = {true, {2, 3}, 0, 1, true, false, {1}, {1}};
  wish.members[4] = {false, {4}, 4, 1, true, true, {}, {}};
  wish.routers[4] = {};
  wish.routers[30].vlan = 10;
  const std::function<void(open_tcamApiPolicy_t&)> policies[] = {
      [](auto& p) { p.actionType = 1; },
      [](auto& p) { p.matchVlanVal = 10, p.matchVlanPrio = 3, p.matchSrcMac[5] = 1; },
      [](auto& p) { p.matchDstMac[0] = 2, p.matchIpDscp = 46, p.matchIpDscpMask = 63; },
      [](auto& p) { p.matchDstIp = 0x0a010203, p.matchDstIpMask = 0xffff0000, p.matchSrcIp = 7; },
      [](auto& p) { p.matchIpProto = 6, p.matchDstPortIcmpCode = 80, p.matchDstPortIcmpCodeMask = 0xf0; },
      [](auto& p) { p.matchIpProto = 17, p.matchSrcPortIcmpType = 53; },
      [](auto& p) { p.matchIpProto = 132, p.matchSrcPortIcmpType = 1; },
      [](auto& p) { p.matchIpProto = 1, p.matchSrcPortIcmpType = 8, p.matchDstPortIcmpCode = 1; },
      [](auto& p) { p.matchDstIpv6Addr.u.addr8[0] = 0x20, p.matchDstIpv6Mask.u.addr8[0] = 0xf0; },
      [](auto& p) { p.matchEthType = 0x86dd, p.matchIpProto = 58, p.matchSrcPortIcmpType = 128; },
      [](auto& p) { p.matchEthType = 0x0806, p.actionType = 2, p.actionVal.redirIntfNum = 9; },
      [](auto& p) { p.actionType = 2, p.actionVal.redirIntfNum = 30; },
      [](auto& p) { p.actionType = 4 | 8 | 16 | 32, p.actionVal.vlanId = 20, p.actionVal.vlanPrio = 5; },
  };
  // clang-format on
  for (const OPEN_TCAM_POLICY_TYPE_t type :
       {OPEN_TCAM_POLICY_TYPE_GEN, OPEN_TCAM_POLICY_TYPE_EGRESS}) {
    for (const auto& fill : policies) {
      const auto id = static_cast<uint32_t>(wish.policies.size() + 1);
      wish_policy_t& policy = wish.policies[id];
      policy.record.policyType = type;
      policy.record.policyPrio = id;
      fill(policy.record);
      const bool redirects_out =
          type == OPEN_TCAM_POLICY_TYPE_EGRESS && policy.record.actionType == 2;
      EXPECT_EQ(flow_policy_room(policy.record) == OPEN_E_NONE, !redirects_out) << id;
      policy.ports = {1, 2, 4};
    }
  }
  return wish;
}

// What is written is read back as the same, whatever the bridge makes of it, so that a second look
// finds nothing to do; and a bundle with a wrong flow does nothing.
TEST(Clients, RealBridge)
{
  const real_daemons_t daemons;
  if (!daemons.running)
    GTEST_SKIP() << "no Open vSwitch here";
  of_t of;
  std::string why;
  ASSERT_TRUE(of_connect(of, daemons.at("t0.mgmt"), in_ms(LONG_MS), why)) << why;
  std::set<of_flow_t> held;
  const auto read_all = [&] {
    std::vector<of_flow_t> read;
    ASSERT_TRUE(of_flows_read(of, FLOWS_COOKIE, FLOWS_COOKIE_MASK, read, in_ms(LONG_MS), why))
        << why;
    held = {read.begin(), read.end()};
  };
  std::map<std::string, uint32_t> numbers;
  for (const char* name :
       {"e1", "e2", "e3", "e4", "t0-p1", "t0-q1", "t0-p9", "t0-q9", "t0-r4", "t0-v10"})
    numbers.emplace(name, numbers.size() + 1);
  const flows_t wanted = flows_wanted("t0", rich_wish(), numbers);
  EXPECT_EQ(wanted.size(), 3U);  // the bridge, the edge of single ports, and the group's
  for (const auto& [bridge, flows] : wanted) {
    const std::vector<of_flow_t> all(flows.begin(), flows.end());
    EXPECT_GE(all.size(), 8U) << bridge;
    ASSERT_TRUE(of_flows_change(of, {}, all, in_ms(LONG_MS), why)) << bridge << ": " << why;
    read_all();
    EXPECT_EQ(held, flows) << bridge;
    of_flow_t wrong = all[0];
    wrong.match = "\xff\xff\xff";
    EXPECT_FALSE(of_flows_change(of, {all[1]}, {wrong}, in_ms(LONG_MS), why));
    ASSERT_TRUE(of_connect(of, daemons.at("t0.mgmt"), in_ms(LONG_MS), why)) << why;
    read_all();
    EXPECT_EQ(held, flows) << bridge;
    ASSERT_TRUE(of_flows_change(of, all, {}, in_ms(LONG_MS), why)) << why;
    read_all();
    EXPECT_TRUE(held.empty()) << bridge;
  }
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
