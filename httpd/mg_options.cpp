#include "httpd/mg_options.h"

#include <grp.h>
#include <pwd.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

#include <memory>

#include "httpd/mg_internal.h"
#include "httpd/mg_parse.h"

// Name and default of each option, ended by a null name.
static const char* const static_config_options[] = {
    // clang-format off
    "access_control_list",      nullptr,
    "access_log_file",          nullptr,
    "auth_domain",              "example.com",
    "cgi_interpreter",          nullptr,
    "cgi_pattern",              "**.cgi$|**.pl$|**.php$",
    "dav_auth_file",            nullptr,
    "document_root",            nullptr,
    "enable_directory_listing", "yes",
    "enable_proxy",             nullptr,
    "extra_mime_types",         nullptr,
    "global_auth_file",         nullptr,
    "hide_files_patterns",      nullptr,
    "hexdump_file",             nullptr,
    "index_files",              "index.html,index.htm,index.shtml,index.cgi,index.php",
    "listening_port",           nullptr,
    "run_as_user",              nullptr,
    "ssi_pattern",              "**.shtml$|**.shtm$",
    "url_rewrites",             nullptr,
    nullptr,                    nullptr,
    // clang-format on
};
static_assert(sizeof static_config_options / sizeof static_config_options[0] ==
                  2 * (NUM_OPTIONS + 1),
              "one name and one default for each option");

const char* const* mg_get_valid_option_names(void)
{
  return static_config_options;
}

// A copy with room for a port's number, which takes the place of a listening address.
static char* option_copy(const char* value)
{
  size_t room = strlen(value) + sizeof "65535";
  char* copy = static_cast<char*>(malloc(room));
  if (copy)
    snprintf(copy, room, "%s", value);
  return copy;
}

bool set_default_option_values(char** options)
{
  for (int i = 0; i < NUM_OPTIONS; i++) {
    const char* value = static_config_options[2 * i + 1];
    if (!options[i] && value && !(options[i] = option_copy(value)))
      return false;
  }
  return true;
}

// The option's index, or -1.
static int option_index(const char* name)
{
  for (int i = 0; i < NUM_OPTIONS; i++)
    if (strcmp(static_config_options[2 * i], name) == 0)
      return i;
  return -1;
}

const char* mg_get_option(const struct mg_server* server, const char* name)
{
  int index = option_index(name);
  if (index < 0)
    return nullptr;
  return server->config_options[index] ? server->config_options[index] : "";
}

// Binds the addresses one after the other; `stored` is the option's own value.
static const char* option_listen(mg_server* server, const char* addresses, char* stored)
{
  mg_vec address;
  while ((addresses = next_option(addresses, &address, nullptr)) != nullptr) {
    char text[500];
    snprintf(text, sizeof text, "%.*s", static_cast<int>(address.len), address.ptr);
    ns_connection* listener = ns_bind(&server->mgr, text, server->listener_callback, nullptr);
    if (!listener)
      return "Cannot bind to port";
    snprintf(stored, sizeof "65535", "%u", unsigned{ntohs(listener->sa.sin.sin_port)});
  }
  return nullptr;
}

static const char* option_run_as(const char* user)
{
  const passwd* account = getpwnam(user);
  if (!account)
    return "Unknown user";
  // The groups of the user who started the server go too.
  if (geteuid() == 0 && initgroups(user, account->pw_gid) != 0)
    return "setgid() failed";
  if (setgid(account->pw_gid) != 0)
    return "setgid() failed";
  if (setuid(account->pw_uid) != 0)
    return "setuid() failed";
  return nullptr;
}

const char* mg_set_option(struct mg_server* server, const char* name, const char* value)
{
  int index = option_index(name);
  if (index < 0)
    return "No such option";
  mg_option option = static_cast<mg_option>(index);
  const char* old = server->config_options[option];
  if ((!old && !value) || (old && value && strcmp(old, value) == 0))
    return nullptr;
  bool unset = !value || !*value;
  // The value may lie in the old one, and the stored one changes while its addresses are bound.
  std::unique_ptr<char, decltype(&free)> copy(unset ? nullptr : strdup(value), free);
  char* stored = unset ? nullptr : option_copy(value);
  if (!unset && (!copy || !stored)) {
    free(stored);
    return "Out of memory";
  }
  free(server->config_options[option]);
  server->config_options[option] = stored;
  if (option == HEXDUMP_FILE)
    server->mgr.hexdump_file = server->config_options[option];
  if (unset)
    return nullptr;
  if (option == LISTENING_PORT)
    return option_listen(server, copy.get(), stored);
  if (option == RUN_AS_USER)
    return option_run_as(copy.get());
  return nullptr;
}
