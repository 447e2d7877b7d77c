// Every transcript in cases/ and the examples of docs/inspect.md come out as they are written.
// `./check --update` writes them anew; `git diff` then shows what has changed.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "tests/inspect/transcript.h"
#include "tests/support/router_under_test.h"
#include "tests/support/temp_dir.h"

namespace inspect_test {
namespace {

namespace fs = std::filesystem;

std::vector<fs::path> transcripts() {
  std::vector<fs::path> files = {INSPECT_PAGE};
  for (const fs::directory_entry& entry : fs::directory_iterator(INSPECT_CASES)) {
    files.push_back(entry.path());
  }
  std::ranges::sort(files);
  return files;
}

class Transcript : public testing::TestWithParam<fs::path> {
 protected:
  void SetUp() override {
    if (const std::string reason = router_test::refusal("files"); !reason.empty()) {
      GTEST_SKIP() << reason;
    }
  }
};

TEST_P(Transcript, ComesOutAsItIsWritten) {
  const std::string written = test_support::readFile(GetParam());
  const std::string found = replayed(written);
  if (std::getenv("UPDATE_GOLDEN") != nullptr) {
    test_support::writeFile(GetParam(), found);
  } else {
    EXPECT_EQ(found, written);
  }
}

INSTANTIATE_TEST_SUITE_P(, Transcript, testing::ValuesIn(transcripts()),
                         [](const auto& file) { return file.param.stem().string(); });

}  // namespace
}  // namespace inspect_test
