// How blob.cpp and blobmsg.cpp put an attribute into a buffer: reserve the bytes, fill them, then
// count them into the open container. Internal to the stand-in.
#pragma once

#include <libubox/blob.h>

#include <cstddef>

namespace testbed {

// The largest length that the 24 bits of an attribute's word can say and that is padded.
inline constexpr std::size_t maximumRawLength = 0xfffffc;

// Where an attribute lies in its buffer. Unlike a pointer, an offset survives growing.
std::size_t offsetOf(const blob_buf* buf, const blob_attr* attr);
blob_attr* attributeAt(const blob_buf* buf, std::size_t offset);

// Writes the leading word of an attribute.
void setWord(blob_attr* attr, bool extended, unsigned int id, std::size_t rawLength);

// Zeroed bytes behind the last attribute, enough for `rawLength` and its padding. Null when the
// message would be too long or there is no memory. Nothing is counted into the container yet.
blob_attr* reserve(blob_buf* buf, std::size_t rawLength);

// Counts a child that lies behind the head's last one, with its padding, into the head.
void extendHead(blob_buf* buf, const blob_attr* child);

}  // namespace testbed
