// Short texts from outside: access lists, dates, and the headers of a CGI program.
#include "httpd/mg_acl.h"
#include "httpd/mg_cgi.h"
#include "httpd/mg_date.h"
#include "tests/fuzz/fuzz.h"

static void check_list(const char* list)
{
  for (uint32_t address : {0u, 0x7f000001u, 0xffffffffu}) {
    int result = check_acl(list, address);
    require(result >= -1 && result <= 1);
  }
}

static void check_date(const char* text)
{
  time_t time = mg_parse_http_date(text);
  if (time == -1)
    return;
  require(time >= 31536000);  // 1971
  char again[MG_HTTP_DATE_SIZE];
  mg_format_http_date(again, time);
  require(mg_parse_http_date(again) == time);
}

static void check_cgi_output(const std::vector<char>& output)
{
  int length = get_request_len(output.data(), output.size());
  cgi_headers headers;
  if (length <= 0 || !mg_parse_cgi_headers(output.data(), static_cast<size_t>(length), &headers))
    return;
  require(headers.status >= 100 && headers.status <= 999);
  require(!memchr(headers.reason.ptr, '\r', headers.reason.len) &&
          !memchr(headers.reason.ptr, '\n', headers.reason.len));
}

static void fuzz(const std::string& input)
{
  check_list(input.c_str());
  check_date(input.c_str());
  check_cgi_output(std::vector<char>(input.begin(), input.end()));
}
