// SHA-1 and Base64 of the WebSocket handshake. (MD5 is part of the public header.)
#pragma once

#include <stddef.h>
#include <stdint.h>

constexpr size_t MG_SHA1_SIZE = 20;

struct mg_sha1_ctx {
  uint32_t state[5];
  uint64_t length;  // bytes hashed so far
  unsigned char block[64];
};

void mg_sha1_init(mg_sha1_ctx* ctx);
void mg_sha1_update(mg_sha1_ctx* ctx, const void* data, size_t len);
// Writes the digest; the context must be initialised again before another use.
void mg_sha1_final(unsigned char digest[MG_SHA1_SIZE], mg_sha1_ctx* ctx);

// Size of the buffer that mg_base64_encode needs for `len` bytes, the terminator included.
constexpr size_t mg_base64_size(size_t len)
{
  return (len + 2) / 3 * 4 + 1;
}

// Writes the terminated Base64 text of `len` bytes into `dst` of `dst_size` bytes and returns its
// length. A text that does not fit is not written at all: `dst` becomes "" and the result is 0.
size_t mg_base64_encode(const void* data, size_t len, char* dst, size_t dst_size);
