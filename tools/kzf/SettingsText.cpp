// The readable form of a package's settings: labels on the left, values aligned on the right.
#include "SettingsText.hpp"

#include <boost/date_time/gregorian/gregorian.hpp>
#include <string>
#include <vector>

#include "Messages.hpp"

namespace kzf::tool {

using fl::i18n::to_string;
using Quorlith::kzfpackage::KZFSettings;
using Quorlith::kzfpackage::ustring;
using Quorlith::kzfpackage::VelmorFunction;

namespace {

/// Prints "label:" padded to one column, then the first value; further values sit below it.
class Columns {
 public:
  explicit Columns(std::ostream& out) : out_(out) {}

  void line(const std::string& label, const std::vector<std::string>& values) {
    const std::string head = label + ':';
    // Wide enough for the English and German labels; a longer translation still gets a space.
    const std::size_t width = 26;
    const std::string pad(head.size() < width ? width - head.size() : 1, ' ');
    if (values.empty()) {
      out_ << head << '\n';
      return;
    }
    out_ << head << pad << values.front() << '\n';
    for (std::size_t i = 1; i < values.size(); ++i) {
      out_ << std::string(head.size() + pad.size(), ' ') << values[i] << '\n';
    }
  }
  void line(const std::string& label, const std::string& value) {
    line(label, value.empty() ? std::vector<std::string>{} : std::vector<std::string>{value});
  }

 private:
  std::ostream& out_;
};

std::vector<std::string> texts(const std::vector<ustring>& list) {
  std::vector<std::string> out;
  for (const ustring& text : list) out.push_back(to_string(text));
  return out;
}

std::string joined(const std::vector<ustring>& names) {
  std::string out;
  for (const ustring& name : names) out += (out.empty() ? "" : ", ") + to_string(name);
  return out;
}

/// "name(in1, in2) -> [out1]", the way the function is called.
std::string signature(const VelmorFunction& function) {
  return to_string(function.name) + "(" + joined(function.inputs) + ") -> [" +
         joined(function.outputs) + "]";
}

std::string yesNo(bool value) { return value ? tr("yes") : tr("no"); }

}  // namespace

void printSettings(const KZFSettings& s, std::ostream& out) {
  Columns columns(out);
  columns.line(tr("Component"), to_string(s.componentName));
  columns.line(tr("UUID"), to_string(s.uuid));
  columns.line(tr("Runtime version"), to_string(s.vrtMajorVersion) + "." +
                                          to_string(s.vrtMinorVersion) + "." +
                                          to_string(s.vrtReleaseVersion));
  columns.line(tr("Needs Java"), yesNo(s.needJava));
  columns.line(tr("Own runtime process"), yesNo(s.needExclusiveVrtProcess));
  columns.line(tr("Main function"),
               s.mainFunction.name.empty() ? tr("(none)") : signature(s.mainFunction));
  std::vector<std::string> functions;
  for (const VelmorFunction& function : s.publicFunctions) functions.push_back(signature(function));
  columns.line(tr("Public functions"), functions);
  columns.line(tr("Expires"),
               s.expires ? boost::gregorian::to_iso_extended_string(*s.expires) : tr("never"));
  columns.line(tr("Search path"), texts(s.velmorPath));
  columns.line(tr("Java class path"), texts(s.javaClassPath));
  columns.line(tr("Library path"), texts(s.libraryPath));
  columns.line(tr("Application options"), texts(s.applicationOptions));
  columns.line(tr("Runtime options"), texts(s.runtimeOptions));
  columns.line(tr("Warning state"), texts(s.warningState));
  columns.line(tr("Preferences folder"), to_string(s.prefdir));
  columns.line(tr("Start message"), to_string(s.initStartMessage));
  columns.line(tr("Ready message"), to_string(s.initCompleteMessage));
  columns.line(tr("Session key"), trPlural("{0} byte", "{0} bytes", s.sessionKey.size(),
                                           {std::to_string(s.sessionKey.size())}));
  columns.line(tr("Public key"), trPlural("{0} byte", "{0} bytes", s.publicKey.size(),
                                          {std::to_string(s.publicKey.size())}));
}

}  // namespace kzf::tool
