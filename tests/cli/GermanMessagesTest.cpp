// With LANGUAGE=de under a German locale, the library's messages and the tool's are German.
#include <gtest/gtest.h>

#include <clocale>

#include "CliTestSupport.hpp"

namespace kzftest {
namespace {

using GermanMessagesTest = KzfCliTest;

TEST_F(GermanMessagesTest, LibraryAndToolMessagesAndHelpAreGerman) {
  if (std::setlocale(LC_ALL, "de_DE.UTF-8") == nullptr) {
    GTEST_SKIP() << "the locale de_DE.UTF-8 is not installed (scripts/setup generates it)";
  }
  std::setlocale(LC_ALL, "C");
  const auto kzfGerman = [this](const std::vector<std::string>& arguments) {
    return kzf(arguments, {{"LC_ALL", std::nullopt},
                           {"LANG", "de_DE.UTF-8"},
                           {"LANGUAGE", "de"},
                           {"KZF_LOCALEDIR", KZF_BUILD_LOCALEDIR}});
  };
  EXPECT_EQ("kzf: Die Paketdatei " + (tmp / "fehlt.kzf").string() +
                " wurde nicht gefunden. [KZFPACKAGE_CANNOT_FIND_KZF_ARCHIVE]\n",
            kzfGerman({"list", "fehlt.kzf"}).err);
  EXPECT_EQ("kzf: weg: keine solche Datei und kein solcher Ordner [KZF_SOURCE_NOT_FOUND]\n",
            kzfGerman({"create", "a.kzf", "weg"}).err);
  const KzfRun help = kzfGerman({"list", "--help"});
  EXPECT_EQ(0, help.status) << describe(help);
  for (const char* text : {"Aufruf: kzf list [OPTIONEN] PACKAGE",
                           "Argumente:", "Optionen:", "Diese Hilfe ausgeben und beenden."}) {
    EXPECT_NE(std::string::npos, help.out.find(text)) << text << " in\n" << help.out;
  }
  EXPECT_EQ("kzf: unerwartetes Argument: b\nAufruf: kzf list [OPTIONEN] PACKAGE\n",
            kzfGerman({"list", "a", "b"}).err);
}

}  // namespace
}  // namespace kzftest
