// A file with includes, byte by byte, and its directives. No directive is followed.
#include "httpd/mg_ssi.h"
#include "tests/fuzz/fuzz.h"

static void check_piece(const ssi_scanner& scanner, ssi_piece piece, size_t* shown)
{
  if (piece == SSI_NOTHING)
    return;
  require(scanner.len <= SSI_MAX_TAG && scanner.bytes[scanner.len] == '\0');
  if (piece == SSI_TEXT)
    *shown += scanner.len;
  if (piece == SSI_TAG) {
    require(!strstr(scanner.bytes, "-->"));
    char argument[SSI_MAX_TAG + 1];
    ssi_command command = ssi_parse_tag(scanner.bytes, argument);
    bool has_argument =
        command != SSI_UNKNOWN && command != SSI_BAD_INCLUDE && command != SSI_BAD_EXEC;
    require((strlen(argument) > 0) == has_argument);
  }
}

static void fuzz(const std::string& input)
{
  ssi_scanner scanner = {};
  size_t shown = 0;
  for (const char byte : input)
    check_piece(scanner, ssi_feed(&scanner, byte), &shown);
  check_piece(scanner, ssi_finish(&scanner), &shown);
  const bool has_tag = input.find("<!--#") != std::string::npos;
  require(has_tag ? shown < input.size() : shown == input.size());
}
