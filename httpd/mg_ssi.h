// Finding and reading the directives of a file with server-side includes.
#pragma once

#include <stddef.h>

#include "httpd/mg_target.h"

constexpr size_t SSI_MAX_TAG = 8192;  // bytes between "<!--#" and the last one of "-->"

enum ssi_piece {
  SSI_NOTHING,   // more bytes are needed
  SSI_TEXT,      // plain text
  SSI_TAG,       // what stands between "<!--#" and "-->", terminated
  SSI_TOO_LARGE  // a directive that is longer than allowed; the rest of it is skipped
};

struct ssi_scanner {
  char bytes[SSI_MAX_TAG + 1];
  size_t len;
  size_t matched;  // of the mark that begins (in text) or ends (in a directive) it
  enum { IN_TEXT, IN_TAG, IN_LARGE_TAG } state;
  bool is_done;  // the bytes have been handed out
};

// Takes one byte. The piece it completes is in `bytes`, `len` long (0 for no text at all), until
// the next call.
ssi_piece ssi_feed(ssi_scanner* scanner, char byte);

// The end of the file: the text that is left, or SSI_NOTHING.
ssi_piece ssi_finish(ssi_scanner* scanner);

enum ssi_command {
  SSI_INCLUDE_VIRTUAL,   // from the document root
  SSI_INCLUDE_ABSOLUTE,  // from the top of the file system
  SSI_INCLUDE_FILE,      // from the folder of the including file
  SSI_BAD_INCLUDE,
  SSI_EXEC,
  SSI_BAD_EXEC,
  SSI_UNKNOWN
};

// Reads a directive; its quoted argument is copied.
ssi_command ssi_parse_tag(const char* tag, char (&argument)[SSI_MAX_TAG + 1]);

// Sends a file with its directives expanded.
void mg_send_ssi_file(connection* conn, const mg_target* target);
