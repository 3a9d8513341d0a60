// Growable byte buffer, one for each direction of a connection. Storage grows to exactly what is
// needed: a switch has little memory and many idle connections.
#pragma once

#include <stddef.h>

struct iobuf {
  char* buf;    // heap storage, or null when nothing was ever put in
  size_t len;   // bytes in use, from the start of the storage; never above size
  size_t size;  // bytes allocated
};

void iobuf_init(iobuf* io, size_t initial_size);
void iobuf_free(iobuf* io);

// Changes the allocation; nothing happens when new_size is below len or memory is short.
void iobuf_resize(iobuf* io, size_t new_size);

// Appends n bytes and returns n; 0, with the buffer unchanged, when memory is short.
size_t iobuf_append(iobuf* io, const void* data, size_t n);

// Removes n bytes from the front; does nothing unless n is at most len.
void iobuf_remove(iobuf* io, size_t n);
