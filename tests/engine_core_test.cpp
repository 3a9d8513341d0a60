// The helpers that every module shares, where a request over a socket would not be precise.
#include "engine/rest_common.h"
#include "engine/rest_config.h"
#include "engine/rest_operation.h"
#include "engine/rest_path.h"
#include "engine/rest_route.h"
#include "engine/rest_util.h"
#include "platform/openapi_client.h"
#include "tests/support/engine_test.h"

// --- result tree ---

TEST(ResultTree, RendersEveryKindOfNode)
{
  tree_ptr tree(new_tree());
  EXPECT_EQ(tree_text(print_tree_by_xml, tree.get()), "");
  EXPECT_EQ(tree_text(print_tree_by_json, tree.get()), "{ }");
  append_tree_int(tree.get(), "i", "int", -7);
  append_tree_float(tree.get(), "f", "float", 1.5f);
  append_tree_string(tree.get(), "s", "text", "a<b&\"c\"");
  append_tree_object(tree.get(), "o", "object");
  append_tree_object(tree.get(), "n", "null")->val_type = VAL_TYPE_NULL;
  node_t* list = append_tree_group(tree.get(), "sessions");
  append_tree_string(list, "1", "rest_session", "x");
  append_tree_string(list, "2", "rest_session", "y");
  EXPECT_EQ(tree_text(print_tree_by_xml, tree.get()),
            "<int>-7</int><float>1.500000</float><text>a<b&\"c\"</text><object>0</object>"
            "<null></null><sessions><rest_session>x</rest_session><rest_session>y</rest_session>"
            "</sessions>");
  EXPECT_EQ(tree_text(print_tree_by_json, tree.get()),
            "{ \"i\": -7, \"f\": 1.5, \"s\": \"a<b&\\\"c\\\"\", \"o\": 0, \"sessions\": "
            "{ \"1\": \"x\", \"2\": \"y\" } }");
  append_tree_int(tree.get(), "i", "int", 8);
  EXPECT_EQ(tree_text(print_tree_by_json, tree.get()).substr(0, 9), "{ \"i\": 8,");
}

TEST(ResultTree, IsUtf8InJsonWhateverTheSwitchHolds)
{
  static constexpr struct {
    const char *text, *shown;
  } cases[] = {
      {"\xff",                         "\uFFFD"                      },
      {"a\x80\xbf"
       "b",                     "a\uFFFD\uFFFDb"              },
      {"\u00e9\u20ac\U0001F600\u00e9", "\u00e9\u20ac\U0001F600\u00e9"},
      {"\xc3",                         "\uFFFD"                      },
      {"\xe2\x82",                     "\uFFFD"                      },
      {"\xe2\x82x",                    "\uFFFDx"                     },
      {"\xc0\xaf",                     "\uFFFD\uFFFD"                },
      {"\xed\xa0\x80",                 "\uFFFD\uFFFD\uFFFD"          },
      {"\xf4\x90\x80\x80",             "\uFFFD\uFFFD\uFFFD\uFFFD"    },
      {"\xf0\x9f\x98",                 "\uFFFD"                      },
  };
  for (const auto& row : cases) {
    tree_ptr tree(new_tree());
    append_tree_string(tree.get(), row.text, "x", row.text);
    const std::string shown = std::string("\"") + row.shown + "\"";
    EXPECT_EQ(tree_text(print_tree_by_json, tree.get()), "{ " + shown + ": " + shown + " }");
    EXPECT_EQ(tree_text(print_tree_by_xml, tree.get()), std::string("<x>") + row.text + "</x>");
  }
  tree_ptr tree(new_tree());
  append_tree_string(tree.get(), "k", "k", std::string(300, '\xff').c_str());
  append_tree_string(tree.get(), "c", "c", std::string(300, '\x01').c_str());
  EXPECT_EQ(tree_text(print_tree_by_json, tree.get()).size(), 255u * 3 + 255 * 6 + 20);
}

TEST(ResultTree, CutsNamesAndTextsAt255Characters)
{
  std::string text(300, 'x');
  tree_ptr tree(new_tree());
  append_tree_string(tree.get(), text.c_str(), text.c_str(), text.c_str());
  std::string cut(255, 'x');
  EXPECT_EQ(tree_text(print_tree_by_xml, tree.get()), "<" + cut + ">" + cut + "</" + cut + ">");
  EXPECT_EQ(tree_text(print_tree_by_json, tree.get()), "{ \"" + cut + "\": \"" + cut + "\" }");
  node_t* node = get_next_node(tree.get());
  char small[4] = "zzz";
  get_node_key(node, small, sizeof small);
  EXPECT_STREQ(small, "xxx");
  get_node_val_data_string(tree.get(), small, sizeof small);
  EXPECT_STREQ(small, "");
}

// The second one is made of the first one's nodes: what that left behind is lost, and told at the
// end.
TEST(ResultTree, IsFreedWithItsLastSubtree)
{
  for (int i = 0; i < 2; i++) {
    tree_ptr tree(new_tree());
    append_tree_group(tree.get(), "last");
  }
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
  EXPECT_EQ(tree_text(print_tree_by_xml, tree.get()),
            "<n>1</n><n>3</n><sub><k>4</k><l>5</l></sub>");
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

// The "tcam" module's requests have the other forms, and those that are refused.
TEST(Conversions, MacAddresses)
{
  unsigned char mac[6];
  char text[18];
  ASSERT_EQ(convert_mac_string_to_uchar_ary("zz:0A:1g:1:2:3", mac, sizeof mac), RC_TRUE);
  EXPECT_EQ(convert_uchar_ary_to_mac_string(mac, text, 1, 1), RC_TRUE);
  EXPECT_STREQ(text, "0:A:1:1:2:3");
  EXPECT_EQ(convert_uchar_ary_to_mac_string(mac, text, 0, 0), RC_TRUE);
  EXPECT_STREQ(text, "0a1123");
  for (const char* refused : {"", "00:11:22:33:44:", "001122aabbccd"})
    EXPECT_EQ(convert_mac_string_to_uchar_ary(refused, mac, sizeof mac), RC_FALSE) << refused;
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

// What is near to the routes of the modules is asked for where these are known
// (help_routes_test.cpp).
TEST(Routes, FieldsAndOpenMatches)
{
  const std::string digits(255, '7');
  const struct {
    std::string uri;
    const char* pattern;
    rest_match_t match;
    bool matches;
  } cases[] = {
      {"/vlans/" + digits,       "/vlans/{n}",           REST_MATCH_EXACT, true },
      {"/vlans/" + digits + "7", "/vlans/{n}",           REST_MATCH_EXACT, false},
      {"/vlans//name",           "/vlans/{n}/name",      REST_MATCH_EXACT, false},
      {"/x/sticky/1/mac",        "/x/sticky/{b}/mac",    REST_MATCH_EXACT, true },
      {"/x/sticky/2/mac",        "/x/sticky/{b}/mac",    REST_MATCH_EXACT, false},
      {"/bgp/fe80::1/scope/3",   "/bgp/{s}/scope/{n}",   REST_MATCH_EXACT, true },
      {"/bgp/a/b/scope/3",       "/bgp/{s}/scope/{n}",   REST_MATCH_EXACT, false},
      {"/help/vlans",            "/help/{m}",            REST_MATCH_EXACT, true },
      {"/help/ipv10",            "/help/{m}",            REST_MATCH_EXACT, false},
      {"/routing/if/5/mode/x",   "/routing/if/{n}/mode", REST_MATCH_OPEN,  true },
      {"/routing/if/x/mode",     "/routing/if/{n}/mode", REST_MATCH_OPEN,  false},
  };
  for (const auto& c : cases)
    EXPECT_EQ(rest_route_matches(c.pattern, c.uri.c_str(), c.match), c.matches)
        << c.pattern << " and " << c.uri;
}

// The C library's own scan is the judge of a loose match: one field and nothing behind it.
TEST(Routes, LooseMatchIsThatOfAScan)
{
  const std::string digits(255, '7');
  std::vector<std::string> paths = {"", "/routing/if/" + digits + "/ip",
                                    "/routing/if/" + digits + "8/ip"};
  const char endings[] =
      "if/5/ip|if/5|if/5/|if/5/i|if/5/ix|if/5/adminMode|if/5x|if/5/ip/|if/5/ipx|if/5/ip |if/5/ip x|"
      "if/|if|if/x|vlanRtrIf/5/ip|IF/5/ip|/if/5/ip|if//ip|if/5 /ip|if/-5/ip|if/005/ip|if/5//ip|"
      "if/5/ip/6/ip|if/5/i p|if/5/ip\t";
  std::stringstream list(endings);
  for (std::string ending; std::getline(list, ending, '|');)
    paths.push_back("/routing/" + ending);
  for (const std::string& path : paths) {
    char field[256];
    char rest[256];
    int fields = sscanf(path.c_str(), "/routing/if/%255[0-9]/ip%255s", field, rest);
    EXPECT_EQ(rest_route_matches("/routing/if/{n}/ip", path.c_str(), REST_MATCH_LOOSE), fields == 1)
        << path;
  }
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
