// The lock that every user of the netfilter tables takes, the xtables tools among them.
#pragma once

namespace tavrix {

// Held as long as the object lives.
class XtablesLock {
 public:
  // Waits for the lock without a time limit. Throws std::runtime_error if the lock file cannot be
  // opened or locked.
  XtablesLock();
  ~XtablesLock();
  XtablesLock(const XtablesLock&) = delete;
  XtablesLock& operator=(const XtablesLock&) = delete;

 private:
  int descriptor;
};

}  // namespace tavrix
