/* Stands in for the platform's plugins of the save and restore tools, for its five matches, and
 * leaves out the kernel modules: in the kernel such a match is a comment, which matches every
 * packet, and the comment's text is the match as written. The save tool finds the plugin by the
 * name in the kernel, so this object is the plugin of the comment match, too. It prints a platform
 * match as that match, and a real comment as a comment. */
#include <stdbool.h>
#include <stdio.h>
#include <string.h>
#include <xtables.h>

#include <linux/netfilter/xt_comment.h>

/* The data of a comment in the kernel. A real comment is cut before the last byte, which is then
 * zero. */
struct match_data {
  char text[XT_MAX_COMMENT_LEN - 1];
  char is_platform_match;
};

#define LONGEST_VALUE 127
#define COUNT(array) (sizeof(array) / sizeof((array)[0]))

/* Rows of an option table, one bit per option; the tools check them, with their usual messages. */
#define FLAG(option, bit) .name = (option), .id = (bit), .type = XTTYPE_NONE
#define TEXT(option, bit) \
  .name = (option), .id = (bit), .type = XTTYPE_STRING, .min = 1, .max = LONGEST_VALUE
#define MARK(option, bit) .name = (option), .id = (bit), .type = XTTYPE_MARKMASK32

enum { LABEL, LABEL_MARK, LABEL_SET };
static const struct xt_option_entry connlabel_options[] = {
    {TEXT("label", LABEL), .flags = XTOPT_MAND | XTOPT_INVERT},
    {MARK("mark", LABEL_MARK)},
    {FLAG("set", LABEL_SET)},
    XTOPT_TABLEEND,
};

static const struct xt_option_entry connstat_options[] = {
    {FLAG("set", 0), .flags = XTOPT_MAND},
    {TEXT("stat-node", 1), .flags = XTOPT_MAND},
    XTOPT_TABLEEND,
};

enum { CLASS_MARK, CLASS, SUBCLASS, CLASS_INVERT };
#define CLASS_ACTIONS (1 << CLASS_MARK | 1 << CLASS | 1 << SUBCLASS)
static const struct xt_option_entry conndurvan_options[] = {
    {FLAG("mark", CLASS_MARK), .excl = 1 << CLASS | 1 << SUBCLASS | 1 << CLASS_INVERT},
    {TEXT("class", CLASS), .excl = 1 << CLASS_MARK | 1 << SUBCLASS},
    {TEXT("subclass", SUBCLASS), .excl = 1 << CLASS_MARK | 1 << CLASS},
    {FLAG("invert", CLASS_INVERT), .excl = 1 << CLASS_MARK},
    XTOPT_TABLEEND,
};

static const struct xt_option_entry xtcounter_options[] = {
    {TEXT("inc", 0), .flags = XTOPT_MAND},
    XTOPT_TABLEEND,
};

static const struct xt_option_entry xthostset_options[] = {
    {TEXT("set-name", 0), .flags = XTOPT_MAND},
    XTOPT_TABLEEND,
};

static void check_class_options(struct xt_fcheck_call* call) {
  if ((call->xflags & CLASS_ACTIONS) == 0) {
    xtables_error(PARAMETER_PROBLEM, "%s: one of --mark, --class or --subclass is required",
                  call->ext_name);
  }
}

/* The option tables of the tools cannot say that one option excludes the negation of another. */
static void check_label_options(struct xt_fcheck_call* call) {
  const bool* negated = call->udata;
  if (*negated && (call->xflags & 1 << LABEL_SET) != 0) {
    xtables_error(PARAMETER_PROBLEM,
                  "%s: option \"--set\" cannot be used together with \"! --label\".",
                  call->ext_name);
  }
}

/* Appends one character and ends the text. A rule that does not fit is refused, not cut. */
static void append(struct match_data* data, char character) {
  const size_t length = strlen(data->text);
  if (length + 1 >= sizeof data->text) {
    xtables_error(PARAMETER_PROBLEM, "a platform match is longer than %zu characters",
                  sizeof data->text - 1);
  }
  data->text[length] = character;
  data->text[length + 1] = '\0';
}

static void append_text(struct match_data* data, const char* text) {
  for (; *text != '\0'; ++text) append(data, *text);
}

/* Quoted only where the restore tool needs it to read the same value again. */
static void append_value(struct match_data* data, const char* value) {
  const bool quoted = strpbrk(value, " \t\n\"\\") != NULL;
  if (quoted) append(data, '"');
  for (; *value != '\0'; ++value) {
    if (*value == '"' || *value == '\\') append(data, '\\');
    append(data, *value);
  }
  if (quoted) append(data, '"');
}

/* Appends an option of a platform match to its text; called in the order of the rule. */
static void parse_platform_option(struct xt_option_call* call) {
  struct match_data* data = call->data;
  xtables_option_parse(call);
  if (data->text[0] == '\0') append_text(data, call->ext_name);
  data->is_platform_match = 1;
  append_text(data, call->invert ? " ! --" : " --");
  if (call->invert) *(bool*)call->udata = true;
  append_text(data, call->entry->name);
  if (call->arg != NULL) {
    append(data, ' ');
    append_value(data, call->arg);
  }
}

#define MATCH(match_name, option_table)                                       \
  .name = (match_name), .version = XTABLES_VERSION, .family = NFPROTO_UNSPEC, \
  .size = XT_ALIGN(XT_MAX_COMMENT_LEN), .userspacesize = XT_MAX_COMMENT_LEN,  \
  .x6_options = (option_table)
#define PLATFORM_MATCH(match_name, option_table)                                           \
  MATCH(match_name, option_table), .real_name = "comment", .ext_flags = XTABLES_EXT_ALIAS, \
                                   .x6_parse = parse_platform_option

static struct xtables_match platform_matches[] = {
    {PLATFORM_MATCH("tavrix-connlabel", connlabel_options), .udata_size = sizeof(bool),
     .x6_fcheck = check_label_options},
    {PLATFORM_MATCH("tavrix-connstat", connstat_options)},
    {PLATFORM_MATCH("tavrix-conndurvan", conndurvan_options), .x6_fcheck = check_class_options},
    {PLATFORM_MATCH("tavrix-xtcounter", xtcounter_options)},
    {PLATFORM_MATCH("tavrix-xthostset", xthostset_options)},
};

/* The platform match that the kernel's comment stands for; NULL for a real comment. */
static const char* platform_name(const struct xt_entry_match* match) {
  const struct match_data* data = (const void*)match->data;
  if (!data->is_platform_match) return NULL;
  for (size_t i = 0; i < COUNT(platform_matches); ++i) {
    const char* name = platform_matches[i].name;
    const size_t length = strlen(name);
    if (strncmp(data->text, name, length) == 0 && data->text[length] == ' ') return name;
  }
  return NULL;
}

static const char* shown_name(const struct xt_entry_match* match) {
  const char* name = platform_name(match);
  return name != NULL ? name : "comment";
}

/* Called after the name has been printed. */
static void save(const void* ip, const struct xt_entry_match* match) {
  const struct match_data* data = (const void*)match->data;
  const char* name = platform_name(match);
  (void)ip;
  if (name != NULL) {
    fputs(data->text + strlen(name), stdout);
  } else {
    fputs(" --comment", stdout);
    xtables_save_string(data->text);
  }
}

static void print(const void* ip, const struct xt_entry_match* match, int numeric) {
  const struct match_data* data = (const void*)match->data;
  (void)ip;
  (void)numeric;
  printf(platform_name(match) != NULL ? " %s" : " /* %s */", data->text);
}

static const struct xt_option_entry comment_options[] = {
    {.name = "comment",
     .id = 0,
     .type = XTTYPE_STRING,
     .flags = XTOPT_MAND | XTOPT_PUT,
     .ptroff = 0,
     .size = XT_MAX_COMMENT_LEN},
    XTOPT_TABLEEND,
};

static struct xtables_match comment_match = {
    MATCH("comment", comment_options),
    .x6_parse = xtables_option_parse,
    .alias = shown_name,
    .save = save,
    .print = print,
};

__attribute__((constructor)) static void register_all(void) {
  xtables_register_match(&comment_match);
  xtables_register_matches(platform_matches, COUNT(platform_matches));
}
