// The help document, its parser, and /help over sockets.
#include "engine/rest_operation.h"
#include "help/rest_help_doc.h"
#include "help/rest_module_help.h"
#include "tests/support/engine_test.h"

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

TEST(Parser, ReadsWhatIsThereAndSkipsTheRest)
{
  const std::string M = "===MODULE-START\n", A = "==API-START\n", P = "=API-PARAM-START\n";
  const std::string toy = M + " module_name=toy\n module_desc=Toys\n";
  const std::string get = toy + A + " api_name=n\n api_desc=d\n  api_uri=u\n    api_method=m\n";
  // What is read: each element as its name, without what is in front of "_", and its content in
  // brackets.
  const std::string got = "name(toy)desc(Toys)apis(api(name(n)desc(d)uri(u)method(m)parameters(";
  // clang-format off
  const std::pair<std::string, std::string> cases[] = {
      {"########\n module_name=toy\n\n===MODULE-END\n", ""}, {" " + M + "===MODULE-START \n", ""},
      {M + " module_desc=Toys\n module_name=toy\n", "module(apis())"},
      {M + "\tmodule_name=toy\n module_desc=\n", "module(apis())"},
      {M + " module_name= a=b@c \n module_desc=T\n", "module(name( a=b@c )desc(T)apis())"},
      // A start mark where a key is due is used up like any other line.
      {M + M + " module_name=toy\n", "module(apis())"}, {get, "module(" + got + "))))"},
      {A + " api_name=n\n" + P + " param=a@b\n=API-PARAM-END\n" + toy,
       "module(name(toy)desc(Toys)apis())"},
      {get + P + "   param=a@b@c\nother\nparam=x@y\n param=@z\n param=q@\n param=q\n" +
       " param=a b@@d\n=API-PARAM-END\n param=x@y\n",
       "module(" + got + "param(name(a)desc(b@c))param(name(a b)desc(d))))))"},
      {get + P + " param=a@b\n" + A + M, "module(" + got + "param(name(a)desc(b))))))"}};
  // clang-format on
  for (const auto& [document, expected] : cases) {
    std::string read = tree_text(print_tree_by_xml, parse_file(document).get());
    read = std::regex_replace(read, std::regex("</\\w+>"), ")");
    read = std::regex_replace(read, std::regex("<(\\w+_)?(\\w+)>"), "$2(");
    EXPECT_EQ(read, "modules(" + expected + ")") << document;
  }
}

// The rest of the long line stands where the description is due.
TEST(Parser, TakesTheFileIn255CharacterPiecesAndToleratesItsAbsence)
{
  const std::string start = " module_name=", line = start + std::string(400, 'v') + "\n";
  EXPECT_EQ(tree_text(print_tree_by_xml,
                      parse_file("===MODULE-START\n" + line + " module_desc=T\n").get()),
            "<modules><module><module_name>" + std::string(255 - start.size(), 'v') +
                "</module_name><apis></apis></module></modules>");
  EXPECT_EQ(read_help_doc_file_and_parse_to_tree_obj(), nullptr);
}

// --- The document ---

TEST(Document, IsSafeToInsert)
{
  std::istringstream lines(restGlobalHelpDocText);
  for (std::string line; std::getline(lines, line);) {
    const size_t value = line.find(line.find(" param=") == std::string::npos ? '=' : '@') + 1;
    EXPECT_LT(line.size() - value, 256u) << line;
    EXPECT_TRUE(std::regex_match(line, std::regex("[ -;=?-~]*"))) << line;  // no "<", no ">"
    EXPECT_EQ(line.find('&'), std::string::npos) << line;
  }
}

// --- The module ---

static const char SMALL_DOCUMENT[] =
    "===MODULE-START\n module_name=toy\n module_desc=Toys\n"
    "==API-START\n api_name=Get Toy\n api_desc=Show it.\n api_uri=/toy/{id}\n api_method=GET\n"
    "=API-PARAM-START\n param=id@Number.\n param=format@xml or json.\n=API-PARAM-END\n==API-END\n"
    "==API-START\n api_name=Put Toy\n api_desc=Change it.\n api_uri=/toy\n api_method=PUT\n"
    "==API-END\n===MODULE-END\n"
    "===MODULE-START\n module_name=ball\n module_desc=Balls\n===MODULE-END\n";

TEST(Html, PagesByteForByte)
{
  tree_ptr tree = parse_file(SMALL_DOCUMENT);
  const std::string style =
      "<html><style>table, tr, td, th{    border-collapse:collapse;    border:1px solid #FFF;    "
      "padding: 5px;    background-color: #DDEEFF;}th{    background-color: #0066AA;    color: "
      "#FFF;}";
  EXPECT_EQ(tree_text(print_help_doc_html_for_list, tree.get()),
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
  EXPECT_EQ(tree_text(print_help_doc_html_for_specified_module_name, get_next_node(modules)),
            module_page);
  EXPECT_EQ(tree_text(print_help_doc_html_for_specified_module_name, modules), module_page);
  EXPECT_EQ(tree_text(print_help_doc_html_for_list, nullptr), "");
  EXPECT_EQ(tree_text(print_help_doc_html_for_specified_module_name, nullptr), "");
}

TEST(Html, CutsAParameterCellAt16383Characters)
{
  std::string params, cell = "<ul>";
  for (int i = 0; i < 200; i++) {
    params += " param=name@" + std::string(200, 'x') + "\n";
    cell += "<li>name: " + std::string(200, 'x') + "</li>";
  }
  const tree_ptr tree = parse_file(
      "===MODULE-START\n module_name=toy\n module_desc=Toys\n==API-START\n api_name=n\n"
      " api_desc=d\n api_uri=u\n api_method=m\n=API-PARAM-START\n" +
      params);
  const std::string page = tree_text(print_help_doc_html_for_specified_module_name,
                                     get_subtree_node1(get_next_node(tree.get())));
  EXPECT_EQ(page.substr(page.rfind("<td class='api_param'/>")),
            "<td class='api_param'/>" + cell.substr(0, 16383) + "</table></body></html>");
}

// What it says in XML and JSON is recorded (tests/recorded), and its pages are read in a browser
// (tests/openapi).
TEST(Help, HasPagesAndRefusesUnknownModulesAndOtherLetters)
{
  engine_reset();
  for (const auto& [path, type, text] :
       {std::tuple("/help?format=html", "html", "[<a href='/help/login?format=html'>login</a>]"),
        std::tuple("/help/boxs?format=HTMLX", "html", "[boxs]: BOX Services</h2>"),
        std::tuple("/help?format=htm", "xml", "<rlt_code>0<"),
        std::tuple("/help/toy?format=html", "xml", "<rlt_mesg>The module name does not exist.<")}) {
    const reply_t reply = engine_request("GET", path);
    EXPECT_NE(reply.body.find(text), std::string::npos) << path << reply.body;
    EXPECT_EQ(reply.content_type, std::string("text/") + type + "; charset=utf-8") << path;
  }
  run_script(__LINE__, R"(
GET /help/pml /help/VLANS  result 1 The module name does not exist.
GET /help/vlans/x /help/vlans0 /help/module-name  result 902)");
}
