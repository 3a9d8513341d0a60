// Reading of HTTP messages, option lists and patterns. Nothing here allocates or keeps state, and
// nothing reads or writes outside the bytes it is given, whatever they hold.
#pragma once

#include <stddef.h>

struct mg_connection;

// A run of characters inside somebody else's text; not terminated.
struct mg_vec {
  const char* ptr;
  size_t len;
};

// Length of the header block at the start of `buf`, its empty line included; 0 while it is
// incomplete, -1 when a byte before its end is not allowed in one.
int get_request_len(const char* buf, size_t len);

// Splits the header block of `len` bytes (as measured by get_request_len) in place and points the
// view's strings into it; the block must live as long as the view is read.
// The view has room for MG_MAX_HEADERS headers. Its last byte becomes
// the terminator of the last string. Returns `len`, or -1 when the block is neither a request nor
// a response. all_parsed (null allowed) tells whether no header was left out.
int parse_http_message(char* buf, size_t len, struct mg_connection* view,
                       bool* all_parsed = nullptr);

// Whether everyone who reads the header block agrees on where the request's body ends: false for a
// Transfer-Encoding, and for a Content-Length that is no decimal number, is given differently
// twice, is folded, or stands where parse_http_message does not look. To be asked
// when one of these headers was parsed, or not all of them were.
bool mg_end_is_clear(const char* block, size_t len);

// Whether a request target (decoded, null allowed) is a path, "*", a URL or host:port.
bool is_valid_uri(const char* uri);

// Shortens a path in place so that no separator is followed by another one or by "..".
void remove_double_dots_and_double_slashes(char* s);

// Matches the start of `str` with a pattern of `pattern_len` characters: "|" separates
// alternatives, "**" is anything, "*" anything but "/", "?" one character, "$" the end; letter case
// does not count. Returns the length of the matched prefix, or -1. The first alternative that
// matches one character or more wins.
int mg_match_prefix(const char* pattern, int pattern_len, const char* str);

// Takes one entry of a comma-separated list: sets `val` to it and returns the list after it, or
// null when the list (null allowed) is at its end. With `eq_val`, an entry "key=value" is split at
// its first "=": `val` is the key and `eq_val` the value ({null, 0} when there is no "=").
const char* next_option(const char* list, mg_vec* val, mg_vec* eq_val);

// Reason phrase of a status code; "Server Error" for an unknown one.
const char* status_code_to_str(int code);
