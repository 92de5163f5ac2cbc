// Removing what an interrupted create made: the handler only calls async-signal-safe functions.
#include "Interrupt.hpp"

#include <unistd.h>

#include <csignal>
#include <cstring>

namespace kzf::tool {

namespace {

constexpr int kSignals[] = {SIGINT, SIGTERM, SIGHUP};

// The file to remove, as a C string the handler can use without allocating. Written only with
// the signals held back, so the handler never sees it half-copied.
char gFile[4096];

extern "C" void onInterrupt(int signal) {
  if (gFile[0] != '\0') ::unlink(gFile);
  ::_exit(128 + signal);
}

sigset_t heldSignals() {
  sigset_t set;
  sigemptyset(&set);
  for (int signal : kSignals) sigaddset(&set, signal);
  return set;
}

}  // namespace

InterruptCleanup::Held::Held() {
  const sigset_t set = heldSignals();
  sigprocmask(SIG_BLOCK, &set, &saved_);
}

InterruptCleanup::Held::~Held() { sigprocmask(SIG_SETMASK, &saved_, nullptr); }

InterruptCleanup::InterruptCleanup() {
  struct sigaction action {};
  action.sa_handler = onInterrupt;
  sigemptyset(&action.sa_mask);
  for (int signal : kSignals) sigaddset(&action.sa_mask, signal);
  for (int signal : kSignals) sigaction(signal, &action, nullptr);
}

InterruptCleanup::~InterruptCleanup() {
  release();
  for (int signal : kSignals) std::signal(signal, SIG_DFL);
}

void InterruptCleanup::setFile(const std::string& path) {
  const Held held;
  const std::size_t length = path.size() < sizeof gFile ? path.size() : 0;
  std::memcpy(gFile, path.data(), length);
  gFile[length] = '\0';
}

}  // namespace kzf::tool
