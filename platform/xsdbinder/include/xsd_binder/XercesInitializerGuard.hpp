// Keeps the XML parser library initialised while a data-binding operation runs.
#pragma once

#include <opc/util/XercesHelper.hpp>

namespace xsd_binder {

/// Holds Xerces-C initialised for its lifetime. It shares the count and the lock of the OPC
/// layer's guard, so the two layers may nest their guards in any order.
class XercesInitializerGuard {
 public:
  XercesInitializerGuard() = default;
  XercesInitializerGuard(const XercesInitializerGuard&) = delete;
  XercesInitializerGuard& operator=(const XercesInitializerGuard&) = delete;

 private:
  opc::util::XercesGuard guard_;
};

}  // namespace xsd_binder
