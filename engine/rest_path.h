// The segments of a request path: "/if/5/vlan/10" has the segments "if", "5", "vlan" and "10".
#pragma once

#include <stddef.h>
#include <stdint.h>

// Bytes of a buffer for one segment, the terminator included; a longer segment is cut.
constexpr size_t REST_PATH_SEGMENT_SIZE = 256;

// Copies segment number index (0 is the module's name) into the buffer, which is empty when the
// path has no such segment. Returns the length copied.
size_t rest_path_segment(const char* uri, unsigned index, char (&segment)[REST_PATH_SEGMENT_SIZE]);

// The number at the start of a segment, as rest_atoi reads it; 0 when there is none.
int32_t rest_path_number(const char* uri, unsigned index);

// Whether the path's first segment is exactly this name.
bool rest_path_module_is(const char* uri, const char* name);
