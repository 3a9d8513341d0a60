// The helpers that every module shares, where a request over a socket would not be precise.
#include <gtest/gtest.h>
#include <string.h>

#include <chrono>
#include <memory>
#include <string>

#include "engine/rest_common.h"
#include "engine/rest_config.h"
#include "engine/rest_operation.h"
#include "engine/rest_path.h"
#include "engine/rest_route.h"
#include "engine/rest_util.h"
#include "platform/openapi_client.h"

// --- result tree ---

static std::string rendered(void (*print)(node_t*, char**), node_t* tree)
{
  char* text = nullptr;
  print(tree, &text);
  std::unique_ptr<char, decltype(&free)> owner(text, free);
  return text ? text : "(untouched)";
}

TEST(ResultTree, RendersEveryKindOfNode)
{
  tree_ptr tree(new_tree());
  EXPECT_EQ(rendered(print_tree_by_xml, tree.get()), "");
  EXPECT_EQ(rendered(print_tree_by_json, tree.get()), "{ }");
  append_tree_int(tree.get(), "i", "int", -7);
  append_tree_float(tree.get(), "f", "float", 1.5f);
  append_tree_string(tree.get(), "s", "text", "a<b&\"c\"");
  append_tree_object(tree.get(), "o", "object");
  append_tree_object(tree.get(), "n", "null")->val_type = VAL_TYPE_NULL;
  node_t* list = append_tree_group(tree.get(), "sessions");
  append_tree_string(list, "1", "rest_session", "x");
  append_tree_string(list, "2", "rest_session", "y");
  EXPECT_EQ(rendered(print_tree_by_xml, tree.get()),
            "<int>-7</int><float>1.500000</float><text>a<b&\"c\"</text><object>0</object>"
            "<null></null><sessions><rest_session>x</rest_session><rest_session>y</rest_session>"
            "</sessions>");
  EXPECT_EQ(rendered(print_tree_by_json, tree.get()),
            "{ \"i\": -7, \"f\": 1.5, \"s\": \"a<b&\\\"c\\\"\", \"o\": 0, \"sessions\": "
            "{ \"1\": \"x\", \"2\": \"y\" } }");
  append_tree_int(tree.get(), "i", "int", 8);
  EXPECT_EQ(rendered(print_tree_by_json, tree.get()).substr(0, 9), "{ \"i\": 8,");
}

TEST(ResultTree, CutsNamesAndTextsAt255Characters)
{
  std::string text(300, 'x');
  tree_ptr tree(new_tree());
  append_tree_string(tree.get(), text.c_str(), text.c_str(), text.c_str());
  std::string cut(255, 'x');
  EXPECT_EQ(rendered(print_tree_by_xml, tree.get()), "<" + cut + ">" + cut + "</" + cut + ">");
  EXPECT_EQ(rendered(print_tree_by_json, tree.get()), "{ \"" + cut + "\": \"" + cut + "\" }");
  node_t* node = get_next_node(tree.get());
  char small[4] = "zzz";
  get_node_key(node, small, sizeof small);
  EXPECT_STREQ(small, "xxx");
  get_node_val_data_string(tree.get(), small, sizeof small);
  EXPECT_STREQ(small, "");
}

TEST(ResultTree, AppendsBehindLinksThatWereChangedByHand)
{
  tree_ptr tree(new_tree());
  node_t* first = append_tree_int(tree.get(), "1", "n", 1);
  node_t* second = append_tree_int(tree.get(), "2", "n", 2);
  set_next_node(first, nullptr);
  free_tree(second);
  append_tree_int(tree.get(), "3", "n", 3);
  node_t* grafted = new_tree();
  append_tree_int(grafted, "k", "k", 4);
  set_subtree_node1(append_tree_subtree(tree.get(), "sub", "sub"), grafted);
  append_tree_int(grafted, "l", "l", 5);
  EXPECT_EQ(rendered(print_tree_by_xml, tree.get()), "<n>1</n><n>3</n><sub><k>4</k><l>5</l></sub>");
}

TEST(ResultTree, RendersLongListsInTimeLinearInTheirLength)
{
  auto seconds = [](int entries) {
    double best = 1e9;
    for (int round = 0; round < 5; round++) {
      auto start = std::chrono::steady_clock::now();
      tree_ptr tree(new_tree());
      node_t* list = append_tree_group(tree.get(), "list");
      for (int i = 1; i <= entries; i++)
        append_tree_field(append_tree_entry(list, static_cast<uint32_t>(i), "entry"), "id", i);
      rendered(print_tree_by_xml, tree.get());
      rendered(print_tree_by_json, tree.get());
      std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
      best = took.count() < best ? took.count() : best;
    }
    return best;
  };
  // Eight times the entries; walking the list for each of them would take sixty-four times as long.
  EXPECT_LT(seconds(4096), 32 * seconds(512));
}

// --- numbers, addresses, passwords ---

TEST(Conversions, NumbersFromText)
{
  static const struct {
    int line;
    const char* text;
    bool is_unsigned;
    uint32_t as_unsigned;
    bool is_number;
    int32_t as_number;
    bool is_control;
  } cases[] = {
      {__LINE__, "0",           true,  0,          true,  0,         true },
      {__LINE__, "1",           true,  1,          true,  1,         true },
      {__LINE__, "2",           true,  2,          true,  2,         false},
      {__LINE__, "-12",         false, 0,          true,  -12,       false},
      {__LINE__, "-",           false, 0,          true,  0,         true },
      {__LINE__, "",            true,  0,          false, 0,         false},
      {__LINE__, "1.5",         false, 0,          false, 0,         false},
      {__LINE__, " 1",          false, 0,          false, 0,         false},
      {__LINE__, "12a",         false, 0,          false, 0,         false},
      {__LINE__, "--1",         false, 0,          false, 0,         false},
      {__LINE__, "007",         true,  7,          true,  7,         false},
      {__LINE__, "4294967295",  true,  UINT32_MAX, true,  INT32_MAX, false},
      {__LINE__, "4294967296",  false, 0,          true,  INT32_MAX, false},
      {__LINE__, "5000000000",  false, 0,          true,  INT32_MAX, false},
      {__LINE__, "00000000001", false, 0,          true,  1,         true },
      {__LINE__, "-5000000000", false, 0,          true,  INT32_MIN, false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE("case of line " + std::to_string(c.line));
    uint32_t as_unsigned = 77;
    EXPECT_EQ(convert_to_32bit_uint(c.text, &as_unsigned) == RC_TRUE, c.is_unsigned);
    EXPECT_TRUE(!c.is_unsigned || as_unsigned == c.as_unsigned) << as_unsigned;
    int32_t number = 77;
    EXPECT_EQ(check_string_is_number(c.text, &number) == RC_TRUE, c.is_number);
    EXPECT_EQ(number, c.is_number ? c.as_number : 77);
    EXPECT_EQ(check_string_is_number_within_rest_control(c.text, &number) == RC_TRUE, c.is_control);
  }
  EXPECT_EQ(check_uint16_range(-1), RC_FALSE);
  EXPECT_EQ(check_uint16_range(0), RC_TRUE);
  EXPECT_EQ(check_uint16_range(65535), RC_TRUE);
  EXPECT_EQ(check_uint16_range(65536), RC_FALSE);
}

TEST(Conversions, MacAddresses)
{
  static const struct {
    int line;
    const char* text;
    const char* upper_with_colons;  // null: refused
  } cases[] = {
      {__LINE__, "00:0a:ff:01:02:03",    "0:A:FF:1:2:3"    },
      {__LINE__, "0:1:2:3:4:5",          "0:1:2:3:4:5"     },
      {__LINE__, "001122aabbcc",         "0:11:22:AA:BB:CC"},
      {__LINE__, "zz:1g:00:00:00:00",    "0:1:0:0:0:0"     },
      {__LINE__, "00:11:22:33:44:55:66", nullptr           },
      {__LINE__, "001122aabbccd",        nullptr           },
      {__LINE__, "0011.2233.4455",       nullptr           },
      {__LINE__, "00:11:22:33:44",       nullptr           },
      {__LINE__, "00:11:22:33:44:",      nullptr           },
      {__LINE__, "",                     nullptr           },
  };
  for (const auto& c : cases) {
    SCOPED_TRACE("case of line " + std::to_string(c.line));
    unsigned char mac[6];
    char text[18] = "";
    ASSERT_EQ(convert_mac_string_to_uchar_ary(c.text, mac, sizeof mac) == RC_TRUE,
              c.upper_with_colons != nullptr);
    if (c.upper_with_colons) {
      EXPECT_EQ(convert_uchar_ary_to_mac_string(mac, text, 1, 1), RC_TRUE);
      EXPECT_STREQ(text, c.upper_with_colons);
    }
  }
  const unsigned char mac[6] = {0x00, 0x0a, 0xff, 1, 2, 3};
  char text[18];
  EXPECT_EQ(convert_uchar_ary_to_mac_string(mac, text, 0, 0), RC_TRUE);
  EXPECT_STREQ(text, "0aff123");
}

TEST(Conversions, Addresses)
{
  char text[48];
  EXPECT_EQ(convert_ipv4_with_uint32_to_ip_string(0xC0A80114, text), RC_TRUE);
  EXPECT_STREQ(text, "192.168.1.20");
  open_inet_addr_t address = {};
  openapiClientHandle_t handle = {};
  EXPECT_EQ(convert_inet_addr_to_ip_string(&handle, &address, text), RC_FALSE);
  address.family = OPEN_AF_INET6;
  memset(&address.addr.ipv6, 0xff, sizeof address.addr.ipv6);
  EXPECT_EQ(convert_inet_addr_to_ip_string(&handle, &address, text), RC_TRUE);
  EXPECT_STREQ(text, "ffff:ffff:ffff:ffff:ffff:ffff:ffff:ffff");
  EXPECT_EQ(rest_ipv4_mask(0), 0u);
  EXPECT_EQ(rest_ipv4_mask(24), 0xFFFFFF00u);
  EXPECT_EQ(rest_ipv4_mask(32), 0xFFFFFFFFu);
}

TEST(Conversions, PasswordsAreMasked)
{
  static const struct {
    int line;
    const char* query;
    size_t room;
    const char* masked;
  } cases[] = {
      {__LINE__, "user=a&password=abc&x=1", 64, "user=a&password=**********&x=1"},
      {__LINE__, "PassWord=abc",            64, "PassWord=**********"           },
      {__LINE__, "password=",               64, "password=**********"           },
      {__LINE__, "xpassword=abc",           64, ""                              },
      {__LINE__, "user=a",                  64, ""                              },
      {__LINE__, "password=a&password=b",   64, "password=**********&password=b"},
      {__LINE__, "user=a&password=abc&x=1", 23, ""                              },
      {__LINE__, "password=&x=1",           14, "password=****"                 },
      {__LINE__, "",                        64, ""                              },
  };
  for (const auto& c : cases) {
    SCOPED_TRACE("case of line " + std::to_string(c.line));
    std::unique_ptr<char[]> masked(new char[c.room]);
    replace_password(c.query, strlen(c.query), masked.get(), c.room);
    EXPECT_STREQ(masked.get(), c.masked);
  }
}

// --- routes ---

TEST(Routes, FixedPathsAreComparedExactly)
{
  static const char path[] = "/base/idname";
  EXPECT_TRUE(rest_route_matches(path, path, REST_MATCH_EXACT));
  for (size_t length = 0; length < sizeof path - 1; length++)
    EXPECT_FALSE(rest_route_matches(path, std::string(path, length).c_str(), REST_MATCH_EXACT))
        << length;
  for (const char* longer : {"/base/idname/", "/base/idnamex", "/base/idname "})
    EXPECT_FALSE(rest_route_matches(path, longer, REST_MATCH_EXACT)) << longer;
}

TEST(Routes, FieldsAndOpenMatches)
{
  std::string digits(255, '7');
  const struct {
    int line;
    std::string uri;
    const char* pattern;
    rest_match_t match;
    bool matches;
  } cases[] = {
      {__LINE__, "/vlans/10",              "/vlans/{n}",           REST_MATCH_EXACT, true },
      {__LINE__, "/vlans/",                "/vlans/{n}",           REST_MATCH_EXACT, false},
      {__LINE__, "/vlans/10/",             "/vlans/{n}",           REST_MATCH_EXACT, false},
      {__LINE__, "/vlans/10x",             "/vlans/{n}",           REST_MATCH_EXACT, false},
      {__LINE__, "/vlans/" + digits,       "/vlans/{n}",           REST_MATCH_EXACT, true },
      {__LINE__, "/vlans/" + digits + "7", "/vlans/{n}",           REST_MATCH_EXACT, false},
      {__LINE__, "/vlans/10/name",         "/vlans/{n}/name",      REST_MATCH_EXACT, true },
      {__LINE__, "/vlans/10/nam",          "/vlans/{n}/name",      REST_MATCH_EXACT, false},
      {__LINE__, "/vlans/10/names",        "/vlans/{n}/name",      REST_MATCH_EXACT, false},
      {__LINE__, "/vlans//name",           "/vlans/{n}/name",      REST_MATCH_EXACT, false},
      {__LINE__, "/x/sticky/1/mac",        "/x/sticky/{b}/mac",    REST_MATCH_EXACT, true },
      {__LINE__, "/x/sticky/2/mac",        "/x/sticky/{b}/mac",    REST_MATCH_EXACT, false},
      {__LINE__, "/bgp/fe80::1/scope/3",   "/bgp/{s}/scope/{n}",   REST_MATCH_EXACT, true },
      {__LINE__, "/bgp/a/b/scope/3",       "/bgp/{s}/scope/{n}",   REST_MATCH_EXACT, false},
      {__LINE__, "/help/vlans",            "/help/{m}",            REST_MATCH_EXACT, true },
      {__LINE__, "/help/ipv10",            "/help/{m}",            REST_MATCH_EXACT, false},
      {__LINE__, "/routing/if/5/mode/x",   "/routing/if/{n}/mode", REST_MATCH_OPEN,  true },
      {__LINE__, "/routing/if/x/mode",     "/routing/if/{n}/mode", REST_MATCH_OPEN,  false},
  };
  for (const auto& c : cases)
    EXPECT_EQ(rest_route_matches(c.pattern, c.uri.c_str(), c.match), c.matches)
        << "case of line " << c.line;
}

TEST(Routes, SegmentsOfAPath)
{
  char segment[256];
  EXPECT_EQ(rest_path_number("/if/5/vlan/10", 1), 5);
  EXPECT_EQ(rest_path_number("/if/5/vlan/10", 3), 10);
  EXPECT_EQ(rest_path_number("/if/4294967297", 1), INT32_MAX);
  EXPECT_EQ(rest_path_number("/if/5", 2), 0);
  EXPECT_EQ(rest_path_segment("/a/b/", 2, segment), 0u);
  EXPECT_EQ(rest_path_segment(("/" + std::string(300, 'a')).c_str(), 0, segment), 255u);
  for (const char* uri : {"", "*", "/", "http://x/login", "//login"})
    EXPECT_FALSE(rest_path_module_is(uri, "login")) << uri;
  EXPECT_TRUE(rest_path_module_is("/login/x", "login"));
  EXPECT_FALSE(rest_path_module_is(nullptr, "login"));
}

TEST(ErrorNames, AreTheCodesOwn)
{
  static const char* const names[] = {"OPEN_E_RPC",       "OPEN_E_INTERNAL", "OPEN_E_PARAM",
                                      "OPEN_E_FULL",      "OPEN_E_EXISTS",   "OPEN_E_TIMEOUT",
                                      "OPEN_E_FAIL",      "OPEN_E_DISABLED", "OPEN_E_UNAVAIL",
                                      "OPEN_E_NOT_FOUND", "OPEN_E_EMPTY",    "OPEN_E_ERROR"};
  char text[18];
  for (int i = 0; i < 12; i++) {
    EXPECT_EQ(get_open_error_string_by_eum(static_cast<open_error_t>(-20 - i), text), RC_TRUE);
    EXPECT_STREQ(text, names[i]);
  }
  EXPECT_EQ(get_open_error_string_by_eum(static_cast<open_error_t>(-32), text), RC_FALSE);
  EXPECT_STREQ(text, "");
  EXPECT_EQ(get_control_string_by_eum(static_cast<OPEN_CONTROL_t>(2), text), RC_FALSE);
  EXPECT_EQ(get_control_string_by_eum(OPEN_ENABLE, nullptr), RC_FALSE);
}
