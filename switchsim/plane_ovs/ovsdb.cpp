#include "switchsim/plane_ovs/ovsdb.h"

#include <cstring>

namespace
{
constexpr char DATABASE[] = "Open_vSwitch";
constexpr int DEPTH_MAX = 32;

struct tokener_release_t {
  void operator()(json_tokener* tokener) const
  {
    json_tokener_free(tokener);
  }
};

std::string text_of(json_object* value)
{
  return json_object_to_json_string_ext(value, JSON_C_TO_STRING_PLAIN);
}

// Takes one JSON object off the stream; null: the other end is gone, too slow or talks nonsense.
json_ptr_t value_take(stream_t& stream, uint64_t deadline_ms, std::string& why)
{
  const std::unique_ptr<json_tokener, tokener_release_t> tokener(json_tokener_new_ex(DEPTH_MAX));
  size_t total = 0;
  for (;;) {
    if (!stream_receive(stream, 1, deadline_ms, why))
      return nullptr;
    json_ptr_t value(json_tokener_parse_ex(tokener.get(), stream.received.data(),
                                           static_cast<int>(stream.received.size())));
    const json_tokener_error state = json_tokener_get_error(tokener.get());
    if (json_object_is_type(value.get(), json_type_object)) {
      stream.received.erase(0, json_tokener_get_parse_end(tokener.get()));
      return value;
    }
    total += stream.received.size();
    if (state != json_tokener_continue || total > STREAM_BYTES_MAX) {
      stream_fail(stream, why, "does not talk JSON-RPC");
      return nullptr;
    }
    stream.received.clear();
  }
}

// The server asks now and then whether anybody is still there.
bool echo_answer(ovsdb_t& db, json_object* request, uint64_t deadline_ms, std::string& why)
{
  const json_ptr_t answer(json_object_new_object());
  json_object_object_add(answer.get(), "id", json_object_get(ovsdb_member(request, "id")));
  json_object_object_add(answer.get(), "result", json_object_get(ovsdb_member(request, "params")));
  json_object_object_add(answer.get(), "error", nullptr);
  return stream_send(db.stream, text_of(answer.get()), deadline_ms, why);
}

// The answer to the request of this number; null: there is none.
json_ptr_t answer_take(ovsdb_t& db, int64_t id, uint64_t deadline_ms, std::string& why)
{
  for (;;) {
    json_ptr_t message = value_take(db.stream, deadline_ms, why);
    if (message == nullptr)
      return nullptr;
    const char* method = json_object_get_string(ovsdb_member(message.get(), "method"));
    if (method != nullptr && strcmp(method, "echo") == 0) {
      if (!echo_answer(db, message.get(), deadline_ms, why))
        return nullptr;
    } else if (json_object_get_int64(ovsdb_member(message.get(), "id")) == id) {
      return message;
    }
  }
}

// The first error among the results of a transaction; null: there is none.
json_object* first_error(json_object* results)
{
  for (size_t i = 0; i < json_object_array_length(results); i++) {
    json_object* result = json_object_array_get_idx(results, i);
    if (ovsdb_member(result, "error") != nullptr)
      return result;
  }
  return nullptr;
}
}  // namespace

json_object* ovsdb_member(json_object* object, const char* name)
{
  json_object* member = nullptr;
  return json_object_is_type(object, json_type_object) &&
                 json_object_object_get_ex(object, name, &member)
             ? member
             : nullptr;
}

bool ovsdb_connect(ovsdb_t& db, const std::string& path, uint64_t deadline_ms, std::string& why)
{
  return stream_connect(db.stream, path, deadline_ms, why);
}

json_ptr_t ovsdb_transact(ovsdb_t& db, json_ptr_t operations, uint64_t deadline_ms,
                          std::string& why)
{
  const size_t wanted = json_object_array_length(operations.get());
  const json_ptr_t request(json_object_new_object());
  json_object* params = json_object_new_array();
  json_object_array_add(params, json_object_new_string(DATABASE));
  for (size_t i = 0; i < wanted; i++)
    json_object_array_add(params, json_object_get(json_object_array_get_idx(operations.get(), i)));
  json_object_object_add(request.get(), "method", json_object_new_string("transact"));
  json_object_object_add(request.get(), "params", params);
  json_object_object_add(request.get(), "id", json_object_new_int64(++db.last_id));
  if (!stream_send(db.stream, text_of(request.get()), deadline_ms, why))
    return nullptr;
  const json_ptr_t answer = answer_take(db, db.last_id, deadline_ms, why);
  if (answer == nullptr)
    return nullptr;
  json_object* results = ovsdb_member(answer.get(), "result");
  if (!json_object_is_type(results, json_type_array)) {
    why = "refuses the request: " + text_of(ovsdb_member(answer.get(), "error"));
    return nullptr;
  }
  if (json_object* error = first_error(results)) {
    why = "refuses the change: " + text_of(error);
    return nullptr;
  }
  if (json_object_array_length(results) < wanted) {
    stream_fail(db.stream, why, "leaves an operation without a result");
    return nullptr;
  }
  return json_ptr_t(json_object_get(results));
}
