// The reply of the service "uci", compared whole with bytes written by hand.
#include <gtest/gtest.h>

#include <string>

#include "testbed/libubox/blob_buffer.h"
#include "testbed/uci/uci_parser.h"
#include "testbed/uci/uci_reply.h"
#include "tests/support/wire_bytes.h"

namespace {

std::string replyTo(const std::string& text) {
  testbed::BlobBuffer buffer;
  EXPECT_TRUE(testbed::writeReply(testbed::parseUci(text, "f"), buffer.get()));
  return {buffer.members().data(), buffer.members().size()};
}

TEST(UciReply, HoldsEverySectionWithItsReservedMembersAndOptions) {
  EXPECT_EQ(
      replyTo("config nfnlq 'nfnlq'\n"
              "\toption queue_first '2'\n"
              "\tlist matches '-p tcp'\n"
              "\tlist matches 'OR'\n"
              "\toption last ''\n"
              "config zone\n"
              "\tlist one 'item'\n"),
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

TEST(UciReply, OfAnEmptyPackageIsAnEmptyTable) {
  EXPECT_EQ(replyTo("# nothing\n"), wire::table("values", ""));
}

TEST(UciReply, ThatNoAttributeCanHoldIsRefused) {
  testbed::UciPackage package;
  package.sections.push_back({"t", "s", false, {{"o", false, {std::string(0xffffff, 'v')}}}});
  testbed::BlobBuffer buffer;
  EXPECT_FALSE(testbed::writeReply(package, buffer.get()));
}

}  // namespace
