// The engine's own result and enumerations.
#pragma once

// Result of an engine helper. Note that success is 0: test with `== RC_TRUE`, never as a bool.
enum RC_t { RC_TRUE = 0, RC_FALSE = 1 };

// What a request asks for: its HTTP verb unless the request variable "method" names another.
enum request_method_t {
  REQUEST_METHOD_GET = 0,
  REQUEST_METHOD_POST = 1,
  REQUEST_METHOD_PUT = 2,
  REQUEST_METHOD_DELETE = 3,
  REQUEST_METHOD_OTHER = 4
};

// The form of an answer. HTML is written by the help module alone.
enum return_format_t { RETURN_FORMAT_XML = 0, RETURN_FORMAT_JSON = 1, RETURN_FORMAT_HTML = 2 };
