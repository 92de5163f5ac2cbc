// The errors of the package model.
#include <opc/model/Exceptions.hpp>

#include "../util/Text.hpp"

namespace opc::model {

InvalidXMLDocument::InvalidXMLDocument(const std::string& what) : std::runtime_error(what) {}

InvalidPartName::InvalidPartName(const ustring& name, const std::string& reason)
    : std::runtime_error("invalid part name \"" + detail::describe(name) + "\": " + reason),
      name_(name),
      reason_(reason) {}

InvalidContentType::InvalidContentType(const std::string& contentType, const std::string& reason)
    : std::runtime_error("invalid content type \"" + contentType + "\": " + reason) {}

InvalidRelationship::InvalidRelationship(const std::string& what) : std::runtime_error(what) {}

InvalidPackage::InvalidPackage(const std::string& what) : std::runtime_error(what) {}

PackageStateError::PackageStateError(const std::string& what) : std::runtime_error(what) {}

}  // namespace opc::model
