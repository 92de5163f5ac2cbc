// Package-level conveniences: the core properties.
#pragma once

#include <opc/Export.hpp>
#include <opc/model/CoreProperties.hpp>
#include <opc/model/Package.hpp>

namespace opc::model {

/// Operations on a whole package that go beyond parts and relationships.
class OPC_API PackageHelper {
 public:
  /// The relationship type from a package to its core-properties part.
  static const char* const CORE_PROPERTIES_RELATIONSHIP;

  /// Create mode: sets (or replaces) the core properties. The part "/docProps/core.xml" and
  /// its package relationship are created at once; the part's XML is written at close.
  static void createOrUpdateCoreProperties(Package& package, const CoreProperties& properties);
  /// Read mode: the core properties of the part the first core-properties relationship
  /// points at (whatever its name); default (empty) properties when there is none. Create
  /// mode: the properties set so far. Throws InvalidXMLDocument naming the part when its XML
  /// is malformed, InvalidPackage naming the part and the property when a property occurs
  /// twice or holds a date that is not a date-time text.
  static CoreProperties getCoreProperties(const Package& package);
};

}  // namespace opc::model
