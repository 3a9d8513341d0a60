// The help document against what is served: the routes in the modules' tables, and the variables
// that the operations read.
#include "engine/rest_operation.h"
#include "help/rest_help_doc.h"
#include "httpd/httpd.h"
#include "tests/support/engine_test.h"

using names_t = std::set<std::string>;

// --- What the operations ask for: the linker sends this call here first ---

#if __SIZEOF_SIZE_T__ == 8
#define GET_VAR_SYMBOL "_Z10mg_get_varPK13mg_connectionPKcPcm"
#else
#define GET_VAR_SYMBOL "_Z10mg_get_varPK13mg_connectionPKcPcj"
#endif
int real_get_var(const mg_connection* conn, const char* name, char* dst,
                 size_t dst_len) asm("__real_" GET_VAR_SYMBOL);
int noted_get_var(const mg_connection* conn, const char* name, char* dst,
                  size_t dst_len) asm("__wrap_" GET_VAR_SYMBOL);

static names_t names_read;

int noted_get_var(const mg_connection* conn, const char* name, char* dst, size_t dst_len)
{
  names_read.insert(name);
  return real_get_var(conn, name, dst, dst_len);
}

// --- The document ---

struct api_t {
  std::string method, uri;
  std::vector<std::pair<std::string, std::string>> params;  // name and description
};

static std::vector<api_t> documented()
{
  auto children = [](node_t* node) {
    std::vector<node_t*> all;
    for (node_t* n = get_next_node(get_subtree_node1(node)); n; n = get_next_node(n))
      all.push_back(n);
    return all;
  };
  tree_ptr tree(parse_help_doc_text_to_tree_obj());
  std::vector<api_t> apis;
  for (node_t* module : children(get_next_node(tree.get())))
    for (node_t* api : children(children(module).at(2))) {
      std::vector<node_t*> fields = children(api);
      apis.push_back({fields.at(3)->val_data.val_s, fields.at(2)->val_data.val_s, {}});
      for (node_t* param : children(fields.at(4)))
        apis.back().params.emplace_back(children(param).at(0)->val_data.val_s,
                                        children(param).at(1)->val_data.val_s);
    }
  return apis;
}

// "GET /vlans/{}": the names of the fields do not count.
static std::string shape(const std::string& method, const std::string& uri)
{
  return method + " " + std::regex_replace(uri, std::regex(R"(\{[^}]*\})"), "{}");
}

// An example of a parameter: what follows "e.g.", else the last of the values with a meaning. No
// server answers at the URL.
static std::string example_of(const std::string& name, const std::string& description)
{
  if (name == "url")
    return "http://127.0.0.1:1/file";
  std::smatch found;
  if (std::regex_search(description, found, std::regex(R"(e\.g\. (\S+?)\.?( |$))")))
    return found[1];
  std::string value = name == "format" ? "json" : "";
  static const std::regex meaning(R"((^|[ ,])(-?\w+)=)");
  for (std::sregex_iterator at(description.begin(), description.end(), meaning), end; at != end;
       ++at)
    value = (*at)[2];
  return value;
}

// --- The tables ---

// Every route of the tables that the sources hold.
static names_t served()
{
  static const std::regex row(R"~(REQUEST_METHOD_(\w+),\s*"([^"]+)")~");
  names_t routes;
  for (const char* folder : {"/session", "/help", "/modules"})
    for (const auto& file :
         std::filesystem::directory_iterator(getenv("SOURCE_DIR") + std::string(folder))) {
      const std::string text =
          std::regex_replace(file_text(file.path()), std::regex("INTERFACE_ADMIN_MODE_PATH,"),
                             "\"/routing/if/{n}/adminMode\",");  // the only path with a name
      for (std::sregex_iterator at(text.begin(), text.end(), row), end; at != end; ++at)
        routes.insert(shape((*at)[1], (*at)[2]));
    }
  return routes;
}

// Served, and on purpose not in the document.
// clang-format off
static const names_t NOT_DOCUMENTED = {
    "GET /boxs/fans", "GET /if/{}/switchportMode", "PUT /if/{}/switchportMode",
    "PUT /if/{}/access/vlan", "PUT /if/{}/trunk/pvid", "POST /if/{}/trunk/vlan",
    "PUT /if/{}/trunk/vlan", "DELETE /if/{}/trunk/vlan", "POST /pml/if/{}/vlan/{}/sticky/{}/mac",
    "GET /pml/if/{}/sticky", "GET /pml/if/{}/mac", "PUT /pml/if/{}/sticky",
    "DELETE /pml/if/{}/vlan/{}/mac", "POST /system/reload"};
// clang-format on

// Documented, and on purpose not served; every path of the module "vxlan" besides.
// clang-format off
static const names_t NOT_SERVED = {
    "GET /boxes/fans", "PUT /if/{}/softShutdownState", "GET /system/networkport/ipv4",
    "PUT /system/networkport/ipv4/parameters", "PUT /system/networkport/ipv4/protocolMode",
    "DELETE /system/networkport/ipv4/parameters"};
// clang-format on

static bool is_served(const api_t& api)
{
  return api.uri.rfind("/vxlan/", 0) != 0 && !NOT_SERVED.count(shape(api.method, api.uri));
}

TEST(Routes, DocumentedOnesAreServedAndTheOtherWayRoundAndNothingElse)
{
  names_t expected = NOT_DOCUMENTED;
  for (const api_t& api : documented())
    if (is_served(api))
      expected.insert(shape(api.method, api.uri));
  const names_t routes = served();
  for (const std::string& route : routes)
    EXPECT_EQ(expected.count(route), 1u) << route << " is not documented";
  for (const std::string& route : expected)
    EXPECT_EQ(routes.count(route), 1u) << route << " is not served";

  // Paths that are nearly those of a route. A field is a number, but for addresses, names and a
  // digit; some paths of the routing module may go on.
  std::string all = R"(\w+ /routing/(if|vlanRtrIf)/.*)";
  for (std::string route : routes) {
    for (const auto& [field, values] :
         {std::pair(R"((hosts|neighbor|redistribution|help)/\{\})", "$1/[^/]+"),
          std::pair(R"(sticky/\{\})", "sticky/[01]"), std::pair(R"(\{\})", "[0-9]+")})
      route = std::regex_replace(route, std::regex(field), values);
    all += "|" + route;
  }
  const std::regex served_paths(all);
  for (const std::string& route : routes)
    for (const char* field : {"1", "2", "x"}) {
      const std::string path =
          std::regex_replace(route.substr(route.find('/')), std::regex(R"(\{\})"), field);
      for (const std::string& near :
           {path, path + "/", path + "x", path.substr(0, path.size() - 1)})
        for (const char* method : {"GET", "POST", "PUT", "DELETE"}) {
          if (std::regex_match(method + (" " + near), served_paths))
            continue;
          const std::string body = api_request(method, near, "json").body;
          EXPECT_NE(body.find("\"rlt_code\": 90"), std::string::npos)
              << method << " " << near << " answers " << body;
        }
    }
}

// The request that the examples of an API make, with its variables in the query.
static std::string example_path(const api_t& api)
{
  std::string path = api.uri;
  std::string query;
  for (const auto& [name, description] : api.params) {
    std::string value = url_encode(example_of(name, description));
    size_t field = path.find("{" + name + "}");
    if (field != std::string::npos)
      path.replace(field, name.size() + 2, value);
    else if (name != "sessionkey" || !value.empty())
      query += "&" + name + "=" + value;
  }
  return path + (query.empty() ? "" : "?" + query.substr(1));
}

TEST(Routes, OperationsReadTheVariablesThatAreDocumented)
{
  for (const api_t& api : documented()) {
    engine_reset();
    std::filesystem::create_directory(engine_folder() + "/user-apps");
    api_request("POST", "/vlans/10", "json");
    engine_do([] { names_read.clear(); });
    reply_t reply = api_request(api.method.c_str(), example_path(api), "json");
    names_t read;
    engine_do([&read] { read = names_read; });

    // Fields come first and in their order, the session key and the format last.
    names_t expected;
    std::string order, uri = api.uri;
    for (const auto& [name, description] : api.params) {
      const size_t at = uri.find("{" + name + "}");
      const bool is_field = at != std::string::npos;
      order += is_field ? "F" : name == "sessionkey" ? "s" : name == "format" ? "f" : ".";
      uri.erase(0, is_field ? at + 1 : 0);
      EXPECT_TRUE(is_field || expected.insert(name).second) << name;
      EXPECT_EQ(description.find("script names end in \".scr\"") != description.npos,
                name == "scr");
    }
    std::string where = shape(api.method, api.uri) + " answers " + reply.body;
    const bool is_help = api.uri.rfind("/help", 0) == 0;  // which needs no session
    EXPECT_TRUE(std::regex_match(order, std::regex(is_help ? "F*f" : "F*\\.*sf"))) << where;
    EXPECT_EQ(uri.find('{'), uri.npos) << where;
    bool is_refused = reply.body.find("\"rlt_code\": 90") != std::string::npos;
    EXPECT_EQ(is_refused, !is_served(api)) << where;
    // The engine reads these for every request.
    for (const char* common : {"sessionkey", "format", "method"}) {
      read.erase(common);
      expected.erase(common);
    }
    EXPECT_EQ(read, is_served(api) ? expected : names_t{}) << where;
  }
}

TEST(Routes, WithCallsAreAllSwept)
{
  const std::string script =
      file_text(getenv("SOURCE_DIR") + std::string("/tests/api/sweep.script"));
  for (const std::string& route : served()) {
    std::string request = std::regex_replace(route, std::regex(R"(\{\})"), "[^/?\\s]+");
    request.replace(request.find(' '), 1, "(?:[^\n]|\n   )*? ");
    const bool has_no_calls =
        std::regex_search(route, std::regex("/(help|login|download/startupCfgInfo)"));
    EXPECT_TRUE(has_no_calls ||
                std::regex_search(script, std::regex("\nsweep " + request + "[?\\s]")))
        << route;
  }
}
