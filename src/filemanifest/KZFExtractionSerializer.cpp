// The file manifest serializer: the entries of an extraction manager as a validated XML document.
#include <boost/lexical_cast.hpp>
#include <cstddef>
#include <exception>
#include <fl/i18n/CodePoint.hpp>
#include <fl/i18n/DeployedException.hpp>
#include <fl/i18n/QlLocale.hpp>
#include <fl/i18n/printmln.hpp>
#include <fl/i18n/ustring.hpp>
#include <iostream>
#include <kzfpackage/KZFExtractionManager.hpp>
#include <kzfpackage/KZFExtractionSerializer.hpp>
#include <kzfpackage/KZFFileEntry.hpp>
#include <kzfpackage/MessageIds.hpp>
#include <memory>
#include <opc/String.hpp>
#include <opc/model/CoreProperties.hpp>
#include <opc/model/Exceptions.hpp>
#include <opc/util/XercesHelper.hpp>
#include <stdexcept>
#include <string>
#include <string_view>
#include <variant>
#include <vector>
#include <xercesc/sax2/Attributes.hpp>
#include <xercesc/sax2/DefaultHandler.hpp>

#include "FileManifestWords.hpp"

#ifndef KZF_PLATFORM_TAG
#error "KZF_PLATFORM_TAG must name the build platform (set by the build)"
#endif

namespace Quorlith::kzfpackage {

namespace x = xercesc;
using fl::i18n::DeployedException;
using fl::i18n::ustring;
using opc::model::CoreProperties;
using opc::model::InvalidXMLDocument;

const char* const KZFExtractionSerializer::FILEENTRIES_ELEMENT = "fileEntries";
const char* const KZFExtractionSerializer::FILEENTRY_ELEMENT = "fileEntry";
const char* const KZFExtractionSerializer::NAME_ATTRIBUTE = "name";
const char* const KZFExtractionSerializer::CONTENT_ATTRIBUTE = "content";
const char* const KZFExtractionSerializer::TYPE_ATTRIBUTE = "type";
const char* const KZFExtractionSerializer::DATE_ATTRIBUTE = "date";
const char* const KZFExtractionSerializer::PERMISSIONS_ATTRIBUTE = "permissions";
const char* const KZFExtractionSerializer::PLATFORM_ATTRIBUTE = "platform";
const char* const KZFExtractionSerializer::ENCODING_ATTRIBUTE = "encoding";

namespace {

// The system id the schema text is known by in the parser's grammar cache and its errors.
constexpr char16_t kSchemaSystemId[] = u"file-manifest.xsd";
// The name loaded manifests are given in parser errors.
constexpr char16_t kManifestDocumentName[] = u"filemanifest.xml";
// The bytes the writer collects before it hands them to the stream.
constexpr std::size_t kWriteChunk = 64 * 1024;

// The tag of the platform this library was built for, compared with a loaded manifest's.
const ustring& platformTag() {
  static const ustring tag = opc::toStringFromASCIIStringLiteral(KZF_PLATFORM_TAG);
  return tag;
}

// The process locale's encoding name; std::bad_variant_access when it reports none.
ustring localeEncodingName() {
  return opc::toString(std::get<std::string>(fl::i18n::QlLocale::global().get_encoding_name()));
}

// An attribute value ends at its first NUL, as the C strings the manifest was once written
// from did.
std::u16string_view attributeText(const ustring& text) { return std::u16string_view(text.c_str()); }

// The characters an XML 1.0 document may hold (no surrogate: one without its partner is
// refused).
bool isXmlCharacter(char32_t c) {
  return c == 0x9 || c == 0xA || c == 0xD || (c >= 0x20 && c <= 0xD7FF) ||
         (c >= 0xE000 && c <= 0xFFFD) || (c >= 0x10000 && c <= 0x10FFFF);
}

bool isWritable(const ustring& text) {
  const std::u16string_view value = attributeText(text);
  for (std::size_t i = 0; i < value.size();) {
    if (!isXmlCharacter(fl::i18n::codepoint::nextInUtf16(value, i))) return false;
  }
  return true;
}

[[noreturn]] void throwUnwritable() {
  throw DeployedException(kzf::kzfpackage::KZFPACKAGE_ERROR_WRITE_XML(
      "cannot serialize the XML document: invalid or illegal XML character"));
}

// Writes the manifest text as UTF-8 to a stream in chunks. Attribute values are escaped as
// the manifest has always been written: &, < and " as entities, tab, line feed and carriage
// return as character references (so that a reader's normalisation keeps them), the rest as is.
class ManifestWriter {
 public:
  explicit ManifestWriter(opc::OutputStream& out) : out_(out) { buffer_.reserve(kWriteChunk); }

  void text(std::string_view text) { buffer_.append(text); }

  // The value must be writable (see isWritable); save checks every value before it starts.
  void attribute(const char* name, const ustring& value) {
    buffer_ += ' ';
    buffer_ += name;
    buffer_ += "=\"";
    const std::u16string_view text = attributeText(value);
    std::size_t run = 0;  // start of the characters not yet written, which need no escape
    for (std::size_t i = 0; i < text.size(); ++i) {
      const char* escape = escapeOf(text[i]);
      if (escape == nullptr) continue;
      appendUtf8(text.substr(run, i - run));
      buffer_ += escape;
      run = i + 1;
    }
    appendUtf8(text.substr(run));
    buffer_ += '"';
  }

  // Hands the text collected so far to the stream once a chunk is full.
  void flushIfFull() {
    if (buffer_.size() >= kWriteChunk) flush();
  }

  void finish() {
    flush();
    out_.flush();
  }

 private:
  static const char* escapeOf(char16_t c) {
    switch (c) {
      case '&':
        return "&amp;";
      case '<':
        return "&lt;";
      case '"':
        return "&quot;";
      case '\t':
        return "&#x9;";
      case '\n':
        return "&#xA;";
      case '\r':
        return "&#xD;";
      default:
        return nullptr;
    }
  }

  void appendUtf8(std::u16string_view text) {
    if (!text.empty()) buffer_ += fl::i18n::ustring_to_utf8(ustring(text));
  }

  void flush() {
    if (buffer_.empty()) return;
    out_.write(buffer_.data(), buffer_.size());
    buffer_.clear();
  }

  opc::OutputStream& out_;
  std::string buffer_;
};

// The value of the attribute at `index`, never null.
const XMLCh* attributeValue(const x::Attributes& attributes, XMLSize_t index) {
  const XMLCh* value = attributes.getValue(index);
  return value != nullptr ? value : u"";
}

// Permission bits: a decimal number, cut to 16 bits.
unsigned short parsePermissions(std::u16string_view text) {
  long long value = 0;
  try {
    value = boost::lexical_cast<long long>(fl::i18n::to_string(ustring(text)));
  } catch (const boost::bad_lexical_cast& e) {
    throw DeployedException(kzf::kzfpackage::KZFPACKAGE_INVALID_XML(e.what()));
  }
  // Mode bits fit in 16 bits; whatever a writer put above them is dropped.
  return static_cast<unsigned short>(value & 0xFFFF);
}

// Collects the entries of a manifest while the reader validates it. Nothing reaches the
// manager before the whole document has been read and found valid; the first entry that
// cannot be converted ends the collection and is kept as the load's failure, raised once the
// document is known to be valid (validation errors come first) and the entries before it
// have been added.
class ManifestContent : public x::DefaultHandler {
 public:
  void startElement(const XMLCh* const uri, const XMLCh* const localName, const XMLCh* const,
                    const x::Attributes& attributes) override {
    if (!rootSeen_) {
      rootSeen_ = true;
      readRoot(attributes);
      return;
    }
    // Matched by namespace and local name, so that a valid manifest written with a prefix
    // ("k:fileEntry") is read as well.
    if (failure_ || uri != std::u16string_view(namespaceUri()) ||
        localName != std::u16string_view(u"fileEntry")) {
      return;
    }
    try {
      entries.push_back(readEntry(attributes));
    } catch (const DeployedException&) {
      failure_ = std::current_exception();
    }
  }

  /// Raises the conversion failure met while reading, if there was one.
  void rethrowFailure() const {
    if (failure_) std::rethrow_exception(failure_);
  }

  ustring encoding;
  ustring platform;
  std::vector<KZFFileEntry> entries;

 private:
  static const ustring& namespaceUri() {
    static const ustring uri =
        opc::toStringFromASCIIStringLiteral(KZFExtractionSerializer::NAMESPACE);
    return uri;
  }

  void readRoot(const x::Attributes& attributes) {
    for (XMLSize_t i = 0; i < attributes.getLength(); ++i) {
      const std::u16string_view name = attributes.getQName(i);
      if (name == u"encoding") {
        encoding = attributeValue(attributes, i);
      } else if (name == u"platform") {
        platform = attributeValue(attributes, i);
      }
    }
  }

  static KZFFileEntry readEntry(const x::Attributes& attributes) {
    const XMLCh* name = u"";
    const XMLCh* content = u"";
    const XMLCh* type = u"";
    const XMLCh* date = u"";
    const XMLCh* permissions = u"";
    for (XMLSize_t i = 0; i < attributes.getLength(); ++i) {
      const std::u16string_view qname = attributes.getQName(i);
      const XMLCh* value = attributeValue(attributes, i);
      if (qname == u"name") {
        name = value;
      } else if (qname == u"content") {
        content = value;
      } else if (qname == u"type") {
        type = value;
      } else if (qname == u"date") {
        date = value;
      } else if (qname == u"permissions") {
        permissions = value;
      }
    }
    // The schema's enumeration already refuses other type words while the document is read.
    KZFFileEntry entry(name, content, filemanifest::entryTypeFromWord(type));
    // An absent date reads as the empty text, which converts to not_a_date_time: every loaded
    // entry has a date set, not_a_date_time where none was written. The schema lets through
    // dates the time library cannot hold (years before 1400, say): those make the document
    // invalid like any other bad value.
    try {
      entry.setDate(CoreProperties::convertStringToTime(date));
    } catch (const std::runtime_error& e) {
      throw DeployedException(kzf::kzfpackage::KZFPACKAGE_INVALID_XML(e.what()));
    }
    if (*permissions != 0) entry.setPermission(parsePermissions(permissions));
    return entry;
  }

  bool rootSeen_ = false;
  std::exception_ptr failure_;
};

}  // namespace

// Hidden explicitly: a nested class would otherwise take the exported visibility of its
// enclosing class, and the implementation is no part of the library's interface.
struct __attribute__((visibility("hidden"))) KZFExtractionSerializer::Impl {
  Impl();

  opc::util::XmlStreamReaderPtr reader;
};

KZFExtractionSerializer::Impl::Impl() : reader(opc::util::XercesHelper::createStreamReader()) {
  try {
    reader->loadSchema(SCHEMA, kSchemaSystemId);
  } catch (const InvalidXMLDocument& e) {
    throw DeployedException(kzf::kzfpackage::KZFPACKAGE_ERROR_LOADING_SCHEMA(e.what()));
  }
}

KZFExtractionSerializer::KZFExtractionSerializer() : impl_(std::make_unique<Impl>()) {}

KZFExtractionSerializer::~KZFExtractionSerializer() = default;

void KZFExtractionSerializer::save(opc::OutputStream& out,
                                   const KZFExtractionManager& manager) const {
  // Everything that can refuse the manifest is checked before the first byte is written. The
  // entries are read where the manager keeps them: a copy of them all would be the largest
  // thing a big package holds while it closes.
  bool writable = true;
  manager.forEachEntry([&writable](const KZFFileEntry& entry) {
    if (filemanifest::entryTypeWord(entry.getType()) == nullptr) {
      throw DeployedException(
          kzf::kzfpackage::KZFPACKAGE_FILE_TYPE_UNSUPPORTED(fl::i18n::to_string(entry.getName())));
    }
    writable = writable && isWritable(entry.getName()) && isWritable(entry.getContent());
  });
  if (!writable) throwUnwritable();

  // The namespace declaration first, then the attributes in the order of their names, as the
  // manifest has always been written. The entries are qualified by the root's default
  // namespace declaration, so they are written unprefixed and without one of their own.
  ManifestWriter writer(out);
  writer.text("<?xml version=\"1.0\" encoding=\"UTF-8\" standalone=\"yes\" ?><");
  writer.text(FILEENTRIES_ELEMENT);
  writer.text(" xmlns=\"");
  writer.text(NAMESPACE);
  writer.text("\"");
  writer.attribute(ENCODING_ATTRIBUTE, localeEncodingName());
  writer.attribute(PLATFORM_ATTRIBUTE, platformTag());
  if (manager.empty()) {
    writer.text("/>");
    writer.finish();
    return;
  }
  writer.text(">");
  manager.forEachEntry([&writer](const KZFFileEntry& entry) {
    writer.text("<");
    writer.text(FILEENTRY_ELEMENT);
    writer.attribute(CONTENT_ATTRIBUTE, entry.getContent());
    if (const auto date = entry.getDate()) {
      const ustring text = CoreProperties::convertTimeToString(*date);
      if (!text.empty()) writer.attribute(DATE_ATTRIBUTE, text);
    }
    writer.attribute(NAME_ATTRIBUTE, entry.getName());
    if (const unsigned permission = entry.getPermission(); permission != 0) {
      const std::string digits = std::to_string(permission);
      writer.attribute(PERMISSIONS_ATTRIBUTE, ustring(digits.begin(), digits.end()));
    }
    writer.attribute(TYPE_ATTRIBUTE, filemanifest::entryTypeWord(entry.getType()));
    writer.text("/>");
    writer.flushIfFull();
  });
  writer.text("</");
  writer.text(FILEENTRIES_ELEMENT);
  writer.text(">");
  writer.finish();
}

void KZFExtractionSerializer::load(opc::InputStream& in, KZFExtractionManager& manager) const {
  ManifestContent content;
  try {
    impl_->reader->parse(in, content, true, kManifestDocumentName);
  } catch (const InvalidXMLDocument& e) {
    throw DeployedException(kzf::kzfpackage::KZFPACKAGE_INVALID_XML(e.what()));
  }

  if (content.encoding != localeEncodingName()) {
    fl::i18n::printmln(std::cout, kzf::kzfpackage::KZFPACKAGE_WARNING_LOCALE_DIFFERENT());
  }
  if (content.platform != platformTag()) {
    fl::i18n::printmln(std::cout, kzf::kzfpackage::KZFPACKAGE_WARNING_PLATFORM_DIFFERENT());
  }
  // The entries before one that cannot be converted are added, then its failure is raised:
  // as always, entries read before a failure stay in the manager.
  for (const KZFFileEntry& entry : content.entries) {
    manager.addEntry(entry.getName(), entry);
  }
  content.rethrowFailure();
}

}  // namespace Quorlith::kzfpackage
