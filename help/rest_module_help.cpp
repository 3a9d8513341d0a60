#include "help/rest_module_help.h"

#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include <memory>
#include <utility>

#include "engine/rest_common.h"
#include "engine/rest_dyn_string.h"
#include "engine/rest_operation.h"
#include "engine/rest_path.h"
#include "engine/rest_route.h"
#include "engine/rest_util.h"
#include "help/rest_help_doc.h"

// Bytes of the buffers for a row of the list and for the parameters of one API; what is longer is
// cut.
static constexpr size_t HTML_CELL_SIZE = 16384;

static constexpr rest_route_t help_routes[] = {
    {REQUEST_METHOD_GET, "/help",     api_help_get_list                 },
    {REQUEST_METHOD_GET, "/help/{m}", api_help_get_specified_module_name},
};

int help_api_handler(openapiClientHandle_t* client_handle, struct mg_connection* conn)
{
  return rest_route_request(client_handle, conn, help_routes);
}

// --- The parsed document ---

// The modules of the document as a list.
static node_t* help_modules(const tree_ptr& tree)
{
  return get_subtree_node1(get_next_node(tree.get()));
}

static bool help_has_tag(node_t* node, const char* name)
{
  char tag[sizeof node->tagname] = "";
  get_node_tagname(node, tag, sizeof tag);
  return strcmp(tag, name) == 0;
}

// Takes the node after this one out of its list.
static tree_ptr help_take_next(node_t* previous)
{
  tree_ptr taken(get_next_node(previous));
  set_next_node(previous, get_next_node(taken.get()));
  set_next_node(taken.get(), nullptr);
  return taken;
}

// Leaves of a module its name and description.
static void help_trim_module(node_t* module)
{
  node_t* previous = get_subtree_node1(module);
  while (node_t* child = get_next_node(previous))
    if (help_has_tag(child, "module_name") || help_has_tag(child, "module_desc"))
      previous = child;
    else
      help_take_next(previous);
}

// Takes the module of this name out of the document; null when there is none.
static tree_ptr help_take_module(const tree_ptr& tree, const char* name)
{
  node_t* previous = help_modules(tree);
  while (node_t* module = get_next_node(previous)) {
    node_t* first = get_next_node(get_subtree_node1(module));
    if (help_has_tag(first, "module_name") && strcmp(first->val_data.val_s, name) == 0)
      return help_take_next(previous);
    previous = module;
  }
  return nullptr;
}

// --- HTML ---

struct dyn_string_free {
  void operator()(dyn_string_t* text) const
  {
    dynStringFree(&text);
  }
};
using page_ptr = std::unique_ptr<dyn_string_t, dyn_string_free>;

#define HELP_HTML_STYLE                                                                      \
  "<html><style>table, tr, td, th{    border-collapse:collapse;    border:1px solid #FFF;  " \
  "  padding: 5px;    background-color: #DDEEFF;}th{    background-color: #0066AA;    "      \
  "color: #FFF;}"

static constexpr char LIST_HEAD[] = HELP_HTML_STYLE
    ".mod_name{ width:120px;  text-align:center; }.mod_desc{ width:350px; }"
    "td.mod_name{ font-size:larger; font-weight:bold; }</style><body>"
    "    <h1>RESTful API Help Document</h1>    <h2>Module List</h2>    <table>"
    "       <tr/>           <th class='mod_name'/>Module Name"
    "           <th class='mod_desc'/>Module Description";
static constexpr char MODULE_HEAD[] = HELP_HTML_STYLE
    "/*.api_name{ width:200px; }*/td.api_name{ font-weight:bold; }.api_desc{ width:300px; }"
    ".api_method{ width:80px; }.api_uri{ width:300px; }.api_param{ width:500px; }</style><body>"
    "    <h1>RESTful API Help Document</h1>    <h2>API List of Module [";
static constexpr char MODULE_TABLE[] =
    "</h2>   <table>       <tr/>           <th class='api_name'/>API Name"
    "           <th class='api_desc'/>Description           <th class='api_method'/>Method"
    "           <th class='api_uri'/>URI           <th class='api_param'/>Paramters";
static constexpr char PAGE_END[] = "</table></body></html>";

// The text of a node, empty when it holds none.
static const char* help_text(const node_t* node)
{
  return node && node->val_type == VAL_TYPE_STRING ? node->val_data.val_s : "";
}

// The first node of a node's child list.
static node_t* help_first_child(node_t* node)
{
  return get_node_val_type(node) == VAL_TYPE_SUBTREE ? get_next_node(get_subtree_node1(node))
                                                     : nullptr;
}

static void help_give_page(const page_ptr& page, char** out_str)
{
  if (page && !page->lost)
    *out_str = std::exchange(page->string, nullptr);
}

void print_help_doc_html_for_list(node_t* dataN1_ptr, char** out_str)
{
  page_ptr page(dynStringNew());
  if (!dataN1_ptr)
    return help_give_page(page, out_str);
  dynStringAppend(page.get(), LIST_HEAD);
  for (node_t* module = help_first_child(get_next_node(dataN1_ptr)); module;
       module = get_next_node(module)) {
    node_t* first = help_first_child(module);
    const char* name = help_text(first);
    char row[HTML_CELL_SIZE];
    snprintf(row, sizeof row,
             "<tr/><td class='mod_name'/>[<a href='/help/%s?format=html'>%s</a>]"
             "<td class='mod_desc'/>%s",
             name, name, help_text(get_next_node(first)));
    dynStringAppend(page.get(), row);
  }
  dynStringAppend(page.get(), PAGE_END);
  help_give_page(page, out_str);
}

// The parameters of one API as a list.
static void help_print_parameters(node_t* parameters, char (&cell)[HTML_CELL_SIZE])
{
  size_t used = static_cast<size_t>(snprintf(cell, sizeof cell, "<ul>"));
  for (node_t* param = help_first_child(parameters); param && used < sizeof cell;
       param = get_next_node(param)) {
    node_t* name = help_first_child(param);
    used += static_cast<size_t>(snprintf(cell + used, sizeof cell - used, "<li>%s: %s</li>",
                                         help_text(name), help_text(get_next_node(name))));
  }
  if (used < sizeof cell)
    snprintf(cell + used, sizeof cell - used, "</ul>");
}

static void help_print_api(const page_ptr& page, node_t* api)
{
  node_t* name = help_first_child(api);
  node_t* description = get_next_node(name);
  node_t* uri = get_next_node(description);
  node_t* method = get_next_node(uri);
  char parameters[HTML_CELL_SIZE];
  help_print_parameters(get_next_node(method), parameters);
  for (const char* text :
       {"<tr/>      <td class='api_name'/>", help_text(name), "      <td class='api_desc'/>",
        help_text(description), "      <td class='api_method'/>", help_text(method),
        "      <td class='api_uri'/>", help_text(uri), "      <td class='api_param'/>",
        static_cast<const char*>(parameters)})
    dynStringAppend(page.get(), text);
}

void print_help_doc_html_for_specified_module_name(node_t* dataN1_ptr, char** out_str)
{
  page_ptr page(dynStringNew());
  if (!dataN1_ptr)
    return help_give_page(page, out_str);
  node_t* module =
      get_node_val_type(dataN1_ptr) == VAL_TYPE_START ? get_next_node(dataN1_ptr) : dataN1_ptr;
  node_t* name = help_first_child(module);
  node_t* description = get_next_node(name);
  for (const char* text : {MODULE_HEAD, help_text(name), static_cast<const char*>("]: "),
                           help_text(description), static_cast<const char*>(MODULE_TABLE)})
    dynStringAppend(page.get(), text);
  for (node_t* api = help_first_child(get_next_node(description)); api; api = get_next_node(api))
    help_print_api(page, api);
  dynStringAppend(page.get(), PAGE_END);
  help_give_page(page, out_str);
}

// --- Operations ---

// Answers with the tree, or with the page that print makes of it when HTML is asked for.
static int help_answer(struct mg_connection* conn, tree_ptr tree,
                       void (*print)(node_t* dataN1_ptr, char** out_str))
{
  char format[256];
  rest_get_var(conn, "format", format);
  if (strncasecmp(format, "html", 4) != 0)
    return answer_data(conn, std::move(tree));
  char* page = nullptr;
  print(tree.get(), &page);
  if (tree_take_shortage() || !page) {
    mg_break_connection(conn);
  } else {
    mg_send_header(conn, "Content-Type", "text/html; charset=utf-8");
    mg_printf_data(conn, "%s\n", page);
  }
  free(page);
  return 1;
}

int api_help_get_list(openapiClientHandle_t*, struct mg_connection* conn)
{
  tree_ptr tree(parse_help_doc_text_to_tree_obj());
  if (!tree) {
    send_file_help_doc_error(conn, nullptr);
    return 0;
  }
  for (node_t* module = get_next_node(help_modules(tree)); module; module = get_next_node(module))
    help_trim_module(module);
  return help_answer(conn, std::move(tree), print_help_doc_html_for_list);
}

int api_help_get_specified_module_name(openapiClientHandle_t*, struct mg_connection* conn)
{
  char name[REST_PATH_SEGMENT_SIZE];
  rest_path_segment(conn->uri, 1, name);
  tree_ptr tree(parse_help_doc_text_to_tree_obj());
  if (!tree) {
    send_file_help_doc_error(conn, nullptr);
    return 0;
  }
  tree_ptr module = help_take_module(tree, name);
  if (!module)
    return answer_failure(conn, 1, "The module name does not exist.");
  set_node_key(module.get(), "module");
  tree.reset();
  return help_answer(conn, std::move(module), print_help_doc_html_for_specified_module_name);
}
