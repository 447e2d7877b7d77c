// The headers of the platform's C libraries. Not every version of them tells a C++ compiler that it
// is C, so this header does; the files of this directory include them through it.
#pragma once

extern "C" {
#include <libubox/blobmsg.h>
#include <libubox/uloop.h>
#include <libubus.h>
}
