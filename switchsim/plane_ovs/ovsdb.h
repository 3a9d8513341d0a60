// The configuration database of Open vSwitch: JSON-RPC over its unix socket.
#pragma once

#include <json-c/json.h>

#include <memory>
#include <string>

#include "switchsim/plane_ovs/stream.h"

struct json_release_t {
  void operator()(json_object* value) const
  {
    json_object_put(value);
  }
};
using json_ptr_t = std::unique_ptr<json_object, json_release_t>;

struct ovsdb_t {
  stream_t stream;
  int64_t last_id = 0;
};

bool ovsdb_connect(ovsdb_t& db, const std::string& path, uint64_t deadline_ms, std::string& why);

// Runs a transaction of the switch's database: operations is an array of them, which is taken. The
// answer has one result an operation. Null: nothing of it was done, and why says what is wrong; the
// connection stays open when the database was the one to refuse.
json_ptr_t ovsdb_transact(ovsdb_t& db, json_ptr_t operations, uint64_t deadline_ms,
                          std::string& why);

// An object's member, or null.
json_object* ovsdb_member(json_object* object, const char* name);
