// One relationship: an id, a type and a target, held by a package or a part.
#pragma once

#include <opc/Export.hpp>
#include <opc/String.hpp>
#include <opc/model/URI.hpp>

namespace opc::model {

/// Whether a relationship's target is a part of the package or a resource outside it.
enum class TargetMode : int { Internal = 0, External = 1 };

/// A relationship as its source holds it (a value; copies are independent).
class OPC_API Relationship {
 public:
  /// `source` is the source part's name, or "/" for the package itself.
  Relationship(ustring id, ustring type, URI target, TargetMode mode, URI source);

  const ustring& getId() const { return id_; }
  const ustring& getType() const { return type_; }
  TargetMode getTargetMode() const { return mode_; }
  /// The target as stored (`absolute` false), or, for an internal target, resolved against
  /// the source part name into an absolute part-name path (`absolute` true). An external
  /// target is returned as stored either way.
  URI getTargetURI(bool absolute) const;
  /// The source part's name, or "/" for the package.
  const URI& getSourceURI() const { return source_; }

 private:
  ustring id_;
  ustring type_;
  URI target_;
  TargetMode mode_;
  URI source_;
};

}  // namespace opc::model
