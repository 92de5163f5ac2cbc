// Removing what an interrupted create made: SIGINT, SIGTERM and SIGHUP end the run cleanly.
#pragma once

#include <signal.h>

#include <string>

namespace kzf::tool {

/// While alive, SIGINT, SIGTERM and SIGHUP remove the file registered with `track` (the new
/// package being written) and end the process with status 128 + the signal number.
class InterruptCleanup {
 public:
  InterruptCleanup();
  ~InterruptCleanup();
  InterruptCleanup(const InterruptCleanup&) = delete;
  InterruptCleanup& operator=(const InterruptCleanup&) = delete;

  /// Runs `step` (which creates the file) with the signals held back, then registers the
  /// file that `name` returns afterwards, so that no signal falls between the two.
  template <typename Step, typename Name>
  void track(Step&& step, Name&& name) {
    const Held held;
    step();
    setFile(name());
  }
  /// The file is complete and in place: an interruption no longer removes anything.
  void release() { setFile(std::string()); }

 private:
  /// Holds the three signals back while alive; they arrive when it ends.
  class Held {
   public:
    Held();
    ~Held();
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;

   private:
    sigset_t saved_;
  };
  void setFile(const std::string& path);
};

}  // namespace kzf::tool
