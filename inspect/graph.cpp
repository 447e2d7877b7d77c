// The program of a hook in the language of Graphviz. A node of the program that holds targets and a
// condition becomes two: a box and, below it, a diamond.

#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "inspect/commands.h"
#include "inspect/next_run.h"
#include "inspect/noted_texts.h"
#include "inspect/program_graph.h"

namespace tavrix::inspect {
namespace {

// A text between quotes, as a label.
std::string quoted(std::string_view text) {
  std::string result = "\"";
  for (const char c : text) {
    if (c == '"' || c == '\\') result += '\\';
    result += c == '\n' ? "\\n" : std::string(1, c);
  }
  return result + '"';
}

// Modules begin on lines of their own, so that diamonds do not become too wide.
std::string broken(std::string condition) {
  for (std::size_t at = 0; (at = condition.find(" -m ", at)) != std::string::npos; ++at) {
    condition[at] = '\n';
  }
  return condition;
}

std::string joined(const std::vector<std::string>& lines) {
  std::string all;
  for (const std::string& line : lines) all.append(all.empty() ? "" : "\n").append(line);
  return all;
}

// Writes the graph to a screen, statement by statement.
class DotWriter {
 public:
  DotWriter(std::vector<GraphNode> nodes, const NotedTexts& texts, Screen& screen)
      : nodes_(std::move(nodes)), texts_(texts), edgesTo_(nodes_.size()), screen_(screen) {
    for (const GraphNode& node : nodes_) {
      if (node.next) ++edgesTo_[*node.next];
      if (node.noMatch) ++edgesTo_[*node.noMatch];
    }
  }

  void writeAll() {
    write("node [fontname=monospace]");
    write("start [shape=plaintext]");
    writeEdge("start", 0, "");
    for (std::size_t i = 0; i < nodes_.size(); ++i) {
      if (!isPassedOver(i)) writeNode(i);
    }
  }

 private:
  // Whether the node only passes control on, from one place to another.
  bool isPassedOver(std::size_t number) const {
    const GraphNode& node = nodes_[number];
    return node.targets.empty() && node.condition.empty() && !node.isExit && edgesTo_[number] < 2;
  }

  void writeNode(std::size_t number) {
    const GraphNode& node = nodes_[number];
    const std::string box = "t" + std::to_string(number);
    const bool isBox = !node.targets.empty();
    const bool isBoxOnly = isBox && node.condition.empty();
    const std::string name = isBoxOnly ? box : "n" + std::to_string(number);
    if (isBox) {
      std::vector<int> sources;
      for (const std::optional<int> source : node.targetSources) {
        if (source) sources.push_back(*source);
      }
      write(box + " [shape=box, label=" + quoted(joined(node.targets)) + besideIt(sources) + "]");
    }
    if (isBox && !isBoxOnly) write(box + " -> " + name);
    if (node.isExit) {
      write(name + " [shape=plaintext, label=end]");
    } else if (!node.condition.empty()) {
      write(name + " [shape=diamond, label=" + quoted(broken(node.condition)) +
            besideIt(node.conditionSources) + "]");
    } else if (!isBox) {
      write(name + " [shape=point]");
    }
    if (node.next) writeEdge(name, *node.next, node.noMatch ? " [label=yes]" : "");
    if (node.noMatch) writeEdge(name, *node.noMatch, " [label=no, style=dashed]");
  }

  // A label beside the node: the options that its texts come from.
  std::string besideIt(const std::vector<int>& sources) const {
    std::vector<std::string> names;
    for (const int source : sources) {
      for (const NotedText::Part& part : texts_.texts()[static_cast<std::size_t>(source)].parts) {
        names.push_back(nameOf(part.place));
      }
    }
    return names.empty() ? "" : ", xlabel=" + quoted(joined(names));
  }

  // Each node that is passed over has one edge to it, so that none is passed over twice.
  void writeEdge(const std::string& from, std::size_t to, const std::string& look) {
    while (isPassedOver(to) && nodes_[to].next) to = *nodes_[to].next;
    write(from + " -> " + (nodes_[to].targets.empty() ? "n" : "t") + std::to_string(to) + look);
  }

  void write(const std::string& statement) { screen_.text("  " + statement + ";\n"); }

  std::vector<GraphNode> nodes_;
  const NotedTexts& texts_;
  std::vector<std::size_t> edgesTo_;
  Screen& screen_;
};

}  // namespace

int graph(const Request& request, Screen& screen) {
  const std::string name = std::string(request.words[0]) + " " + std::string(request.words[1]);
  const HookPlan& hook = hookOf(request);
  const NotedTexts texts(NotedTexts::Wrong::kThrows);
  DotWriter writer(readGraph(hook.makeProgram(), request.simplified), texts, screen);
  screen.text("digraph " + quoted(name) + " {\n");
  writer.writeAll();
  screen.text("}\n");
  return kFine;
}

}  // namespace tavrix::inspect
