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
  append_tree_string(append_tree_group(tree.get(), "group"), "1", "entry", "x");
  EXPECT_EQ(tree_text(print_tree_by_xml, tree.get()),
            "<int>-7</int><float>1.500000</float><text>a<b&\"c\"</text><object>0</object>"
            "<null></null><group><entry>x</entry></group>");
  append_tree_int(tree.get(), "i", "int", 8);  // takes the place of the first
  EXPECT_EQ(tree_text(print_tree_by_json, tree.get()),
            R"({ "i": 8, "f": 1.5, "s": "a<b&\"c\"", "o": 0, "group": { "1": "x" } })");
}

TEST(ResultTree, IsUtf8InJsonWhateverTheSwitchHolds)
{
  // clang-format off
  static const std::pair<std::string, std::string> rows[] = {
      {"\xff", "\uFFFD"}, {"a\x80\xbf" "b", "a\uFFFD\uFFFDb"},
      {"\u00e9\u20ac\U0001F600\u00e9", "\u00e9\u20ac\U0001F600\u00e9"}, {"\xc3", "\uFFFD"},
      {"\xe2\x82", "\uFFFD"}, {"\xe2\x82x", "\uFFFDx"}, {"\xc0\xaf", "\uFFFD\uFFFD"},
      {"\xed\xa0\x80", "\uFFFD\uFFFD\uFFFD"}, {"\xf0\x9f\x98", "\uFFFD"},
      {"\xf4\x90\x80\x80", "\uFFFD\uFFFD\uFFFD\uFFFD"}};
  // clang-format on
  for (const auto& [text, shown] : rows) {
    tree_ptr tree(new_tree());
    append_tree_string(tree.get(), text.c_str(), "x", text.c_str());
    EXPECT_EQ(tree_text(print_tree_by_json, tree.get()),
              "{ \"" + shown + "\": \"" + shown + "\" }");
    EXPECT_EQ(tree_text(print_tree_by_xml, tree.get()), "<x>" + text + "</x>");
  }
  tree_ptr tree(new_tree());
  append_tree_string(tree.get(), "k", "k", std::string(300, '\xff').c_str());
  append_tree_string(tree.get(), "c", "c", std::string(300, '\x01').c_str());
  EXPECT_EQ(tree_text(print_tree_by_json, tree.get()).size(), 255u * 3 + 255 * 6 + 20);
}

TEST(ResultTree, CutsNamesAndTextsAt255Characters)
{
  const std::string text(300, 'x'), cut(255, 'x');
  tree_ptr tree(new_tree());
  append_tree_string(tree.get(), text.c_str(), text.c_str(), text.c_str());
  EXPECT_EQ(tree_text(print_tree_by_xml, tree.get()), "<" + cut + ">" + cut + "</" + cut + ">");
  EXPECT_EQ(tree_text(print_tree_by_json, tree.get()), "{ \"" + cut + "\": \"" + cut + "\" }");
  char small[4] = "zzz";
  get_node_key(get_next_node(tree.get()), small, sizeof small);
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

// --- numbers, addresses, passwords ---

// Other numbers and addresses are those of requests (tests/api) and of
// tests/fuzz/fuzz_conversions.cpp.
TEST(Conversions, NumbersOutOfRangeAreTheNearestOneOrNone)
{
  int32_t number = 0;
  EXPECT_EQ(check_string_is_number("5000000000", &number), RC_TRUE);
  EXPECT_EQ(number, INT32_MAX);
  EXPECT_EQ(check_string_is_number("-5000000000", &number), RC_TRUE);
  EXPECT_EQ(number, INT32_MIN);
  uint32_t wide = 0;
  for (const char* refused : {"-1", "12a", "4294967296", "5000000000", "00000000001"})
    EXPECT_EQ(convert_to_32bit_uint(refused, &wide), RC_FALSE) << refused;
}

TEST(Conversions, MacAddresses)
{
  unsigned char mac[6] = {0, 10, 17, 1, 2, 3};
  char text[18];
  EXPECT_EQ(convert_uchar_ary_to_mac_string(mac, text, 0, 0), RC_TRUE);
  EXPECT_STREQ(text, "0a11123");
  for (const char* refused : {"", "00:11:22:33:44:", "001122aabbccd"})
    EXPECT_EQ(convert_mac_string_to_uchar_ary(refused, mac, sizeof mac), RC_FALSE) << refused;
}

TEST(Conversions, PasswordsAreMasked)
{
  // clang-format off
  const std::tuple<const char*, size_t, const char*> rows[] = {
      {"user=a&password=abc&x=1", 64, "user=a&password=**********&x=1"},
      {"PassWord=abc", 64, "PassWord=**********"}, {"xpassword=abc", 64, ""},
      {"password=a&password=b", 64, "password=**********&password=b"},
      {"user=a&password=abc&x=1", 23, ""}, {"password=&x=1", 14, "password=****"}, {"", 64, ""}};
  // clang-format on
  for (const auto& [query, room, masked] : rows) {
    std::unique_ptr<char[]> text(new char[room]);
    replace_password(query, strlen(query), text.get(), room);
    EXPECT_STREQ(text.get(), masked) << query;
  }
}

// --- routes ---

// What is near to the routes of the modules is asked for where these are known
// (help_routes_test.cpp). The C library's own scan is the judge of a loose match: one field and
// nothing behind it.
TEST(Routes, FieldsAndLooseMatches)
{
  const std::string digits(255, '7');
  EXPECT_TRUE(rest_route_matches("/vlans/{n}", ("/vlans/" + digits).c_str(), REST_MATCH_EXACT));
  EXPECT_FALSE(rest_route_matches("/vlans/{n}", ("/vlans/7" + digits).c_str(), REST_MATCH_EXACT));
  EXPECT_FALSE(rest_route_matches("/bgp/{s}/x", "/bgp/a/b/x", REST_MATCH_EXACT));
  EXPECT_TRUE(rest_route_matches("/if/{n}/mode", "/if/5/mode/x", REST_MATCH_OPEN));
  EXPECT_FALSE(rest_route_matches("/if/{n}/mode", "/if/x/mode", REST_MATCH_OPEN));
  for (const std::string& path : script_split(
           "|/if/" + digits + "/ip|/if/" + digits +
               "8/ip|/if/5/ip|/if/5|/if/5/|/if/5/i|/if/5/ix|/if/5/adminMode|/if/5x|/if/5/ip/|"
               "/if/5/ipx|/if/5/ip |/if/5/ip x|/if/|/if|/if/x|/vlanRtrIf/5/ip|/IF/5/ip|//if/5/ip|"
               "/if//ip|/if/5 /ip|/if/-5/ip|/if/005/ip|/if/5//ip|/if/5/ip/6/ip|/if/5/i "
               "p|/if/5/ip\t",
           "|")) {
    char field[256], rest[256];
    const int fields = sscanf(path.c_str(), "/if/%255[0-9]/ip%255s", field, rest);
    EXPECT_EQ(rest_route_matches("/if/{n}/ip", path.c_str(), REST_MATCH_LOOSE), fields == 1)
        << path;
  }
}

TEST(Routes, SegmentsAreCutAndMayBeMissing)
{
  char segment[256];
  EXPECT_EQ(rest_path_segment("/if/5", 2, segment), 0u);
  EXPECT_FALSE(rest_path_module_is("*", "login"));
  EXPECT_EQ(rest_path_segment(("/" + std::string(300, 'a')).c_str(), 0, segment), 255u);
}
