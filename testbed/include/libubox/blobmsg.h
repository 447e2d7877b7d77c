/*
 * Stands in for libubox's header of the same name: named and typed attributes on top of blob.h.
 * Leaves out the calls for single types, policies and JSON.
 *
 * The payload of an extended attribute begins with a name header (16-bit big-endian length, the
 * name, a NUL, zero padding to a multiple of 4); the data follows. Types: 1 array, 2 table, 3
 * string with its NUL, 4 int64, 5 int32, 6 int16, 7 int8, 8 double.
 */
#pragma once

#include <libubox/blob.h>

#ifdef __cplusplus
extern "C" {
#endif

/* Bytes of the name header; 0 if there is none or if it does not fit into the payload. */
static inline size_t testbed_blobmsg_header_len(const struct blob_attr* attr) {
  const size_t payload = blob_len(attr);
  size_t header;
  if (!blob_is_extended(attr) || payload < 2) return 0;
  header = ((size_t)(uint8_t)attr->data[0] << 8) | (uint8_t)attr->data[1];
  header = (header + 2 + 1 + 3) & ~(size_t)3;
  return header > payload ? 0 : header;
}

/* The name, "" for an attribute without one. */
static inline const char* blobmsg_name(const struct blob_attr* attr) {
  return testbed_blobmsg_header_len(attr) == 0 ? "" : (const char*)blob_data(attr) + 2;
}

static inline void* blobmsg_data(const struct blob_attr* attr) {
  return (char*)blob_data(attr) + testbed_blobmsg_header_len(attr);
}

static inline size_t blobmsg_data_len(const struct blob_attr* attr) {
  return blob_len(attr) - testbed_blobmsg_header_len(attr);
}

/*
 * Adds one attribute to the open container; a null name counts as an empty one. Returns 0, or -1
 * if there is no memory or the message would pass the 24 bits of a length (16 for the name).
 * `data` must not point into the buffer.
 */
int blobmsg_add_field(struct blob_buf* buf, int type, const char* name, const void* data,
                      unsigned int len);
/*
 * Opens an array or a table in the open container. Returns the cookie for blob_nest_end, null if
 * it cannot be added.
 */
void* blobmsg_open_nested(struct blob_buf* buf, const char* name, bool array);
/*
 * Whether the attribute, of which blob_raw_len bytes must be readable, is well formed by itself:
 * header, name and the length that its type asks for. With `name`, an empty name fails too.
 * Children are not looked at.
 */
bool blobmsg_check_attr(const struct blob_attr* attr, bool name);

#ifdef __cplusplus
}
#endif
