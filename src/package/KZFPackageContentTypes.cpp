// Part names and content types of stored files, and the native-extension table.
#include <kzfpackage/KZFPackage.hpp>

#include <kzfpackage/Verbose.hpp>
#include <opc/String.hpp>
#include <opc/model/URI.hpp>

#include <array>

namespace Quorlith::kzfpackage {

namespace {

constexpr std::size_t kNativeExtensionCount = 5;
const std::array<const char*, kNativeExtensionCount> kArch = {"glnx86", "glnxa64", "maci64", "win32",
                                                              "win64"};
const std::array<const char*, kNativeExtensionCount> kVxfExt = {".vxfglx", ".vxfa64", ".vxfmaci64",
                                                                ".vxfw32", ".vxfw64"};

/// Offset where the last component of a "/"-separated path begins.
std::size_t lastComponentStart(const ustring& path) {
  std::size_t slash = path.rfind(u'/');
  return slash == ustring::npos ? 0 : slash + 1;
}

/// The last component from its last "." inclusive; empty when that component has no ".".
ustring extensionOf(const ustring& path) {
  std::size_t start = lastComponentStart(path);
  std::size_t dot = path.rfind(u'.');
  if (dot == ustring::npos || dot < start) return {};
  return path.substr(dot);
}

}  // namespace

std::map<ustring, ustring> createVxfFileExtensionMap() {
  std::map<ustring, ustring> table;
  for (std::size_t i = 0; i < kNativeExtensionCount; ++i) table[opc::toStringFromASCIIStringLiteral(kVxfExt[i])] = opc::toStringFromASCIIStringLiteral(kArch[i]);
  return table;
}

bool isVxfFile(const ustring& path, ustring& platform) {
  static const std::map<ustring, ustring> table = createVxfFileExtensionMap();
  ustring extension = extensionOf(path);
  if (extension == u".vxfmaci64") {
    platform = u"maci64";
    return true;
  }
  auto found = table.find(extension);
  if (found == table.end()) return false;
  platform = found->second;
  return true;
}

ustring KZFPackage::getEncodedURIString(const ustring& name) {
  ustring result = opc::model::URI::encodeComponent(name, "/");
  const char16_t slash = opc::model::URI::getSlash();
  if (result.empty() || result.front() != slash) result.insert(result.begin(), slash);
  // The encoded text is plain ASCII, so narrowing it cannot fail.
  if (verbose.enabled) {
    verbose << "getEncodedURIString result=" << std::string(result.begin(), result.end())
            << std::endl;
  }
  return result;
}

ustring KZFPackage::mapFilenameToContentTypeString(const ustring& name) {
  // The last component never contains "/", so this first rule never fires for a real name: the
  // configuration manifest gets its content type where close writes it, not here. The rule is
  // kept so that the mapping stays exactly as packages have always been written.
  if (name.compare(lastComponentStart(name), ustring::npos, u"/.META/manifest.xml") == 0) {
    return opc::toStringFromASCIIStringLiteral(CONFIGURATIONMANIFEST_CONTENTTYPE);
  }
  ustring extension = extensionOf(name);
  if (extension == u".m" || extension == u".p") {
    return opc::toStringFromASCIIStringLiteral(readerFactory.willBeTransformed(name) ? VELLMORENCRYPTEDCODE_CONTENTTYPE
                                                       : VELLMORCODE_CONTENTTYPE);
  }
  ustring platform;
  if (isVxfFile(name, platform)) {
    return opc::toStringFromASCIIStringLiteral(VELLMOREXECUTABLE_CONTENTTYPE) + u";platform=" + platform;
  }
  return opc::toStringFromASCIIStringLiteral(OTHERFILES_CONTENTTYPE);
}

bool KZFPackage::isWindowsExecutable(const ustring& path) {
  static const std::array<const char16_t*, 5> kExecutable = {u".com", u".exe", u".bat", u".cmd",
                                                              u".btm"};
  ustring extension = extensionOf(path);
  for (const char16_t* candidate : kExecutable) {
    if (extension == candidate) return true;
  }
  return false;
}

}  // namespace Quorlith::kzfpackage
