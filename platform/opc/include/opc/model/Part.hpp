// A part of a package: its name, content type, bytes and relationships.
#pragma once

#include <cstdint>
#include <memory>
#include <opc/Export.hpp>
#include <opc/Stream.hpp>
#include <opc/model/ContentType.hpp>
#include <opc/model/PartName.hpp>
#include <opc/model/RelationshipSource.hpp>

namespace opc::model {

class Package;

/// A cheap handle on one part of a package; copies refer to the same part. A handle that
/// outlives its package, or is used after the package was closed, throws PackageStateError.
class OPC_API Part : public RelationshipSource {
 public:
  Part(const Part&) = default;
  Part& operator=(const Part&) = default;
  ~Part();

  PartName getName() const;
  ContentType getContentType() const;

  /// Create mode: the stream that receives the part's bytes, the same one on every call.
  /// Creating the next part finishes this one: its stream then refuses writes, and this
  /// call throws PackageStateError.
  std::shared_ptr<OutputStream> getOutputStream();
  /// Read mode: a fresh stream over the part's bytes on each call (several may be open).
  std::unique_ptr<InputStream> getInputStream() const;

 private:
  friend class Package;
  Part(std::shared_ptr<detail::PackageCore> core, std::uint32_t index, std::uint32_t session);
};

}  // namespace opc::model
