// The process's event loop, initialised for as long as the object lives. The loop is never run:
// the bus connection needs one to be registered with.
#pragma once

namespace wrt_cppwrap {

class Uloop {
 public:
  // handleSigchld: whether the loop watches for the end of child processes. Throws
  // std::logic_error while another instance exists and std::runtime_error if the library fails.
  explicit Uloop(bool handleSigchld);
  ~Uloop();
  Uloop(const Uloop&) = delete;
  Uloop& operator=(const Uloop&) = delete;

 private:
  static bool isInit;  // whether an instance exists: the library has one loop per process
};

}  // namespace wrt_cppwrap
