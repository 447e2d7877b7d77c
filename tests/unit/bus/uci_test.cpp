// Configuration files: what a text means, every error text, and the reply of the service "uci"
// compared whole with bytes written by hand.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "testbed/libubox/blob_buffer.h"
#include "testbed/uci/uci_parser.h"
#include "testbed/uci/uci_reply.h"
#include "tests/support/wire_bytes.h"

namespace {

using std::string_literals::operator""s;

// One line for each section and option: "type name", "anonymous type name", "  name=<value>",
// "  name[]=<item><item>".
std::string print(const std::string& fileText) {
  std::string text;
  for (const testbed::UciSection& section : testbed::parseUci(fileText, "f").sections) {
    text += (section.anonymous ? "anonymous " : "") + section.type + " " + section.name + "\n";
    for (const testbed::UciOption& option : section.options) {
      text += "  " + option.name + (option.isList ? "[]=" : "=");
      for (const std::string& value : option.values) text += "<" + value + ">";
      text += "\n";
    }
  }
  return text;
}

std::string errorOf(const std::string& text) {
  try {
    testbed::parseUci(text, "/etc/config/firewall_cpp");
  } catch (const testbed::UciSyntaxError& error) {
    return error.what();
  }
  return "no error";
}

TEST(UciSyntax, IsReadInOrder) {
  const std::vector<std::pair<std::string, std::string>> table = {
      {"# queues\n"
       "config nfnlq 'nfnlq'\n"
       "\toption queue_first '2'\n"
       "\tlist matches '-p tcp -m tcp --dport 53'\n"
       "\tlist matches 'OR'\n"
       "\tlist matches '-p udp'\n"
       "\n"
       "config kovsel kovsel\n"
       "\toption user_list ''\n",
       "nfnlq nfnlq\n"
       "  queue_first=<2>\n"
       "  matches[]=<-p tcp -m tcp --dport 53><OR><-p udp>\n"
       "kovsel kovsel\n"
       "  user_list=<>\n"},
      {"'config' \"t\" s\n\"opt\"'ion' 'o' v", "t s\n  o=<v>\n"},
      {"config t s\r\n\toption o 'v'\r\n\tlist l i", "t s\n  o=<v>\n  l[]=<i>\n"},
      {"package fire-wall_1\nconfig t s\n", "t s\n"},
      {"", ""},
      {"  \t\r\n\n# only a comment", ""},
      // Anonymous sections are named by position among all sections and by type.
      {"config defaults\n option a 1\nconfig zone\nconfig zone ''\nconfig t named\nconfig rule\n",
       "anonymous defaults cfg01e63d\n  a=<1>\n"
       "anonymous zone cfg02dc81\n"
       "anonymous zone cfg03dc81\n"
       "t named\n"
       "anonymous rule cfg0592bd\n"},
      // A second section of the same name continues the first.
      {"config t a\n option x 1\n list l i\n"
       "config t b\n option x 2\n"
       "config t a\n option y 3\n option x 4\n list l j\n",
       "t a\n  x=<4>\n  l[]=<i><j>\n  y=<3>\nt b\n  x=<2>\n"},
      // The last option counts, and a list takes an earlier option in.
      {"config t s\noption twice 1\noption other o\noption twice 2\noption grows 1\nlist grows 2\n"
       "list shrinks 1\nlist shrinks 2\noption shrinks 3\n",
       "t s\n  twice=<2>\n  other=<o>\n  grows[]=<1><2>\n  shrinks=<3>\n"},
  };
  for (const auto& [text, meaning] : table) EXPECT_EQ(print(text), meaning) << text;
}

TEST(UciSyntax, WordsMayBeSpelledInManyWays) {
  const std::vector<std::pair<std::string, std::string>> table = {
      {"'single quoted'", "<single quoted>"},
      {"\"double quoted\"", "<double quoted>"},
      {"''", "<>"},
      {"\"\"", "<>"},
      {"one'two three'\"four five\"six", "<onetwo threefour fivesix>"},
      {"'it'\\''s'", "<it's>"},
      {"a\\ b", "<a b>"},
      {"\\#a", "<#a>"},
      {"\"a\\\"b\"", "<a\"b>"},
      {"'a\\b'", "<a\\b>"},
      {"\"a'b\"", "<a'b>"},
      {"'#no comment'", "<#no comment>"},
      {"value#comment", "<value>"},
      {"'quoted'# 'comment", "<quoted>"},
      {"'two\nlines'", "<two\nlines>"},
      {"a=b;c!", "<a=b;c!>"},
  };
  for (const auto& [spelling, value] : table) {
    EXPECT_EQ(print("config t s\noption o " + spelling + "\n"), "t s\n  o=" + value + "\n");
  }
}

TEST(UciSyntax, ErrorsNameFileAndLine) {
  const std::vector<std::pair<std::string, std::string>> table = {
      {"config t s\noptoin a b\n",
       "2: unknown keyword \"optoin\"; expected package, config, option or list"},
      {"''\n", "1: unknown keyword \"\"; expected package, config, option or list"},
      {"\n\npackage\n", "3: too few words; expected package NAME"},
      {"package a b\n", "1: \"b\" is too much; expected package NAME"},
      {"config\n", "1: too few words; expected config TYPE [NAME]"},
      {"config t s more\n", "1: \"more\" is too much; expected config TYPE [NAME]"},
      {"config ''\n", "1: invalid section type \"\""},
      {"config t 's-1'\n", "1: invalid section name \"s-1\""},
      {"option a b\n", "1: option \"a\" stands before the first section"},
      {"config t\noption a # b\n", "2: too few words; expected option NAME VALUE"},
      {"config t\noption a b c\n", "2: \"c\" is too much; expected option NAME VALUE"},
      {"config t\nlist .name c\n", "2: invalid option name \".name\""},
      {"config t s\nconfig u s\n", "2: section \"s\" of type \"u\" was of type \"t\" before"},
      {"config t\noption a 'x\ny' \"z\n", "3: the quote \" is not closed"},
      {"config t\noption a \"b\\", "2: nothing follows the backslash"},
      {"config t\noption a b\0c\n"s, "2: NUL byte"},
      {"config t\noption a 'b\nc'\nlist\n", "4: too few words; expected list NAME VALUE"},
  };
  for (const auto& [text, message] : table) {
    EXPECT_EQ(errorOf(text), "/etc/config/firewall_cpp:" + message) << text;
  }
}

TEST(UciReply, HoldsEverySectionWithItsReservedMembersAndOptions) {
  testbed::BlobBuffer buffer;
  EXPECT_TRUE(testbed::writeReply(testbed::parseUci("config nfnlq 'nfnlq'\n"
                                                    "\toption queue_first '2'\n"
                                                    "\tlist matches '-p tcp'\n"
                                                    "\tlist matches 'OR'\n"
                                                    "\toption last ''\n"
                                                    "config zone\n"
                                                    "\tlist one 'item'\n",
                                                    "f"),
                                  buffer.get()));
  EXPECT_EQ(
      std::string(buffer.members().data(), buffer.members().size()),
      wire::table("values",
                  wire::table("nfnlq", wire::int8(".anonymous", 0) + wire::text(".type", "nfnlq") +
                                           wire::text(".name", "nfnlq") + wire::int32(".index", 0) +
                                           wire::text("queue_first", "2") +
                                           wire::array("matches", wire::text("", "-p tcp") +
                                                                      wire::text("", "OR")) +
                                           wire::text("last", "")) +
                      wire::table("cfg02dc81",
                                  wire::int8(".anonymous", 1) + wire::text(".type", "zone") +
                                      wire::text(".name", "cfg02dc81") + wire::int32(".index", 1) +
                                      wire::array("one", wire::text("", "item")))));
}

}  // namespace
