#include "engine/rest_path.h"

#include <string.h>

#include "engine/rest_util.h"

size_t rest_path_segment(const char* uri, unsigned index, char (&segment)[REST_PATH_SEGMENT_SIZE])
{
  segment[0] = '\0';
  for (; uri && *uri == '/'; index--) {
    uri++;
    size_t length = strcspn(uri, "/");
    if (index == 0) {
      length = length < sizeof segment ? length : sizeof segment - 1;
      memcpy(segment, uri, length);
      segment[length] = '\0';
      return length;
    }
    uri += length;
  }
  return 0;
}

int32_t rest_path_number(const char* uri, unsigned index)
{
  char segment[REST_PATH_SEGMENT_SIZE];
  rest_path_segment(uri, index, segment);
  return rest_atoi(segment);
}

bool rest_path_module_is(const char* uri, const char* name)
{
  if (!uri || *uri != '/')
    return *name == '\0';
  size_t length = strlen(name);
  return strncmp(uri + 1, name, length) == 0 && (uri[length + 1] == '/' || !uri[length + 1]);
}
