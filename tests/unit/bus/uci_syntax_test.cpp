// Configuration file syntax as tables: what a text means, and every error text.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "testbed/uci/uci_parser.h"

namespace {

using std::string_literals::operator""s;

// One line for each section and option: "type name", "anonymous type name", "  name=<value>",
// "  name[]=<item><item>".
std::string print(const testbed::UciPackage& package) {
  std::string text;
  for (const testbed::UciSection& section : package.sections) {
    text += (section.anonymous ? "anonymous " : "") + section.type + " " + section.name + "\n";
    for (const testbed::UciOption& option : section.options) {
      text += "  " + option.name + (option.isList ? "[]=" : "=");
      for (const std::string& value : option.values) text += "<" + value + ">";
      text += "\n";
    }
  }
  return text;
}

// The values of one section with a single option `o`, as print() shows them.
std::string valueOf(const std::string& spelling) {
  const std::string printed =
      print(testbed::parseUci("config t 's'\noption o " + spelling + "\n", "f"));
  const std::string front = "t s\n  o=";
  EXPECT_EQ(printed.substr(0, front.size()), front);
  return printed.substr(front.size(), printed.size() - front.size() - 1);
}

std::string errorOf(const std::string& text) {
  try {
    testbed::parseUci(text, "/etc/config/firewall_cpp");
  } catch (const testbed::UciSyntaxError& error) {
    return error.what();
  }
  return "no error";
}

TEST(UciSyntax, TheUsualFileReadsInOrder) {
  EXPECT_EQ(print(testbed::parseUci("# queues\n"
                                    "config nfnlq 'nfnlq'\n"
                                    "\toption queue_first '2'\n"
                                    "\toption queue_last '2'\n"
                                    "\tlist matches '-p tcp -m tcp --dport 53'\n"
                                    "\tlist matches 'OR'\n"
                                    "\tlist matches '-p udp'\n"
                                    "\n"
                                    "config kovsel kovsel\n"
                                    "\toption user_list ''\n",
                                    "f")),
            "nfnlq nfnlq\n"
            "  queue_first=<2>\n"
            "  queue_last=<2>\n"
            "  matches[]=<-p tcp -m tcp --dport 53><OR><-p udp>\n"
            "kovsel kovsel\n"
            "  user_list=<>\n");
}

TEST(UciSyntax, WordsMayBeSpelledInManyWays) {
  const std::vector<std::pair<std::string, std::string>> table = {
      {"bare", "<bare>"},
      {"'single quoted'", "<single quoted>"},
      {"\"double quoted\"", "<double quoted>"},
      {"''", "<>"},
      {"\"\"", "<>"},
      {"one'two three'\"four five\"six", "<onetwo threefour fivesix>"},
      {"a'b'c", "<abc>"},
      {"'it'\\''s'", "<it's>"},
      {"a\\ b", "<a b>"},
      {"\\#a", "<#a>"},
      {"\\\\", "<\\>"},
      {"\\n", "<n>"},
      {"\"a\\\"b\"", "<a\"b>"},
      {"\"a\\\\b\"", "<a\\b>"},
      {"'a\\b'", "<a\\b>"},
      {"'a\"b'", "<a\"b>"},
      {"\"a'b\"", "<a'b>"},
      {"'#no comment'", "<#no comment>"},
      {"\"#no comment\"", "<#no comment>"},
      {"value # comment", "<value>"},
      {"value#comment", "<value>"},
      {"'quoted'# 'comment", "<quoted>"},
      {"'two\nlines'", "<two\nlines>"},
      {"\"two\nlines\"", "<two\nlines>"},
      {"\"joined \\\nlines\"", "<joined lines>"},
      {"joined\\\nline", "<joinedline>"},
      {"joined\\\r\nline", "<joinedline>"},
      {"\"joined \\\r\nlines\"", "<joined lines>"},
      {"\\\n next", "<next>"},
      {"'not joined \\\nlines'", "<not joined \\\nlines>"},
      {"'tab\tinside'", "<tab\tinside>"},
      {"\t spaced \t", "<spaced>"},
      {"carriage\r", "<carriage>"},
      {"'gr\xc3\xbc\xc3\x9f'", "<gr\xc3\xbc\xc3\x9f>"},
      {"a=b;c!", "<a=b;c!>"},
  };
  for (const auto& [spelling, value] : table) EXPECT_EQ(valueOf(spelling), value) << spelling;
}

TEST(UciSyntax, AnEscapedLineEndContinuesTheStatement) {
  EXPECT_EQ(print(testbed::parseUci("config \\\n t \\\n s\n", "f")), "t s\n");
}

TEST(UciSyntax, KeywordsAndNamesMayBeQuoted) {
  EXPECT_EQ(print(testbed::parseUci("'config' \"t\" s\n\"opt\"'ion' 'o' v", "f")),
            "t s\n  o=<v>\n");
}

TEST(UciSyntax, TextsWithoutAStatementAreEmptyPackages) {
  for (const std::string text : {"", "\n", "  \t\r\n\n", "# only a comment", "#\n\n# two\n"}) {
    EXPECT_EQ(print(testbed::parseUci(text, "f")), "") << text;
  }
}

TEST(UciSyntax, CrlfLineEndsAndAMissingLastOneMakeNoDifference) {
  EXPECT_EQ(print(testbed::parseUci("config t s\r\n\toption o 'v'\r\n\tlist l i", "f")),
            "t s\n  o=<v>\n  l[]=<i>\n");
}

TEST(UciSyntax, APackageLineChangesNothing) {
  EXPECT_EQ(print(testbed::parseUci("package fire-wall_1\nconfig t s\n", "f")), "t s\n");
}

TEST(UciSyntax, AnonymousSectionsAreNamedByPositionAmongAllSectionsAndType) {
  EXPECT_EQ(print(testbed::parseUci("config defaults\n option a 1\n"
                                    "config zone\nconfig zone ''\nconfig t named\n"
                                    "config rule\n",
                                    "f")),
            "anonymous defaults cfg01e63d\n"
            "  a=<1>\n"
            "anonymous zone cfg02dc81\n"
            "anonymous zone cfg03dc81\n"
            "t named\n"
            "anonymous rule cfg0592bd\n");
}

TEST(UciSyntax, ASecondSectionOfTheSameNameContinuesTheFirst) {
  EXPECT_EQ(print(testbed::parseUci("config t a\n option x 1\n list l i\n"
                                    "config t b\n option x 2\n"
                                    "config t a\n option y 3\n option x 4\n list l j\n",
                                    "f")),
            "t a\n  x=<4>\n  l[]=<i><j>\n  y=<3>\n"
            "t b\n  x=<2>\n");
}

TEST(UciSyntax, TheLastOptionCountsAndAListTakesAnEarlierOptionIn) {
  EXPECT_EQ(print(testbed::parseUci("config t s\n"
                                    "option twice 1\noption other o\noption twice 2\n"
                                    "option grows 1\nlist grows 2\n"
                                    "list shrinks 1\nlist shrinks 2\noption shrinks 3\n",
                                    "f")),
            "t s\n"
            "  twice=<2>\n"
            "  other=<o>\n"
            "  grows[]=<1><2>\n"
            "  shrinks=<3>\n");
}

TEST(UciSyntax, ErrorsNameFileAndLine) {
  const std::vector<std::pair<std::string, std::string>> table = {
      {"config t s\noptoin a b\n",
       "2: unknown keyword \"optoin\"; expected package, config, option or list"},
      {"Config t\n", "1: unknown keyword \"Config\"; expected package, config, option or list"},
      {"''\n", "1: unknown keyword \"\"; expected package, config, option or list"},
      {"\n\npackage\n", "3: too few words; expected package NAME"},
      {"package a b\n", "1: \"b\" is too much; expected package NAME"},
      {"package a.b\n", "1: invalid package name \"a.b\""},
      {"package ''\n", "1: invalid package name \"\""},
      {"config\n", "1: too few words; expected config TYPE [NAME]"},
      {"config t s more\n", "1: \"more\" is too much; expected config TYPE [NAME]"},
      {"config 'a b'\n", "1: invalid section type \"a b\""},
      {"config ''\n", "1: invalid section type \"\""},
      {"config t\xc3\xbc\n", "1: invalid section type \"t\xc3\xbc\""},
      {"config t 's-1'\n", "1: invalid section name \"s-1\""},
      {"option a b\n", "1: option \"a\" stands before the first section"},
      {"package p\nlist a b\n", "2: list \"a\" stands before the first section"},
      {"config t\noption\n", "2: too few words; expected option NAME VALUE"},
      {"config t\noption a\n", "2: too few words; expected option NAME VALUE"},
      {"config t\noption a # b\n", "2: too few words; expected option NAME VALUE"},
      {"config t\noption a b c\n", "2: \"c\" is too much; expected option NAME VALUE"},
      {"config t\nlist a\n", "2: too few words; expected list NAME VALUE"},
      {"config t\nlist a b c\n", "2: \"c\" is too much; expected list NAME VALUE"},
      {"config t\noption a-b c\n", "2: invalid option name \"a-b\""},
      {"config t\noption '' c\n", "2: invalid option name \"\""},
      {"config t\nlist .name c\n", "2: invalid option name \".name\""},
      {"config t s\nconfig u s\n", "2: section \"s\" of type \"u\" was of type \"t\" before"},
      {"config t\noption a 'b\n\nconfig u\n", "2: the quote ' is not closed"},
      {"config t\n\noption a b\"c", "3: the quote \" is not closed"},
      {"config t\noption a 'x\ny' \"z\n", "3: the quote \" is not closed"},
      {"config t\\", "1: nothing follows the backslash"},
      {"config t\noption a \"b\\", "2: nothing follows the backslash"},
      {"config t\noption a b\0c\n"s, "2: NUL byte"},
      {"# comment \0\n"s, "1: NUL byte"},
      {"config t\noption a 'b\nc' d\nlist\n", "2: \"d\" is too much; expected option NAME VALUE"},
      {"config t\\\n s\noption a\\\n\nlist\n", "3: too few words; expected option NAME VALUE"},
      {"config t\noption a 'b\nc'\nlist\n", "4: too few words; expected list NAME VALUE"},
  };
  for (const auto& [text, message] : table) {
    EXPECT_EQ(errorOf(text), "/etc/config/firewall_cpp:" + message) << text;
  }
}

TEST(UciSyntax, EveryCutOfAFileIsReadOrRefusedAtALineOfIt) {
  const std::string file =
      "config t 's'\n\toption o \"a\\\"b\"\n\tlist l 'x y'\n\tlist l z\\ z # end\n";
  for (std::size_t length = 0; length <= file.size(); ++length) {
    const std::string error = errorOf(file.substr(0, length));
    if (error == "no error") continue;
    const std::size_t line = std::stoul(error.substr(error.find(':') + 1));
    EXPECT_GE(line, 1U);
    EXPECT_LE(line, 4U) << error;
  }
}

TEST(UciSyntax, TensOfThousandsOfSectionsAndOptionsAreKept) {
  std::string text;
  for (int i = 0; i < 20000; ++i) text += "config t s" + std::to_string(i) + "\n";
  for (int i = 0; i < 20000; ++i) text += "option o" + std::to_string(i) + " v\n";
  const testbed::UciPackage package = testbed::parseUci(text, "f");
  EXPECT_EQ(package.sections.size(), 20000U);
  EXPECT_EQ(package.sections.back().options.size(), 20000U);
}

}  // namespace
