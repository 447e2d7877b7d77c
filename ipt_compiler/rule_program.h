// A rule program as those outside the compiler see it: a value. What is in the graph concerns the
// compiler alone.
#pragma once

#include <initializer_list>
#include <memory>

namespace tavrix {

namespace _IptIrNode {
class ProxyIrNode;  // ir_graph.h
}
using _IptIrNode::ProxyIrNode;

// Control enters at first and leaves through last. Copies share the graph.
struct IptProg {
  std::shared_ptr<ProxyIrNode> first;
  std::shared_ptr<ProxyIrNode> last;
};

// The programs one after another; an empty program for an empty list. Each can be continued once:
// throws std::logic_error for one that was continued already. Links from left to right; what was
// linked before the error stays linked.
IptProg sequence(std::initializer_list<IptProg> programs);

}  // namespace tavrix
