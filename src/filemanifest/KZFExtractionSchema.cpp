// The file manifest's namespace and the schema text every loaded manifest is validated against.
#include <kzfpackage/KZFExtractionSerializer.hpp>

#include <KZFSchemaHost.hpp>

#define KZF_FILEMANIFEST_NAMESPACE KZF_SCHEMA_HOST "/velmor/compiler/2011/fileManifest"

namespace Quorlith::kzfpackage {

const char* const KZFExtractionSerializer::NAMESPACE = KZF_FILEMANIFEST_NAMESPACE;

// One line without whitespace between tags: the text is compared and measured byte for byte,
// so it must not pick up indentation. Children are qualified (elementFormDefault), which is
// why the writer relies on the root's default namespace declaration for the unprefixed
// "fileEntry" elements.
const char* const KZFExtractionSerializer::SCHEMA =
    "<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"no\"?>"
    "<xsd:schema xmlns:xsd=\"http://www.w3.org/2001/XMLSchema\""
    " xmlns=\"" KZF_FILEMANIFEST_NAMESPACE
    "\""
    " targetNamespace=\"" KZF_FILEMANIFEST_NAMESPACE
    "\""
    " elementFormDefault=\"qualified\" attributeFormDefault=\"unqualified\" blockDefault=\"#all\">"
    "<xsd:simpleType name=\"typeType\">"
    "<xsd:restriction base=\"xsd:string\">"
    "<xsd:enumeration value=\"SymLink\" />"
    "<xsd:enumeration value=\"File\" />"
    "<xsd:enumeration value=\"Folder\" />"
    "</xsd:restriction>"
    "</xsd:simpleType>"
    "<xsd:complexType name=\"fileEntryType\">"
    "<xsd:simpleContent>"
    "<xsd:extension base=\"xsd:string\">"
    "<xsd:attribute name=\"name\" type=\"xsd:string\" use=\"required\" />"
    "<xsd:attribute name=\"content\" type=\"xsd:anyURI\" use=\"required\" />"
    "<xsd:attribute name=\"type\" type=\"typeType\" use=\"required\" />"
    "<xsd:attribute name=\"date\" type=\"xsd:dateTime\" use=\"optional\" />"
    "<xsd:attribute name=\"permissions\" type=\"xsd:string\" use=\"optional\" />"
    "</xsd:extension>"
    "</xsd:simpleContent>"
    "</xsd:complexType>"
    "<xsd:complexType name=\"fileEntriesType\">"
    "<xsd:sequence>"
    "<xsd:element name=\"fileEntry\" type=\"fileEntryType\" minOccurs=\"0\""
    " maxOccurs=\"unbounded\" />"
    "</xsd:sequence>"
    "<xsd:attribute name=\"platform\" type=\"xsd:string\" use=\"required\" />"
    "<xsd:attribute name=\"encoding\" type=\"xsd:string\" use=\"required\" />"
    "</xsd:complexType>"
    "<xsd:element name=\"fileEntries\" type=\"fileEntriesType\" />"
    "</xsd:schema>";

}  // namespace Quorlith::kzfpackage
