#include "httpd/ns_iobuf.h"

#include <assert.h>
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

void iobuf_init(iobuf* io, size_t initial_size)
{
  *io = {};
  iobuf_resize(io, initial_size);
}

void iobuf_free(iobuf* io)
{
  free(io->buf);
  *io = {};
}

void iobuf_resize(iobuf* io, size_t new_size)
{
  if (new_size == io->size || new_size < io->len)
    return;
  if (new_size == 0) {
    iobuf_free(io);
    return;
  }
  if (char* storage = static_cast<char*>(realloc(io->buf, new_size))) {
    io->buf = storage;
    io->size = new_size;
  }
}

size_t iobuf_append(iobuf* io, const void* data, size_t n)
{
  assert(io != nullptr);
  assert(io->len <= io->size);
  if (n == 0 || n > SIZE_MAX - io->len)
    return 0;
  if (io->len + n > io->size) {
    iobuf_resize(io, io->len + n);
    if (io->len + n > io->size)
      return 0;
  }
  memcpy(io->buf + io->len, data, n);
  io->len += n;
  return n;
}

void iobuf_remove(iobuf* io, size_t n)
{
  if (n == 0 || n > io->len)
    return;
  memmove(io->buf, io->buf + n, io->len - n);
  io->len -= n;
}
