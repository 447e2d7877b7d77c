/* Preloaded into the legacy save and restore tools: stands in for the kernel's tables. The tools
 * reach those only through a raw socket, and this library never makes one. Each call below does to
 * tables in files what the kernel does to its own. Leaves out what these tools do not ask for: such
 * a call ends the program. */
#define _GNU_SOURCE
#include <errno.h>
#include <spawn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <unistd.h>

#include "testbed/file_tables/kernel_checks.h"
#include "testbed/file_tables/table_file.h"

#define INTERCEPTED __attribute__((visibility("default")))

_Noreturn static void refuse(const char* call, int first, int second) {
  fprintf(stderr, "%s: the testbed has no such call: %s(..., %d, %d)\n",
          program_invocation_short_name, call, first, second);
  abort();
}

/* 0, or -1 with the error number set, as calls return it. */
static int as_returned(int error) {
  if (error != 0) errno = error;
  return error == 0 ? 0 : -1;
}

static int get_info(const struct family* family, void* value, socklen_t length) {
  struct ipt_getinfo* info = value;
  if (length != sizeof *info) return EINVAL;
  info->name[sizeof info->name - 1] = '\0';
  struct table table;
  const int error = load_table(&table, family, info->name);
  if (error == 0) *info = table.info;
  free_table(&table);
  return error;
}

static int get_entries(const struct family* family, void* value, socklen_t length) {
  struct ipt_get_entries* request = value;
  if (length < sizeof *request || length - sizeof *request != request->size) return EINVAL;
  request->name[sizeof request->name - 1] = '\0';
  struct table table;
  int error = load_table(&table, family, request->name);
  if (error == 0 && table.info.size != request->size) error = EAGAIN;
  if (error == 0) memcpy(request->entrytable, table.entries, table.info.size);
  free_table(&table);
  return error;
}

/* The answer is the revision, on success. Every revision that the tools ask for is known. */
static int get_revision(const struct family* family, bool is_target, const void* value,
                        socklen_t length) {
  const struct xt_get_revision* request = value;
  if (length != sizeof *request) return as_returned(EINVAL);
  if (!is_extension(family, is_target, request->name)) return as_returned(ENOENT);
  return request->revision;
}

/* Fills `table` from a request and checks it. */
static int read_request(struct table* table, const struct ipt_replace* request, socklen_t length) {
  if (length < sizeof *request || length - sizeof *request != request->size) return EINVAL;
  memcpy(table->info.name, request->name, sizeof table->info.name - 1);
  table->info.valid_hooks = request->valid_hooks;
  memcpy(table->info.hook_entry, request->hook_entry, sizeof table->info.hook_entry);
  memcpy(table->info.underflow, request->underflow, sizeof table->info.underflow);
  table->info.num_entries = request->num_entries;
  table->info.size = request->size;
  table->entries = malloc(request->size + 1);
  if (table->entries == NULL) return ENOMEM;
  memcpy(table->entries, (const unsigned char*)request + sizeof *request, request->size);
  const int error = read_rules(table);
  return error != 0 ? error : find_objection(table);
}

/* The entries are kept as they are, counters too: libiptc has already put into them what it adds to
 * the kernel's with a later call. */
static int set_replace(const struct family* family, const struct ipt_replace* request,
                       socklen_t length) {
  struct table table = {.family = family};
  const int error = read_request(&table, request, length);
  if (error == 0) {
    memset(request->counters, 0, request->num_counters * sizeof *request->counters);
    store_table(&table);
  }
  free_table(&table);
  return error;
}

/* Sets of either family. */
static int get_ip_set(void* value, socklen_t length) {
  struct ip_set_req_version* version = value;
  struct ip_set_req_get_set* by_number = value;
  struct ip_set_req_get_set_family* by_name = value;
  if (length >= sizeof *version && version->op == IP_SET_OP_VERSION) {
    version->version = IPSET_PROTOCOL;
  } else if (length == sizeof *by_name && by_name->op == IP_SET_OP_GET_FNAME) {
    by_name->family = NFPROTO_UNSPEC;
    by_name->set.index = (ip_set_id_t)ip_set_number(by_name->set.name);
  } else if (length == sizeof *by_number && by_number->op == IP_SET_OP_GET_BYINDEX) {
    if (!ip_set_name(by_number->set.index, by_number->set.name)) by_number->set.name[0] = '\0';
  } else {
    return EBADMSG;
  }
  return 0;
}

/* Null for a level of other sockets, such as one that looks up the name of a host. */
static const struct family* family_of(int level) {
  if (level == IPPROTO_IP) return &ipv4_family;
  return level == IPPROTO_IPV6 ? &ipv6_family : NULL;
}

INTERCEPTED int socket(int domain, int type, int protocol) {
  const bool is_ip = domain == AF_INET || domain == AF_INET6;
  const bool is_raw = (type & ~(SOCK_CLOEXEC | SOCK_NONBLOCK)) == SOCK_RAW;
  if (is_ip && is_raw && protocol == IPPROTO_RAW) return memfd_create("kernel", MFD_CLOEXEC);
  if (is_ip && is_raw) refuse("socket", domain, type);
  return (int)syscall(SYS_socket, domain, type, protocol);
}

INTERCEPTED int getsockopt(int fd, int level, int optname, void* optval, socklen_t* optlen) {
  const struct family* family = family_of(level);
  const bool is_ipv4 = family == &ipv4_family;
  if (family == NULL || optname < IPT_BASE_CTL) {
    return (int)syscall(SYS_getsockopt, fd, level, optname, optval, optlen);
  }
  if (optname == IPT_SO_GET_INFO) return as_returned(get_info(family, optval, *optlen));
  if (optname == IPT_SO_GET_ENTRIES) return as_returned(get_entries(family, optval, *optlen));
  if (optname == (is_ipv4 ? IPT_SO_GET_REVISION_MATCH : IP6T_SO_GET_REVISION_MATCH)) {
    return get_revision(family, false, optval, *optlen);
  }
  if (optname == (is_ipv4 ? IPT_SO_GET_REVISION_TARGET : IP6T_SO_GET_REVISION_TARGET)) {
    return get_revision(family, true, optval, *optlen);
  }
  if (optname == SO_IP_SET && is_ipv4) return as_returned(get_ip_set(optval, *optlen));
  refuse("getsockopt", level, optname);
}

INTERCEPTED int setsockopt(int fd, int level, int optname, const void* optval, socklen_t optlen) {
  const struct family* family = family_of(level);
  if (family == NULL || optname < IPT_BASE_CTL) {
    return (int)syscall(SYS_setsockopt, fd, level, optname, optval, optlen);
  }
  if (optname == IPT_SO_SET_REPLACE) return as_returned(set_replace(family, optval, optlen));
  if (optname == IPT_SO_SET_ADD_COUNTERS) return 0;
  refuse("setsockopt", level, optname);
}

/* A save tool that is given no table reads here which there are. */
INTERCEPTED FILE* fopen64(const char* filename, const char* modes) {
  if (strcmp(filename, "/proc/net/ip_tables_names") == 0 ||
      strcmp(filename, "/proc/net/ip6_tables_names") == 0) {
    return fmemopen((void*)(uintptr_t)table_names, strlen(table_names), "r");
  }
  return fopen(filename, modes);
}

/* A tool that finds no table starts modprobe, which would change the machine and not help. */
INTERCEPTED int posix_spawn(pid_t* pid, const char* path, const posix_spawn_file_actions_t* actions,
                            const posix_spawnattr_t* attrp, char* const argv[],
                            char* const envp[]) {
  (void)path, (void)actions, (void)attrp, (void)argv, (void)envp;
  *pid = -1;
  return ENOENT;
}
