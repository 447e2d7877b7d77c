/*
 * Stands in for libubox's header of the same name: the attributes that messages consist of. Leaves
 * out what neither the program nor the testbed calls, such as numbers and parsing by policies.
 *
 * An attribute begins with a big-endian word: bit 31 says that a name header follows, bits 30 to 24
 * are the id, bits 23 to 0 the length with this word and without the zero padding to a multiple of
 * 4. A container's length covers the padding of all its children. The accessors trust the word;
 * whoever has bytes from outside checks their length first.
 */
#pragma once

#include <endian.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

struct blob_attr {
  uint32_t id_len;
  char data[];
} __attribute__((packed));

/* A message being built. `head` is the container that receives the next attribute. */
struct blob_buf {
  struct blob_attr* head;
  /* Makes room for `minlen` more bytes; may move `buf`, so pointers into it die. */
  bool (*grow)(struct blob_buf* buf, int minlen);
  int buflen;
  void* buf;
};

static inline bool blob_is_extended(const struct blob_attr* attr) {
  return (be32toh(attr->id_len) & 0x80000000U) != 0;
}

static inline unsigned int blob_id(const struct blob_attr* attr) {
  return (be32toh(attr->id_len) & 0x7f000000U) >> 24;
}

/* The length with the 4-byte word. */
static inline size_t blob_raw_len(const struct blob_attr* attr) {
  return be32toh(attr->id_len) & 0x00ffffffU;
}

/* The length of the payload; 0 for an attribute that claims to be shorter than its own word. */
static inline size_t blob_len(const struct blob_attr* attr) {
  const size_t raw = blob_raw_len(attr);
  return raw < sizeof(struct blob_attr) ? 0 : raw - sizeof(struct blob_attr);
}

/* The distance to the next attribute. */
static inline size_t blob_pad_len(const struct blob_attr* attr) {
  return (blob_raw_len(attr) + 3U) & ~(size_t)3U;
}

static inline void* blob_data(const struct blob_attr* attr) {
  return (void*)attr->data;
}

static inline struct blob_attr* blob_next(const struct blob_attr* attr) {
  return (struct blob_attr*)((char*)attr + blob_pad_len(attr));
}

/*
 * Starts an empty message whose root has the given id. The buffer is either zeroed or was
 * initialised before; in the second case its memory is used again. Returns 0 or -ENOMEM.
 */
int blob_buf_init(struct blob_buf* buf, int id);
/* Releases the memory. The structure may then be initialised again. */
void blob_buf_free(struct blob_buf* buf);
/* Closes what blobmsg_open_nested opened; `cookie` is its result. */
void blob_nest_end(struct blob_buf* buf, void* cookie);

#ifdef __cplusplus
}
#endif
