// Bodies of requests, and the pace at which they are read.
#pragma once

#include "httpd/mg_internal.h"

// A piecewise answer is continued when no more than this is left of it.
constexpr size_t MG_MAX_QUEUED = 16384;

// How many of the received bytes belong to the request's body, and whether that is complete.
size_t mg_body_bytes(const connection* conn);
bool mg_body_is_complete(const connection* conn);

// True when the answer must wait for the body: the request stays open and is opened again then.
bool mg_must_wait_for_body(connection* conn);

// Stops reading one side of a relay while the other's queue is long. To be called on the reader's
// own NS_POLL, which comes just before the loop looks whether to read.
void mg_pace(ns_connection* reader, const ns_connection* writer);

// Stops reading a client whose request goes to a relay that has not taken the last of it, or that
// leaves long answers unread while it asks for more.
void mg_pace_client(connection* conn);
