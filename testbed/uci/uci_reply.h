// Writes a package as the bus service "uci" answers a `get` of it. Stands in for that part of rpcd,
// and leaves out the other methods and the selection of single sections and options.
#pragma once

#include <libubox/blobmsg.h>

#include "testbed/uci/uci_parser.h"

namespace testbed {

// Adds the table "values" to the open container of an initialised buffer: one table for each
// section, named after it, with ".anonymous" (int8), ".type", ".name" (strings), ".index" (int32,
// counted from 0), then the options in file order, a list as an array of strings. False if the
// message would be longer than an attribute can be; the buffer is then only good for another init.
bool writeReply(const UciPackage& package, blob_buf* buffer);

}  // namespace testbed
