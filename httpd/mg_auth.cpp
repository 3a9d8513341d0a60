// Digest authentication with a password file as htdigest writes it.
#include <errno.h>
#include <stdlib.h>
#include <string.h>
#include <strings.h>

#include <memory>

#include "httpd/mg_auth.h"

static constexpr size_t MAX_PARAMETER = 100;
static constexpr size_t MAX_DIGEST_URI = 16384;
static constexpr size_t MAX_LINE = 256;

struct digest_answer {
  char username[MAX_PARAMETER + 1];
  char cnonce[MAX_PARAMETER + 1];
  char response[MAX_PARAMETER + 1];
  char uri[MAX_DIGEST_URI + 1];
  char qop[MAX_PARAMETER + 1];
  char nc[MAX_PARAMETER + 1];
  char nonce[MAX_PARAMETER + 1];
};

static bool parse_answer(const char* header, digest_answer* answer)
{
  static const char scheme[] = "Digest ";
  if (!header || strncasecmp(header, scheme, sizeof scheme - 1) != 0)
    return false;
  header += sizeof scheme - 1;
  struct parameter {
    const char* name;
    char* value;
    size_t size;
  };
  const parameter parameters[] = {
      {"username", answer->username, sizeof answer->username},
      {"cnonce",   answer->cnonce,   sizeof answer->cnonce  },
      {"response", answer->response, sizeof answer->response},
      {"uri",      answer->uri,      sizeof answer->uri     },
      {"qop",      answer->qop,      sizeof answer->qop     },
      {"nc",       answer->nc,       sizeof answer->nc      },
      {"nonce",    answer->nonce,    sizeof answer->nonce   },
  };
  for (const parameter& p : parameters)
    if (mg_parse_header(header, p.name, p.value, p.size) <= 0)
      return false;
  return true;
}

static bool is_right_response(const char* method, const char* ha1, const digest_answer& answer)
{
  char ha2[33], expected[33];
  mg_md5(ha2, method, ":", answer.uri, nullptr);
  mg_md5(expected, ha1, ":", answer.nonce, ":", answer.nc, ":", answer.cnonce, ":", answer.qop, ":",
         ha2, nullptr);
  return strcasecmp(expected, answer.response) == 0;
}

// Whether the request's answer is the one of a line "user:domain:HA1" of the file.
static bool is_listed(const connection* conn, FILE* file)
{
  const mg_connection* c = &conn->mg_conn;
  const char* domain = mg_option_value(conn->server, AUTH_DOMAIN);
  digest_answer answer;
  if (!parse_answer(mg_get_header(c, "Authorization"), &answer))
    return false;
  char* line = nullptr;
  size_t room = 0;
  bool granted = false;
  for (ssize_t length; (length = getline(&line, &room, file)) > 0;) {
    char user[MAX_LINE], line_domain[MAX_LINE], ha1[MAX_LINE];
    if (static_cast<size_t>(length) <= MAX_LINE &&
        sscanf(line, "%255[^:]:%255[^:]:%255s", user, line_domain, ha1) == 3 &&
        strcmp(user, answer.username) == 0 && domain && strcmp(line_domain, domain) == 0) {
      granted = is_right_response(c->request_method, ha1, answer);
      break;
    }
  }
  free(line);
  return granted;
}

// The password file of the target's folder; false when there can be none.
static bool find_password_file(const connection* conn, const mg_target* target,
                               char (&path)[PATH_MAX])
{
  if (const char* global = mg_option_value(conn->server, GLOBAL_AUTH_FILE))
    return mg_format_path(path, "%s", global);
  if (!*target->path)
    return false;
  const char* slash = strrchr(target->path, '/');
  bool is_folder = target->exists && S_ISDIR(target->st.st_mode);
  size_t length = is_folder ? strlen(target->path)
                  : slash   ? static_cast<size_t>(slash - target->path)
                            : 0;
  return mg_format_path(path, "%.*s/.htpasswd", static_cast<int>(length), target->path);
}

bool mg_is_authorized(const connection* conn, const mg_target* target)
{
  char path[PATH_MAX];
  if (!find_password_file(conn, target, path))
    return !target->exists;
  std::unique_ptr<FILE, mg_close_file> file(fopen(path, "re"));
  if (file)
    return is_listed(conn, file.get());
  // A file that is there and cannot be read protects as well.
  return errno == ENOENT || errno == ENOTDIR || !target->exists;
}

bool mg_is_dav_authorized(const connection* conn)
{
  const char* path = mg_option_value(conn->server, DAV_AUTH_FILE);
  if (!path)
    return strcmp(conn->mg_conn.request_method, "PROPFIND") == 0;
  std::unique_ptr<FILE, mg_close_file> file(fopen(path, "re"));
  return file && is_listed(conn, file.get());
}
