/* Reads and writes the files of the tables and of the set names. table_file.h says what this stands
 * in for. */
#define _GNU_SOURCE
#include "testbed/file_tables/table_file.h"

#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

_Noreturn static void fail(const char* what, const char* why) {
  fprintf(stderr, "%s: %s: %s\n", program_invocation_short_name, what, why);
  exit(1);
}

/* "KIND.NAME" with `end` after it, in the directory; the caller frees it. */
static char* path_of(const char* kind, const char* name, const char* end) {
  const char* directory = getenv("TESTBED_TABLES");
  if (directory == NULL || *directory == '\0') fail("TESTBED_TABLES", "names no directory");
  if (mkdir(directory, 0777) != 0 && errno != EEXIST) fail(directory, strerror(errno));
  char* path = NULL;
  if (asprintf(&path, "%s/%s.%s%s", directory, kind, name, end) < 0) {
    fail(directory, strerror(ENOMEM));
  }
  return path;
}

/* A file is the table's description and its entries. False if that is not what it holds. */
static bool read_table(struct table* table, FILE* file, const char* name) {
  struct stat status;
  if (fstat(fileno(file), &status) != 0 || fread(&table->info, sizeof table->info, 1, file) != 1 ||
      strncmp(table->info.name, name, sizeof table->info.name) != 0 ||
      status.st_size != (off_t)sizeof table->info + (off_t)table->info.size) {
    return false;
  }
  table->entries = malloc(table->info.size);
  if (table->entries == NULL) fail(name, strerror(ENOMEM));
  return fread(table->entries, table->info.size, 1, file) == 1 && read_rules(table) == 0;
}

int load_table(struct table* table, const struct family* family, const char* name) {
  const int error = make_initial_table(table, family, name);
  if (error != 0) return error;
  char* path = path_of(family->tool, name, "");
  FILE* file = fopen(path, "rbe");
  if (file == NULL && errno != ENOENT) fail(path, strerror(errno));
  if (file != NULL) {
    free_table(table);
    if (!read_table(table, file, name)) fail(path, "damaged");
    fclose(file);
  }
  free(path);
  return 0;
}

void store_table(const struct table* table) {
  char* path = path_of(table->family->tool, table->info.name, "");
  char* new_path = path_of(table->family->tool, table->info.name, ".XXXXXX");
  const int descriptor = mkostemp(new_path, O_CLOEXEC);
  FILE* file = descriptor < 0 ? NULL : fdopen(descriptor, "wb");
  if (file == NULL) fail(new_path, strerror(errno));
  bool written = fwrite(&table->info, sizeof table->info, 1, file) == 1 &&
                 fwrite(table->entries, table->info.size, 1, file) == 1;
  written = fclose(file) == 0 && written;
  if (!written || rename(new_path, path) != 0) {
    const int error = errno;
    unlink(new_path);
    fail(path, strerror(error));
  }
  free(path);
  free(new_path);
}

/* The set names, one record after the other; a set's number is the place of its record. */
static FILE* open_ip_sets(void) {
  char* path = path_of("ip_sets", "names", "");
  FILE* file = fopen(path, "a+be");
  if (file == NULL) fail(path, strerror(errno));
  free(path);
  rewind(file);
  return file;
}

unsigned ip_set_number(const char name[IPSET_MAXNAMELEN]) {
  FILE* file = open_ip_sets();
  char record[IPSET_MAXNAMELEN];
  unsigned number = 0;
  while (fread(record, sizeof record, 1, file) == 1 && strncmp(record, name, sizeof record) != 0) {
    ++number;
  }
  const bool noted = !feof(file) || fwrite(name, sizeof record, 1, file) == 1;
  if (fclose(file) != 0 || !noted) fail(name, "this IP set cannot be noted");
  return number;
}

bool ip_set_name(unsigned number, char name[IPSET_MAXNAMELEN]) {
  FILE* file = open_ip_sets();
  const bool found = fseek(file, (long)number * IPSET_MAXNAMELEN, SEEK_SET) == 0 &&
                     fread(name, IPSET_MAXNAMELEN, 1, file) == 1;
  fclose(file);
  return found;
}
