// Test support: switch the process locale for one test and restore it afterwards.
#pragma once

#include <clocale>
#include <string>

namespace kzftest {

/// Sets every category of the process locale to `name` while it lives; `ok()` tells whether
/// the locale exists on this machine (if not, nothing changed).
class LocaleGuard {
 public:
  explicit LocaleGuard(const std::string& name) : previous_(std::setlocale(LC_ALL, nullptr)) {
    ok_ = std::setlocale(LC_ALL, name.c_str()) != nullptr;
  }
  ~LocaleGuard() { std::setlocale(LC_ALL, previous_.c_str()); }
  LocaleGuard(const LocaleGuard&) = delete;
  LocaleGuard& operator=(const LocaleGuard&) = delete;

  bool ok() const { return ok_; }

 private:
  std::string previous_;
  bool ok_ = false;
};

}  // namespace kzftest

/// Switches the locale for the rest of the scope, or skips the test if it is not installed.
#define KZF_USE_LOCALE_OR_SKIP(guard, name) \
  ::kzftest::LocaleGuard guard(name);       \
  if (!guard.ok()) GTEST_SKIP() << "locale " << (name) << " is not installed"
