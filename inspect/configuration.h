// The configuration for this program, read when it is asked for: the command line comes first, so
// that the manual and wrong use need no bus.
#pragma once

namespace tavrix::inspect {

// Constructs the start-up objects of uci_config.h, so that `params` holds the package as it does in
// a run. To be made once, before a rule program is built. Throws what their constructors throw.
class Configuration {
 public:
  Configuration();
  ~Configuration();
  Configuration(const Configuration&) = delete;
  Configuration& operator=(const Configuration&) = delete;
};

}  // namespace tavrix::inspect
