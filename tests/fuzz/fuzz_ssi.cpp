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

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* bytes, size_t size)
{
  ssi_scanner scanner = {};
  size_t shown = 0;
  for (size_t i = 0; i < size; i++) {
    ssi_piece piece = ssi_feed(&scanner, static_cast<char>(bytes[i]));
    check_piece(scanner, piece, &shown);
  }
  ssi_piece piece = ssi_finish(&scanner);
  check_piece(scanner, piece, &shown);
  require(memmem(bytes, size, "<!--#", 5) ? shown < size : shown == size);
  return 0;
}
