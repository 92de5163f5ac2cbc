// The errors of the package model; each text names the package, part or document and the reason.
#pragma once

#include <opc/Export.hpp>
#include <opc/String.hpp>
#include <stdexcept>
#include <string>

namespace opc::model {

/// An XML document (content types, relationships, core properties, a manifest) or a schema
/// that cannot be parsed, validated or written. The text names the document, the line and
/// column where known, and the parser's reason.
class OPC_API InvalidXMLDocument : public std::runtime_error {
 public:
  explicit InvalidXMLDocument(const std::string& what);
};

/// A part name that breaks the part-name rules, or that cannot be used where it is given
/// (reserved, or taken by an equivalent name).
class OPC_API InvalidPartName : public std::runtime_error {
 public:
  /// `name` is the offending name as given (shown in the text as every message shows names).
  InvalidPartName(const ustring& name, const std::string& reason);
  const ustring& getName() const { return name_; }
  const std::string& getReason() const { return reason_; }

 private:
  ustring name_;
  std::string reason_;
};

/// A media type that is not of the form type/subtype[;name=value]*.
class OPC_API InvalidContentType : public std::runtime_error {
 public:
  InvalidContentType(const std::string& contentType, const std::string& reason);
};

/// A relationship that cannot be created or read: bad id, duplicate id, empty type, bad target.
class OPC_API InvalidRelationship : public std::runtime_error {
 public:
  explicit InvalidRelationship(const std::string& what);
};

/// A package whose container content breaks the packaging rules when read (missing or
/// malformed content types, items of equivalent names, malformed relationship parts).
class OPC_API InvalidPackage : public std::runtime_error {
 public:
  explicit InvalidPackage(const std::string& what);
};

/// An operation the package cannot do in its present state (not open, wrong mode, part
/// already finished, a part that does not exist).
class OPC_API PackageStateError : public std::runtime_error {
 public:
  explicit PackageStateError(const std::string& what);
};

}  // namespace opc::model
