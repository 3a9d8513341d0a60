// What clients may cost: memory, time and descriptors.
#pragma once

#include "httpd/mg_internal.h"

// Refuses a request whose body of that length is longer than it may be; true when it was.
bool mg_refuse_large_body(connection* conn, int64_t length);

// To be told of all that is received, when it has been looked at: bounds what is kept of it.
void mg_note_received(connection* conn, size_t count);

// To be told when output has been written.
void mg_note_sent(connection* conn);

// Ends a connection whose client takes too long, or can no longer be heard.
void mg_end_hopeless(connection* conn);

// The connection that has been without a complete request for longest, null when there is none.
ns_connection* mg_expendable(ns_mgr* mgr);
