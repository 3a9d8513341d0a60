#include "httpd/mg_digest.h"

#include <stdarg.h>
#include <stdio.h>
#include <string.h>

#include <algorithm>

#include "httpd/httpd.h"

static const size_t BLOCK_SIZE = 64;

static uint32_t rotate_left(uint32_t value, int bits)
{
  return value << bits | value >> (32 - bits);
}

static uint32_t load_little_endian(const unsigned char* p)
{
  return static_cast<uint32_t>(p[0]) | static_cast<uint32_t>(p[1]) << 8 |
         static_cast<uint32_t>(p[2]) << 16 | static_cast<uint32_t>(p[3]) << 24;
}

static uint32_t load_big_endian(const unsigned char* p)
{
  return static_cast<uint32_t>(p[0]) << 24 | static_cast<uint32_t>(p[1]) << 16 |
         static_cast<uint32_t>(p[2]) << 8 | static_cast<uint32_t>(p[3]);
}

using compress_t = void (*)(uint32_t* state, const unsigned char* block);

// Both digests hash full blocks as they come and keep the rest in their context.
template <typename Context>
static void absorb(Context* ctx, compress_t compress, const void* data, size_t len)
{
  const unsigned char* p = static_cast<const unsigned char*>(data);
  size_t used = ctx->length % BLOCK_SIZE;
  ctx->length += len;
  while (len > 0) {
    const size_t taken = std::min(len, BLOCK_SIZE - used);
    memcpy(ctx->block + used, p, taken);
    p += taken;
    len -= taken;
    used += taken;
    if (used == BLOCK_SIZE) {
      compress(ctx->state, ctx->block);
      used = 0;
    }
  }
}

// Ends the message: one set bit, zeros, and its length in bits as the last 8 bytes of a block.
template <typename Context>
static void pad(Context* ctx, compress_t compress, bool big_endian)
{
  static const unsigned char PADDING[BLOCK_SIZE] = {0x80};
  const uint64_t bits = ctx->length * 8;
  unsigned char size[sizeof bits];
  for (size_t i = 0; i < sizeof size; i++)
    size[big_endian ? sizeof size - 1 - i : i] = static_cast<unsigned char>(bits >> (8 * i));
  const size_t used = ctx->length % BLOCK_SIZE;
  const size_t room = BLOCK_SIZE - sizeof size;
  absorb(ctx, compress, PADDING, used < room ? room - used : BLOCK_SIZE + room - used);
  absorb(ctx, compress, size, sizeof size);
}

// The integer part of 4294967296 * abs(sin(i + 1)).
static const uint32_t MD5_SINES[BLOCK_SIZE] = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391,
};

static void md5_compress(uint32_t* state, const unsigned char* block)
{
  static const int SHIFTS[4][4] = {
      {7, 12, 17, 22},
      {5, 9,  14, 20},
      {4, 11, 16, 23},
      {6, 10, 15, 21},
  };
  uint32_t a = state[0], b = state[1], c = state[2], d = state[3];
  for (unsigned i = 0; i < BLOCK_SIZE; i++) {
    uint32_t mixed = 0;
    unsigned word = 0;
    switch (i / 16) {
      case 0:
        mixed = (b & c) | (~b & d);
        word = i;
        break;
      case 1:
        mixed = (b & d) | (c & ~d);
        word = 5 * i + 1;
        break;
      case 2:
        mixed = b ^ c ^ d;
        word = 3 * i + 5;
        break;
      default:
        mixed = c ^ (b | ~d);
        word = 7 * i;
        break;
    }
    const uint32_t sum = a + mixed + load_little_endian(block + word % 16 * 4) + MD5_SINES[i];
    a = d;
    d = c;
    c = b;
    b += rotate_left(sum, SHIFTS[i / 16][i % 4]);
  }
  state[0] += a;
  state[1] += b;
  state[2] += c;
  state[3] += d;
}

void MD5Init(MD5_CTX* ctx)
{
  *ctx = {
      {0x67452301,  0xefcdab89, 0x98badcfe, 0x10325476},
      0, { }
  };
}

void MD5Update(MD5_CTX* ctx, const unsigned char* data, size_t length)
{
  absorb(ctx, md5_compress, data, length);
}

void MD5Final(unsigned char digest[16], MD5_CTX* ctx)
{
  pad(ctx, md5_compress, false);
  for (unsigned i = 0; i < 16; i++)
    digest[i] = static_cast<unsigned char>(ctx->state[i / 4] >> (i % 4 * 8));
  *ctx = {};
}

char* mg_md5(char buf[33], ...)
{
  MD5_CTX ctx;
  MD5Init(&ctx);
  va_list texts;
  va_start(texts, buf);
  while (const char* text = va_arg(texts, const char*))
    absorb(&ctx, md5_compress, text, strlen(text));
  va_end(texts);
  unsigned char digest[16];
  MD5Final(digest, &ctx);
  for (size_t i = 0; i < sizeof digest; i++)
    snprintf(buf + 2 * i, 3, "%02x", static_cast<unsigned>(digest[i]));
  return buf;
}

static void sha1_compress(uint32_t* state, const unsigned char* block)
{
  uint32_t words[80];
  for (unsigned i = 0; i < 16; i++)
    words[i] = load_big_endian(block + i * 4);
  for (unsigned i = 16; i < 80; i++)
    words[i] = rotate_left(words[i - 3] ^ words[i - 8] ^ words[i - 14] ^ words[i - 16], 1);
  uint32_t a = state[0], b = state[1], c = state[2], d = state[3], e = state[4];
  for (unsigned i = 0; i < 80; i++) {
    uint32_t mixed = 0;
    switch (i / 20) {
      case 0:
        mixed = ((b & c) | (~b & d)) + 0x5a827999;
        break;
      case 1:
        mixed = (b ^ c ^ d) + 0x6ed9eba1;
        break;
      case 2:
        mixed = ((b & c) | (b & d) | (c & d)) + 0x8f1bbcdc;
        break;
      default:
        mixed = (b ^ c ^ d) + 0xca62c1d6;
        break;
    }
    const uint32_t sum = rotate_left(a, 5) + mixed + e + words[i];
    e = d;
    d = c;
    c = rotate_left(b, 30);
    b = a;
    a = sum;
  }
  state[0] += a;
  state[1] += b;
  state[2] += c;
  state[3] += d;
  state[4] += e;
}

void mg_sha1_init(mg_sha1_ctx* ctx)
{
  *ctx = {
      {0x67452301,  0xefcdab89, 0x98badcfe, 0x10325476, 0xc3d2e1f0},
      0, {}
  };
}

void mg_sha1_update(mg_sha1_ctx* ctx, const void* data, size_t len)
{
  absorb(ctx, sha1_compress, data, len);
}

void mg_sha1_final(unsigned char digest[MG_SHA1_SIZE], mg_sha1_ctx* ctx)
{
  pad(ctx, sha1_compress, true);
  for (unsigned i = 0; i < MG_SHA1_SIZE; i++)
    digest[i] = static_cast<unsigned char>(ctx->state[i / 4] >> (24 - i % 4 * 8));
  *ctx = {};
}

size_t mg_base64_encode(const void* data, size_t len, char* dst, size_t dst_size)
{
  static const char ALPHABET[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
  if (dst_size < mg_base64_size(len)) {
    if (dst_size > 0)
      *dst = '\0';
    return 0;
  }
  const unsigned char* src = static_cast<const unsigned char*>(data);
  size_t out = 0;
  for (size_t i = 0; i < len; i += 3) {
    const size_t taken = std::min<size_t>(len - i, 3);
    uint32_t bits = static_cast<uint32_t>(src[i]) << 16;
    bits |= taken > 1 ? static_cast<uint32_t>(src[i + 1]) << 8 : 0;
    bits |= taken > 2 ? static_cast<uint32_t>(src[i + 2]) : 0;
    for (size_t sextet = 0; sextet < 4; sextet++)
      dst[out++] = sextet <= taken ? ALPHABET[bits >> (18 - 6 * sextet) & 0x3f] : '=';
  }
  dst[out] = '\0';
  return out;
}
