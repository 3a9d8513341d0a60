// The help document, its parser, and /help over sockets.
#include <gtest/gtest.h>
#include <json-c/json.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <algorithm>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "engine/rest_operation.h"
#include "help/rest_help_doc.h"
#include "help/rest_module_help.h"
#include "tests/support/local_engine.h"
#include "tests/support/temp_folder.h"

// What the document lists: "[module] description", then "method URI name" of each of its APIs.
static const char DOCUMENTED[] = R"(
[login] Log in and log out RESTful API Engine
GET /login Get Login
GET /login/RESTSessions Get Login RESTSessions List
POST /login Login
DELETE /login Logout
PUT /login/RESTTimeout Update Login REST Timeout
[help] Help Documents
GET /help Get Help List
GET /help/{module-name} Get Help
[base] Base Service
GET /base Get BASE
GET /base/idname Get ID NAME
[bgp] Border Gateway Protocol Configuration and Status
POST /bgp/ipv4/neighbor/{remoteAddr} Create BGP IPv4 Neighbor
POST /bgp/ipv4/redistribution/{protoName} Create BGP IPv4 Redistribution
POST /bgp/ipv6/neighbor/{remoteAddr}/scope/{scopeId} Create BGP IPv6 Neighbor
POST /bgp/ipv6/redistribution/{protoName} Create BGP IPv6 Redistribution
POST /bgp/originatedNetwork Create BGP OriginatedNetwork
DELETE /bgp/ipv4/redistribution/{protoName} Delete BGP IPv4 Redistribution
DELETE /bgp/ipv6/redistribution/{protoName} Delete BGP IPv6 Redistribution
DELETE /bgp/originatedNetwork Delete BGP OriginatedNetwork
GET /bgp Get BGP
GET /bgp/ipv4/neighbor/{remoteAddr} Get BGP IPv4 Neighbor Info
GET /bgp/ipv6/neighbor/{remoteAddr}/scope/{scopeId} Get BGP IPv6 Neighbor Info
PUT /bgp/holdTime Update BGP HoldTime
PUT /bgp/ipv4/neighbor/{remoteAddr}/activate Update BGP IPv4 Neighbor Activate
PUT /bgp/ipv4/neighbor/{remoteAddr}/nextHopSelfMode Update BGP IPv4 Neighbor NextHopSelfMode
PUT /bgp/ipv4/neighbor/{remoteAddr}/updateSource Update BGP IPv4 Neighbor UpdateSource
PUT /bgp/ipv6/neighbor/{remoteAddr}/scope/{scopeId}/activate Update BGP IPv6 Neighbor Activate
PUT /bgp/ipv6/neighbor/{remoteAddr}/scope/{scopeId}/nextHopSelfMode Update BGP IPv6 Neighbor NextHopSelfMode
PUT /bgp/ipv6/neighbor/{remoteAddr}/scope/{scopeId}/updateSource Update BGP IPv6 Neighbor UpdateSource
PUT /bgp/keepAliveTime Update BGP KeepAliveTime
PUT /bgp/localAS Update BGP LocalAS
PUT /bgp/localPref Update BGP LocalPref
PUT /bgp/logNeighborChanges Update BGP LogNeighborChanges
PUT /bgp/routerId Update BGP RouterId
[boxs] BOX Services
GET /boxs Get BOXS
GET /boxes/fans Get BOXS Fan
GET /boxs/powSupplies Get BOXS PowSupply
GET /boxs/tempSensors Get BOXS TempSensor
GET /boxs/sfp Get BOXS SFP
[if] Interface Configuration and Status
POST /if/{ifNum}/vlan/{vlanId} Configure INTERFACE to VLAN
DELETE /if/{ifNum}/vlan/{vlanId} Delete INTERFACE from VLAN
GET /if/{ifNum} Get INTERFACE
GET /if/{ifNum}/counters Get INTERFACE Counters
GET /if Get INTERFACE List
GET /if/pendingChanges Get INTERFACE Pending List
GET /if/{ifNum}/vlan/{vlanId} Get INTERFACE Participation
GET /if/{ifNum}/vlan Get INTERFACE Participation List
PUT /if/{ifNum}/acceptFrameType Update INTERFACE AcceptFrameType
PUT /if/{ifNum}/adminState Update INTERFACE AdminState
PUT /if/{ifNum}/autoNegMode Update INTERFACE AutoNegMode
PUT /if/{ifNum}/counters/reset Update INTERFACE Counter to Reset
PUT /if/{ifNum}/description Update INTERFACE Description
PUT /if/{ifNum}/mtuSize Update INTERFACE MtuSize
PUT /if/{ifNum}/vlan/{vlanId}/taggingMode Update INTERFACE Participation TaggingMode
PUT /if/{ifNum}/pvid Update INTERFACE PVID
PUT /if/{ifNum}/softShutdownState Update INTERFACE SoftShutdownState
PUT /if/{ifNum}/speed Update INTERFACE Speed
[lag] LAG Configuration and Status
POST /lag/{lagId}/port/{portNum} Configure LAG Member
DELETE /lag/{lagId}/port/{portNum} Delete LAG Member
GET /lag/{lagId} Get LAG
GET /lag Get LAG List
[logging] Logging Configuration and Status
POST /logging/hosts/{hostAddr} Create LOGGING Host
DELETE /logging/hosts/{hostAddr} Delete LOGGING Host
GET /logging Get LOGGING
GET /logging/hosts/{hostAddr} Get LOGGING Host
GET /logging/hosts Get LOGGING Host List
PUT /logging/cli/mode Update LOGGING CLI Mode
PUT /logging/console/mode Update LOGGING Console Mode
PUT /logging/console/severityLevel Update LOGGING Console SeverityLevel
PUT /logging/hosts/{hostAddr}/port Update LOGGING Host Port
PUT /logging/hosts/{hostAddr}/severityLevel Update LOGGING Host SeverityLevel
PUT /logging/syslog/mode Update LOGGING Syslog Mode
PUT /logging/syslog/port Update LOGGING Syslog Port
[routing] Routing Protocol Process Interface Configuration and Status.
POST /routing/vlanRtrIf Create ROUTING Vlan Interface
DELETE /routing/vlanRtrIf Delete ROUTING Vlan Interface
GET /routing Get ROUTING
GET /routing/vlanRtrIf/{logicalInterfaceId} Get ROUTING Vlan Interface
GET /routing/vlanRtrIf Get ROUTING Vlan Interface List
PUT /routing/ipv4/adminMode Update ROUTING IPv4 AdminMode
PUT /routing/ipv6/adminMode Update ROUTING IPv6 AdminMode
POST /routing/if/{ifNum}/ip Create ROUTING Interface IP Address
DELETE /routing/if/{ifNum}/ip Delete ROUTING Interface IP Address
GET /routing/if Get ROUTING Interface List
POST /routing/vlanRtrIf/{logicalInterfaceId}/ip Create ROUTING VLAN Interface IP Address
DELETE /routing/vlanRtrIf/{logicalInterfaceId}/ip Delete ROUTING VLAN Interface IP Address
PUT /routing/if/{ifNum}/adminMode Update ROUTING Interface Routing AdminMode
[system] System Configuration and Status
DELETE /system/networkport/ipv4/parameters Delete SYSTEM NetworkPort IPv4 Parameters
GET /system Get SYSTEM
GET /system/networkport/ipv4 Get SYSTEM NetworkPort IPv4
PUT /system/hostname Update SYSTEM Hostname
PUT /system/networkport/ipv4/parameters Update SYSTEM NetworkPort IPv4 Parameters
PUT /system/networkport/ipv4/protocolMode Update SYSTEM NetworkPort IPv4 ProtocolMode
PUT /system/serialTimeout Update SYSTEM SerialTimeout
PUT /system/telnetServerAdminMode Update SYSTEM TelnetServerAdminMode
[tcam] TCAM API: Provide An Managing Policy In Hardware
POST /tcam/policy/{policyId}/port/{portNum} Configure TCAM Policy to Port
POST /tcam/policy Create TCAM Policy
DELETE /tcam/policy/{policyId} Delete TCAM Policy
DELETE /tcam/policy Delete TCAM Policy All
DELETE /tcam/policy/{policyId}/port/{portNum} Delete TCAM Policy from Port
GET /tcam Get TCAM
GET /tcam/groupStats Get TCAM GroupStats
GET /tcam/policy/{policyId} Get TCAM Policy
GET /tcam/policy Get TCAM Policy List
[vlans] VLAN Configuration and Status
POST /vlans/{vlanId} Create VLAN
DELETE /vlans/{vlanId} Delete VLAN
GET /vlans/{vlanId} Get VLAN
GET /vlans Get VLAN List
GET /vlans/pendingChanges Get VLAN Pending List
PUT /vlans/{vlanId}/name Update VLAN Name
[transfer] Provide the Ability to Download/Upload Files.
POST /download/image Download Image
POST /download/config Download Config
GET /download/status Get Download Status
POST /upload/config Upload Config
GET /upload/status Get Upload Status
GET /download/startupCfgInfo Get Startup-Config Information
POST /download/script Download Script
POST /upload/script Upload Script
[ssh] SSH Configuration and Status
GET /ssh Get SSH
PUT /ssh/adminMode Update SSH Admin Mode
PUT /ssh/maxSessions Update SSH Max Sessions
PUT /ssh/protoVersion Update SSH Protocol Version
PUT /ssh/timeout Update SSH Timeout
[script] Applying CLI Configuration
POST /script/apply Apply Script
GET /script/list Get Script List
DELETE /script Delete Script
[vxlan] VxLAN Configuration and Status
GET /vxlan/{vxlanId}/mode Get VxLAN Mode
GET /vxlan/{vxlanId}/udpPort Get VxLAN UDP Port
GET /vxlan/{vxlanId}/tenant/{tenantId} Get VxLAN Tenant
GET /vxlan/{vxlanId}/tenant Get VxLAN Tenant List
GET /vxlan/{vxlanId}/sourceIntf Get VxLAN Source Interface
GET /vxlan/{vxlanId}/unicastGroup Get VxLAN Unicast Group
GET /vxlan/{vxlanId}/multicastGroup Get VxLAN Multicast Group
POST /vxlan/{vxlanId}/tenant/tenantId/vlan/vlanId Create VxLAN Tenant
PUT /vxlan/{vxlanId}/mode Update VxLAN mode
PUT /vxlan/{vxlanId}/udpPort Update VxLAN Udp Port
PUT /vxlan/{vxlanId}/sourceIntf/if Update VxLAN Source Interface - Interface
PUT /vxlan/{vxlanId}/sourceIntf/loopback Update VxLAN Source Interface - Loopback
PUT /vxlan/{vxlanId}/sourceIntf/vlan Update VxLAN Source Interface - Vlan
PUT /vxlan/{vxlanId}/unicastGroup Update VxLAN Unicast Group Address
PUT /vxlan/{vxlanId}/multicastGroup Update VxLAN Default Multicast Group Address
PUT /vxlan/{vxlanId}/tenant/{tenantId}/multicastGroup Update VxLAN Multicast Group Address
DELETE /vxlan/{vxlanId}/tenant/{tenantId} Delete VxLAN Tenant
DELETE /vxlan/{vxlanId}/sourceIntf Delete VxLAN Source Interface
DELETE /vxlan/{vxlanId}/unicastGroup Delete VxLAN Unicast Group Address
DELETE /vxlan/{vxlanId}/multicastGroup Delete VxLAN Default Multicast Group Address
DELETE /vxlan/{vxlanId}/tenant/{tenantId}/multicastGroup Delete VxLAN Multicast Group Address
[process] CPU and Memory utilization information
GET /process/memory Get Memory
GET /process/cpu Get CPU
)";

struct api_t {
  std::string method, uri, name;
};

struct module_t {
  std::string name, description;
  std::vector<api_t> apis;
};

static std::vector<module_t> documented()
{
  std::vector<module_t> modules;
  std::istringstream lines(DOCUMENTED + 1);
  for (std::string line; std::getline(lines, line);) {
    size_t space = line.find(' ');
    size_t second = line.find(' ', space + 1);
    if (line[0] == '[')
      modules.push_back({line.substr(1, space - 2), line.substr(space + 1), {}});
    else
      modules.back().apis.push_back({line.substr(0, space),
                                     line.substr(space + 1, second - space - 1),
                                     line.substr(second + 1)});
  }
  return modules;
}

// --- The parser ---

// Parses a document from the file that the parser's file variant reads.
static tree_ptr parse_file(const std::string& document)
{
  engine_reset();
  file_write(engine_folder() + "/help_doc", document);
  tree_ptr tree(read_help_doc_file_and_parse_to_tree_obj());
  remove((engine_folder() + "/help_doc").c_str());
  return tree;
}

// What a rendering procedure makes of a tree.
static std::string rendered(void (*render)(node_t*, char**), node_t* tree)
{
  char* text = nullptr;
  render(tree, &text);
  std::unique_ptr<char, decltype(&free)> owner(text, free);
  return text ? text : "(nothing)";
}

TEST(Parser, ReadsWhatIsThereAndSkipsTheRest)
{
  const std::string M = "===MODULE-START\n", A = "==API-START\n", P = "=API-PARAM-START\n";
  const std::string toy = M + " module_name=toy\n module_desc=Toys\n";
  const std::string get = toy + A + " api_name=n\n api_desc=d\n  api_uri=u\n    api_method=m\n";
  const std::string v230(230, 'v');
  auto module = [](const std::string& inside) {
    return "<modules><module>" + inside + "</module></modules>";
  };
  auto toy_with = [&](const std::string& apis) {
    return module("<module_name>toy</module_name><module_desc>Toys</module_desc><apis>" + apis +
                  "</apis>");
  };
  auto get_with = [&](const std::string& parameters) {
    return toy_with(
        "<api><api_name>n</api_name><api_desc>d</api_desc><api_uri>u</api_uri>"
        "<api_method>m</api_method><parameters>" +
        parameters + "</parameters></api>");
  };
  auto param = [](const std::string& name, const std::string& description) {
    return "<param><param_name>" + name + "</param_name><param_desc>" + description +
           "</param_desc></param>";
  };
  auto expect_parsed = [](int line, const std::string& document, const std::string& expected) {
    EXPECT_EQ(rendered(print_tree_by_xml, parse_file(document).get()), expected)
        << "case of line " << line;
  };

  expect_parsed(__LINE__, "", "<modules></modules>");
  expect_parsed(__LINE__, "########\n module_name=toy\n\n===MODULE-END\n", "<modules></modules>");
  expect_parsed(__LINE__, " " + M + "===MODULE-START \n", "<modules></modules>");
  expect_parsed(__LINE__, toy, toy_with(""));
  expect_parsed(__LINE__, M + "module_name=toy\n module_desc=T\n",
                module("<module_desc>T</module_desc><apis></apis>"));
  expect_parsed(__LINE__, M + " module_desc=Toys\n module_name=toy\n", module("<apis></apis>"));
  expect_parsed(__LINE__, M + "\tmodule_name=toy\n module_desc=\n", module("<apis></apis>"));
  expect_parsed(__LINE__, M + " module_name= a=b@c \n module_desc=" + v230 + "\n",
                module("<module_name> a=b@c </module_name><module_desc>" + v230 +
                       "</module_desc><apis></apis>"));
  // A start mark where a key is due is used up like any other line.
  expect_parsed(__LINE__, M + M + " module_name=toy\n", module("<apis></apis>"));
  expect_parsed(__LINE__, get, get_with(""));
  expect_parsed(
      __LINE__, toy + A + " api_desc=d\n api_name=n\n api_uri=u\n api_method=m\n",
      toy_with(
          "<api><api_uri>u</api_uri><api_method>m</api_method><parameters></parameters></api>"));
  expect_parsed(__LINE__, A + " api_name=n\n", "<modules></modules>");
  expect_parsed(__LINE__, P + " param=a@b\n=API-PARAM-END\n" + toy, toy_with(""));
  expect_parsed(__LINE__,
                get + P +
                    "   param=a@b@c\nother\nparam=x@y\n param=@z\n param=q@\n param=q\n param=a "
                    "b@@d\n=API-PARAM-END\n param=x@y\n",
                get_with(param("a", "b@c") + param("a b", "d")));
  expect_parsed(__LINE__, get + P + " param=a@b\n" + A + M, get_with(param("a", "b")));
}

TEST(Parser, TakesTheFileIn255CharacterPiecesAndToleratesItsAbsence)
{
  std::string line = " module_name=" + std::string(400, 'v') + "\n";
  tree_ptr tree = parse_file("===MODULE-START\n" + line + " module_desc=T\n");
  // The rest of the long line stands where the description was due.
  EXPECT_EQ(rendered(print_tree_by_xml, tree.get()),
            "<modules><module><module_name>" + std::string(255 - strlen(" module_name="), 'v') +
                "</module_name><apis></apis></module></modules>");
  EXPECT_EQ(read_help_doc_file_and_parse_to_tree_obj(), nullptr);
}

TEST(Parser, GivesTheTextLineByLine)
{
  static const char text[] = "one\n\nthree\nlost";
  char line[6] = "old..";
  engine_do([&] {
    now_p = text;
    end_p = text + strlen(text);
    for (const char* expected : {"one\n", "\n", "three"}) {
      EXPECT_EQ(parse_help_doc_text_to_tree_obj_subfunc_get_new_line(line, sizeof line), RC_TRUE);
      EXPECT_STREQ(line, expected);
      EXPECT_EQ(line[sizeof line - 1], '\0');
    }
    EXPECT_EQ(parse_help_doc_text_to_tree_obj_subfunc_get_new_line(line, sizeof line), RC_FALSE);
    EXPECT_STREQ(line, "");
    EXPECT_EQ(parse_help_doc_text_to_tree_obj_subfunc_get_new_line(line, sizeof line), RC_FALSE);
  });
}

// --- The document ---

static json_object* member(json_object* object, const char* key)
{
  return json_object_object_get(object, key);
}

static std::string text_of(json_object* object, const char* key)
{
  const char* text = json_object_get_string(member(object, key));
  return text ? text : "(nothing)";
}

static std::vector<json_object*> entries(json_object* list)
{
  std::vector<json_object*> all;
  while (json_object* entry = member(list, std::to_string(all.size() + 1).c_str()))
    all.push_back(entry);
  EXPECT_EQ(static_cast<int>(all.size()), json_object_object_length(list)) << "other keys";
  return all;
}

// The names between braces in a URI.
static std::vector<std::string> placeholders(const std::string& uri)
{
  std::vector<std::string> names;
  for (size_t at = 0; (at = uri.find('{', at)) != std::string::npos; at++)
    names.push_back(uri.substr(at + 1, uri.find('}', at) - at - 1));
  return names;
}

// Placeholders first and in the order of the URI, the two common variables last, no name twice.
static void expect_parameters(const std::string& module, json_object* api)
{
  std::vector<std::string> names;
  for (json_object* param : entries(member(api, "parameters"))) {
    names.push_back(text_of(param, "param_name"));
    bool is_told =
        text_of(param, "param_desc").find("script names end in \".scr\"") != std::string::npos;
    EXPECT_EQ(is_told, names.back() == "scr");
    EXPECT_EQ(std::count(names.begin(), names.end(), names.back()), 1) << names.back();
  }
  std::vector<std::string> fields = placeholders(text_of(api, "api_uri"));
  ASSERT_GT(names.size(), fields.size());
  EXPECT_EQ(
      std::vector<std::string>(names.begin(), names.begin() + static_cast<long>(fields.size())),
      fields);
  EXPECT_EQ(names.back(), "format");
  if (module != "login" && module != "help") {
    ASSERT_GE(names.size(), 2u);
    EXPECT_EQ(names[names.size() - 2], "sessionkey");
  }
}

TEST(Document, ListsEveryModuleAndApiInOrder)
{
  engine_reset();
  size_t api_count = 0;
  for (const module_t& module : documented()) {
    reply_t reply = engine_request("GET", "/help/" + module.name + "?format=json");
    std::unique_ptr<json_object, decltype(&json_object_put)> answer(
        json_tokener_parse(reply.body.c_str()), json_object_put);
    json_object* data = member(member(member(answer.get(), "result"), "rlt_data"), "module");
    EXPECT_EQ(text_of(data, "module_name"), module.name);
    EXPECT_EQ(text_of(data, "module_desc"), module.description);
    std::vector<json_object*> apis = entries(member(data, "apis"));
    ASSERT_EQ(apis.size(), module.apis.size()) << module.name;
    for (size_t i = 0; i < apis.size(); i++) {
      SCOPED_TRACE(module.apis[i].name);
      EXPECT_EQ(text_of(apis[i], "api_name"), module.apis[i].name);
      EXPECT_EQ(text_of(apis[i], "api_uri"), module.apis[i].uri);
      EXPECT_EQ(text_of(apis[i], "api_method"), module.apis[i].method);
      EXPECT_GT(text_of(apis[i], "api_desc").size(), 10u);
      expect_parameters(module.name, apis[i]);
    }
    api_count += apis.size();
  }
  EXPECT_EQ(api_count, 146u);
}

TEST(Document, IsAsLongAsItIsAndSafeToInsert)
{
  EXPECT_EQ(strlen(restGlobalHelpDocText), 64096u);
  EXPECT_EQ(strcspn(restGlobalHelpDocText, "<>&\t\r"), 64096u);
  std::istringstream lines(restGlobalHelpDocText);
  for (std::string line; std::getline(lines, line);) {
    size_t value = line.find(line.find(" param=") == std::string::npos ? '=' : '@') + 1;
    EXPECT_LT(line.size() - value, 256u) << line;
    EXPECT_TRUE(std::all_of(line.begin(), line.end(), [](char c) { return c >= ' ' && c <= '~'; }))
        << line;
  }
}

// --- The module ---

static const char SMALL_DOCUMENT[] =
    "===MODULE-START\n    module_name=toy\n    module_desc=Toys\n"
    "==API-START\n    api_name=Get Toy\n    api_desc=Show it.\n    api_uri=/toy/{id}\n"
    "    api_method=GET\n=API-PARAM-START\n    param=id@Number.\n    param=format@xml or json.\n"
    "=API-PARAM-END\n==API-END\n"
    "==API-START\n    api_name=Put Toy\n    api_desc=Change it.\n    api_uri=/toy\n"
    "    api_method=PUT\n==API-END\n===MODULE-END\n"
    "===MODULE-START\n    module_name=ball\n    module_desc=Balls\n===MODULE-END\n";

TEST(Html, PagesByteForByte)
{
  tree_ptr tree = parse_file(SMALL_DOCUMENT);
  const std::string style =
      "<html><style>table, tr, td, th{    border-collapse:collapse;    border:1px solid #FFF;    "
      "padding: 5px;    background-color: #DDEEFF;}th{    background-color: #0066AA;    color: "
      "#FFF;}";
  EXPECT_EQ(rendered(print_help_doc_html_for_list, tree.get()),
            style +
                ".mod_name{ width:120px;  text-align:center; }.mod_desc{ width:350px; "
                "}td.mod_name{ font-size:larger; font-weight:bold; }</style><body>    <h1>RESTful "
                "API Help Document</h1>    <h2>Module List</h2>    <table>       <tr/>           "
                "<th class='mod_name'/>Module Name           <th class='mod_desc'/>Module "
                "Description<tr/><td class='mod_name'/>[<a href='/help/toy?format=html'>toy</a>]"
                "<td class='mod_desc'/>Toys<tr/><td class='mod_name'/>[<a "
                "href='/help/ball?format=html'>ball</a>]<td class='mod_desc'/>Balls"
                "</table></body></html>");

  const std::string module_page =
      style +
      "/*.api_name{ width:200px; }*/td.api_name{ font-weight:bold; }.api_desc{ width:300px; "
      "}.api_method{ width:80px; }.api_uri{ width:300px; }.api_param{ width:500px; }</style><body> "
      "   <h1>RESTful API Help Document</h1>    <h2>API List of Module [toy]: Toys</h2>   <table>  "
      "     <tr/>           <th class='api_name'/>API Name           <th "
      "class='api_desc'/>Description           <th class='api_method'/>Method           <th "
      "class='api_uri'/>URI           <th class='api_param'/>Paramters"
      "<tr/>      <td class='api_name'/>Get Toy      <td class='api_desc'/>Show it.      <td "
      "class='api_method'/>GET      <td class='api_uri'/>/toy/{id}      <td class='api_param'/>"
      "<ul><li>id: Number.</li><li>format: xml or json.</li></ul>"
      "<tr/>      <td class='api_name'/>Put Toy      <td class='api_desc'/>Change it.      <td "
      "class='api_method'/>PUT      <td class='api_uri'/>/toy      <td class='api_param'/><ul></ul>"
      "</table></body></html>";
  node_t* modules = get_subtree_node1(get_next_node(tree.get()));
  EXPECT_EQ(rendered(print_help_doc_html_for_specified_module_name, get_next_node(modules)),
            module_page);
  EXPECT_EQ(rendered(print_help_doc_html_for_specified_module_name, modules), module_page);
  EXPECT_EQ(rendered(print_help_doc_html_for_list, nullptr), "");
  EXPECT_EQ(rendered(print_help_doc_html_for_specified_module_name, nullptr), "");
}

TEST(Html, CutsAParameterCellAt16383CharactersAndSurvivesAMissingLine)
{
  std::string params, cell = "<ul>";
  for (int i = 0; i < 200; i++) {
    params += " param=name@" + std::string(200, 'x') + "\n";
    cell += "<li>name: " + std::string(200, 'x') + "</li>";
  }
  const std::pair<const char*, std::string> cases[] = {
      {" api_method=m\n", cell.substr(0, 16383)},
      {" lost\n",                 "<ul></ul>"                     }, // the parameters stand where the method was
  };
  for (const auto& [method_line, expected] : cases) {
    tree_ptr tree = parse_file(
        "===MODULE-START\n module_name=toy\n module_desc=Toys\n==API-START\n api_name=n\n"
        " api_desc=d\n api_uri=u\n" +
        std::string(method_line) + "=API-PARAM-START\n" + params);
    std::string page = rendered(print_help_doc_html_for_specified_module_name,
                                get_subtree_node1(get_next_node(tree.get())));
    EXPECT_EQ(page.substr(page.rfind("<td class='api_param'/>")),
              "<td class='api_param'/>" + expected + "</table></body></html>");
  }
}

TEST(Help, AnswersWithoutSessionInThreeForms)
{
  engine_reset();
  std::string xml, json, html;
  int position = 0;
  for (const module_t& module : documented()) {
    xml += "<module><module_name>" + module.name + "</module_name><module_desc>" +
           module.description + "</module_desc></module>";
    json += (json.empty() ? "" : ",") + ("\"" + std::to_string(++position)) +
            "\":{\"module_name\":\"" + module.name + "\",\"module_desc\":\"" + module.description +
            "\"}";
    html += "<tr/><td class='mod_name'/>[<a href='/help/" + module.name + "?format=html'>" +
            module.name + "</a>]<td class='mod_desc'/>" + module.description;
  }
  expect_answer(__LINE__, "GET", "/help", 0, "Get data successfully.",
                ("{\"modules\":{" + json + "}}").c_str());
  xml = xml_envelope(0, "Get data successfully.", "<modules>" + xml + "</modules>");
  for (const char* path : {"/help", "/help?format=xml", "/help?format=htm"})
    EXPECT_EQ(engine_request("GET", path).body, xml) << path;
  for (const char* path : {"/help?format=html", "/help?format=HTMLX"}) {
    reply_t page = engine_request("GET", path);
    EXPECT_EQ(page.status, 200);
    EXPECT_EQ(page.content_type, "text/html; charset=utf-8");
    EXPECT_NE(page.body.find("Module Description" + html + "</table></body></html>\n"),
              std::string::npos);
  }
  reply_t page = engine_request("GET", "/help/base?format=html");
  EXPECT_EQ(page.content_type, "text/html; charset=utf-8");
  EXPECT_NE(page.body.find("[base]: Base Service</h2>"), std::string::npos);
  EXPECT_NE(page.body.find("<td class='api_method'/>GET      <td class='api_uri'/>/base/idname"),
            std::string::npos);
  std::string module = engine_request("GET", "/help/script").body;
  EXPECT_EQ(module.rfind("<result><rlt_code>0</rlt_code><rlt_mesg>Get data successfully.</rlt_mesg>"
                         "<rlt_data><module><module_name>script</module_name><module_desc>Applying "
                         "CLI Configuration</module_desc><apis><api><api_name>Apply Script",
                         0),
            0u);
}

TEST(Help, RefusesOtherPathsAndUnknownModules)
{
  engine_reset();
  const struct {
    const char *method, *path;
    int code;
    const char* message;
  } cases[] = {
      {"GET",    "/help/pml",              1,   "The module name does not exist."               },
      {"GET",    "/help/VLANS?format=xml", 1,   "The module name does not exist."               },
      {"GET",    "/help/toy?format=html",  1,   "The module name does not exist."               },
      {"GET",    "/help/",                 902, "Bad Request. Please check your method and URI."},
      {"GET",    "/help/vlans/x",          902, "Bad Request. Please check your method and URI."},
      {"GET",    "/help/vlans0",           902, "Bad Request. Please check your method and URI."},
      {"GET",    "/help/module-name",      902, "Bad Request. Please check your method and URI."},
      {"POST",   "/help",                  902, "Bad Request. Please check your method and URI."},
      {"DELETE", "/help/vlans",            902, "Bad Request. Please check your method and URI."},
  };
  for (const auto& c : cases)
    EXPECT_EQ(engine_request(c.method, c.path).body, xml_envelope(c.code, c.message)) << c.path;
}
