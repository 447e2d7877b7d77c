// The input is a file that has no name: with a second pipe, both ends could wait for each other.
#include "inspect/tool_output.h"

#include <array>
#include <cstdio>
#include <iostream>
#include <memory>
#include <stdexcept>
#include <utility>

namespace tavrix::inspect {

ToolResult runTool(const std::string& command, const std::string& input) {
  const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::tmpfile(), std::fclose);
  if (!file || std::fwrite(input.data(), 1, input.size(), file.get()) != input.size() ||
      std::fflush(file.get()) != 0 || std::fseek(file.get(), 0, SEEK_SET) != 0) {
    throw std::runtime_error("cannot write a temporary file");
  }
  // What was printed before comes before what the tool says.
  std::cout.flush();
  // The restore tool locks a file of no meaning. In its test mode it changes nothing, and the file
  // of the tables' lock is not one that every user may open.
  const std::string redirected =
      "XTABLES_LOCKFILE=/dev/null " + command + " <&" + std::to_string(fileno(file.get()));
  std::FILE* const stream = popen(redirected.c_str(), "r");
  if (stream == nullptr) throw std::runtime_error("cannot start " + command);
  std::string output;
  std::array<char, 4096> buffer{};
  for (std::size_t count = 1; count != 0; output.append(buffer.data(), count)) {
    count = std::fread(buffer.data(), 1, buffer.size(), stream);
  }
  return {pclose(stream) == 0, output};
}

std::string toolOutput(const std::string& command, const std::string& input) {
  ToolResult result = runTool(command, input);
  if (!result.isFine) throw std::runtime_error(command + " failed");
  return std::move(result.output);
}

}  // namespace tavrix::inspect
