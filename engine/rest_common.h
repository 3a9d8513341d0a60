// The envelope: the only way any request is answered.
//
// Every answer has HTTP status 200; the outcome is the envelope's result code. Each of these sends
// one answer, renders it in the form that the request asks for, and frees the tree it is given.
#pragma once

#include <stdint.h>

#include "engine/rest_tree_obj.h"
#include "engine/rest_types.h"
#include "httpd/httpd.h"
#include "platform/openapi_types.h"

// Result codes of the envelope that belong to the engine. Modules add their own from 1 to 12.
enum : uint16_t {
  REST_CODE_SUCCESS = 0,
  REST_CODE_ALREADY_SET = 98,
  REST_CODE_OPEN_FAILED = 99,
  REST_CODE_NO_SESSION = 900,
  REST_CODE_NO_MODULE = 901,
  REST_CODE_BAD_REQUEST = 902,
  REST_CODE_NO_HELP = 903,
  REST_CODE_NULL_SESSION_KEY = 905,
  REST_CODE_READ_ONLY = 906,  // with REST_READ_ONLY_ACCOUNTS only
  REST_CODE_GENERAL_ERROR = 909
};

// Answers with a code, a message (at most 255 characters are sent) and an optional data tree, and
// logs one audit line when the request is a POST, PUT or DELETE. When memory was short for any part
// of the answer the connection is closed instead. A null connection frees the tree and answers
// nothing.
void send_response(struct mg_connection* conn, uint16_t result_code, const char* result_mesg,
                   node_t* dataN1_ptr);

// The same without the audit line.
void send_unlogged_response(struct mg_connection* conn, uint16_t result_code,
                            const char* result_mesg, node_t* dataN1_ptr);

// These answer without data; the tree is freed, not shown. May be null.
void send_exception_error(struct mg_connection* conn, node_t* dataN1_ptr);      // 909
void send_bad_request(struct mg_connection* conn, node_t* dataN1_ptr);          // 902
void send_file_help_doc_error(struct mg_connection* conn, node_t* dataN1_ptr);  // 903

// A failed call of the management API: 98 for OPEN_E_EXISTS, else 99.
void send_open_error_response(struct mg_connection* conn, open_error_t open_rlt,
                              node_t* dataN1_ptr);

// "enable" or "disable"; any other value gives an empty text and RC_FALSE. out_controlStr takes 8
// bytes; null gives RC_FALSE.
RC_t get_control_string_by_eum(OPEN_CONTROL_t controlEnum, char* out_controlStr);

// The code's own name, such as "OPEN_E_FULL"; an unknown code gives an empty text and RC_FALSE.
// out_errorStr takes 18 bytes; null gives RC_FALSE.
RC_t get_open_error_string_by_eum(open_error_t errorEnum, char* out_errorStr);
