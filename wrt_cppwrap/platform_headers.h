// The headers of the platform's C libraries. Not every version of them says in C++ that it is C, so
// that is said here; every file here includes them through this one.
#pragma once

extern "C" {
#include <libubox/blobmsg.h>
#include <libubox/uloop.h>
#include <libubus.h>
}
