// kzf: creates, lists, checks and extracts KZF packages from the command line.
#include <CLI/CLI.hpp>
#include <clocale>
#include <cstdio>
#include <fl/i18n/DeployedException.hpp>
#include <iostream>
#include <kzfpackage/Version.hpp>
#include <map>

#include "Commands.hpp"
#include "Messages.hpp"

namespace {

using namespace kzf::tool;

/// Sends what the library writes on std::cout (its warnings and its trace) to standard error
/// while it lives, so that standard output carries only the listings and JSON scripts read.
class LibraryOutputToStderr {
 public:
  LibraryOutputToStderr() : saved_(std::cout.rdbuf(std::cerr.rdbuf())) {}
  ~LibraryOutputToStderr() { std::cout.rdbuf(saved_); }
  LibraryOutputToStderr(const LibraryOutputToStderr&) = delete;
  LibraryOutputToStderr& operator=(const LibraryOutputToStderr&) = delete;

  /// The real standard output.
  std::streambuf* standardOutput() const { return saved_; }

 private:
  std::streambuf* saved_;
};

/// The command line of kzf and where its values land.
struct CommandLine {
  CLI::App app{tr("Creates, lists, checks and extracts KZF packages."), "kzf"};
  CLI::App* create = nullptr;
  CLI::App* extract = nullptr;
  CLI::App* list = nullptr;
  CLI::App* settings = nullptr;
  CLI::App* verify = nullptr;

  CreateOptions createOptions;
  std::string package;
  std::string directory;
  ExtractOptions extractOptions;
  ListOptions listOptions;
  bool asJson = false;

  CommandLine() {
    // The help's own words go through the catalog too; the commands inherit them.
    const std::shared_ptr<CLI::FormatterBase> formatter = app.get_formatter();
    formatter->label("Usage", tr("Usage"));
    formatter->label("OPTIONS", tr("OPTIONS"));
    formatter->label("SUBCOMMAND", tr("SUBCOMMAND"));
    formatter->label("SUBCOMMANDS", tr("SUBCOMMANDS"));
    formatter->label("Positionals", tr("Positionals"));
    formatter->label("REQUIRED", tr("REQUIRED"));
    formatter->label("Excludes", tr("Excludes"));
    formatter->label("Needs", tr("Needs"));
    formatter->label("Env", tr("Env"));
    app.option_defaults()->group(tr("Options"));
    app.set_help_flag("-h,--help", tr("Print this help and exit."));
    app.set_version_flag("--version",
                         std::string("kzf ") + KZF_TOOL_VERSION + " (libqlkzfpackage " +
                             libqlkzfpackage_version + ")",
                         tr("Print the versions of the tool and of the library and exit."));
    app.require_subcommand(1);

    create = app.add_subcommand("create", tr("Write a package of files, folders and links."));
    create->add_option("PACKAGE", createOptions.package, tr("The package file to write."))
        ->required();
    create->add_option("SOURCE", createOptions.sources.sources,
                       tr("Folders (their contents are stored) and files or links."));
    create
        ->add_option("--prefix", createOptions.sources.prefix,
                     tr("Store the sources below this package folder."))
        ->type_name("DEST");
    create
        ->add_option("--list", createOptions.sources.listFile,
                     tr("Also store the \"source<TAB>destination\" lines of this file."))
        ->type_name("FILE");
    create
        ->add_option("--settings", createOptions.settingsFile,
                     tr("Store the settings of this JSON file."))
        ->type_name("FILE.json");
    create->add_option("--title", createOptions.title, tr("Title of the package."))->type_name("T");
    create->add_option("--creator", createOptions.creator, tr("Creator of the package."))
        ->type_name("C");
    create
        ->add_option("--description", createOptions.description, tr("Description of the package."))
        ->type_name("D");
    create->add_flag("--force", createOptions.force, tr("Replace an existing package."));
    create->add_flag("--skip-dangling-links", createOptions.sources.skipDanglingLinks,
                     tr("Leave out symbolic links whose target does not exist."));
    create->add_flag("--quiet", createOptions.quiet, tr("Show no progress line."));
    create
        ->add_option("--exclude", createOptions.sources.excludes,
                     tr("Leave out what matches: a name (\"*.o\") or a path below a source "
                        "folder (\"build/tmp\"). Repeatable."))
        ->type_name("GLOB")
        ->allow_extra_args(false);
    create->add_flag("--skip-special", createOptions.sources.skipSpecial,
                     tr("Leave out FIFOs, sockets and devices (with a warning)."));
    create->add_flag("--no-outside", createOptions.noOutside,
                     tr("Refuse symbolic links that lead outside the tree (by default their "
                        "targets are stored too, a folder with its contents)."));
    create
        ->add_option("--outside-limit", createOptions.outsideEntries,
                     tr("Most entries links may bring in from outside the tree (default 10000)."))
        ->type_name("N");
    create
        ->add_option("--outside-size-limit", createOptions.outsideBytes,
                     tr("Most bytes links may bring in from outside the tree, e.g. 500M "
                        "(default 1G)."))
        ->type_name("SIZE")
        ->transform(CLI::AsSizeValue(false).description(""));
    create->add_flag_callback(
        "--no-outside-limit",
        [this] { createOptions.outsideEntries = createOptions.outsideBytes = 0; },
        tr("No bound on what links bring in from outside the tree."));
    for (int level = 0; level <= 9; ++level) {
      create->add_flag_callback(
          "-" + std::to_string(level), [this, level] { createOptions.level = level; },
          level == 0   ? tr("Store without compressing.")
          : level == 9 ? tr("Compress best (slowest).")
                       : tr("Compression level (-1 fastest ... -9 best)."));
    }

    extract = app.add_subcommand("extract", tr("Extract a package into a folder."));
    extract->add_option("PACKAGE", package, tr("The package file."))->required();
    extract->add_option("DIR", directory, tr("The folder to extract into."))->required();
    extract->add_option("NAME", extractOptions.names,
                        tr("Extract only these entries or folders (and what their links need)."));
    extract->add_flag("--overwrite", extractOptions.overwrite,
                      tr("Replace files and links of the package that are in DIR already."));
    extract->add_flag("--quiet", extractOptions.quiet, tr("Show no progress line."));

    list = app.add_subcommand("list", tr("List the entries of a package."));
    list->add_option("PACKAGE", package, tr("The package file."))->required();
    list->add_flag("-l", listOptions.details,
                   tr("Show kind, mode, size, compressed size, ratio, date and link targets."));
    list->add_flag("--all", listOptions.all, tr("Show the manifests under /.META/ too."));
    list->add_flag("--json", listOptions.asJson, tr("Print JSON (every entry)."));

    settings = app.add_subcommand("settings", tr("Print the settings of a package."));
    settings
        ->add_option("PACKAGE", package, tr("The package file, or a folder it was extracted to."))
        ->required()
        ->type_name("PACKAGE|DIR");
    settings->add_flag("--json", asJson, tr("Print JSON."));

    verify = app.add_subcommand("verify", tr("Check a package's parts and manifests."));
    verify->add_option("PACKAGE", package, tr("The package file."))->required();

    // The type words the help shows beside a value (TEXT, INT, ...) in the user's language.
    const std::map<std::string, std::string> typeWords = {
        {"CHAR", tr("CHAR")},   {"INT", tr("INT")},        {"UINT", tr("UINT")},
        {"FLOAT", tr("FLOAT")}, {"ENUM", tr("ENUM")},      {"BOOLEAN", tr("BOOLEAN")},
        {"TEXT", tr("TEXT")},   {"COMPLEX", tr("COMPLEX")}};
    for (CLI::App* command : {&app, create, extract, list, settings, verify}) {
      // A command's own help flag was made before the group's name was set.
      if (CLI::Option* help = command->get_help_ptr()) help->group(tr("Options"));
      for (CLI::Option* option : command->get_options()) {
        const auto word = typeWords.find(option->get_type_name());
        if (word != typeWords.end()) option->type_name(word->second);
      }
    }
  }

  /// The usage line of the command that was named, or of kzf itself.
  std::string usage() const {
    const auto formatter = std::dynamic_pointer_cast<CLI::Formatter>(app.get_formatter());
    for (const CLI::App* command : {create, extract, list, settings, verify}) {
      if (command->parsed()) {
        return formatter->make_usage(command, "kzf " + command->get_name());
      }
    }
    return formatter->make_usage(&app, "kzf");
  }

  int run(std::ostream& out) {
    if (*create) {
      if (createOptions.sources.sources.empty() && createOptions.sources.listFile.empty()) {
        throw UsageError(tr("create: name a SOURCE or a --list FILE"));
      }
      createOptions.sources.package = createOptions.package;
      return runCreate(createOptions);
    }
    if (*extract) return runExtract(package, directory, extractOptions);
    if (*list) return runList(package, listOptions, out);
    if (*settings) return runSettings(package, asJson, out);
    return runVerify(package, out);
  }
};

/// The command-line parser's complaint in the user's language: the usual ones are recognised
/// by their English form and said again through the catalog; others stay as they are.
std::string parseErrorText(const CLI::ParseError& e) {
  const std::string text = e.what();
  const std::size_t colon = text.find(": ");
  const auto endsWith = [&](const std::string& tail) {
    return text.size() >= tail.size() &&
           text.compare(text.size() - tail.size(), tail.size(), tail) == 0;
  };
  if (dynamic_cast<const CLI::RequiredError*>(&e) != nullptr) {
    if (text.find("subcommand") != std::string::npos) return tr("name a command");
    if (endsWith(" is required")) return tr("{0} is missing", {text.substr(0, text.size() - 12)});
  }
  if (dynamic_cast<const CLI::ExtrasError*>(&e) != nullptr && colon != std::string::npos) {
    return tr("unexpected argument: {0}", {text.substr(colon + 2)});
  }
  if (dynamic_cast<const CLI::ArgumentMismatch*>(&e) != nullptr && colon != std::string::npos) {
    return tr("{0}: a value is missing", {text.substr(0, colon)});
  }
  return text;
}

int fail(const std::string& message, const std::string& identifier) {
  // One failure, one line: a control character (a newline in a file name) is shown escaped.
  std::string line;
  for (const char c : message) {
    const auto byte = static_cast<unsigned char>(c);
    if (byte < 0x20 || byte == 0x7f) {
      char escaped[8];
      std::snprintf(escaped, sizeof escaped, "\\x%02X", byte);
      line += escaped;
    } else {
      line += c;
    }
  }
  std::cerr << "kzf: " << line << " [" << identifier << "]\n";
  return kFailure;
}

int run(int argc, char** argv, std::ostream& out) {
  CommandLine line;
  try {
    line.app.parse(argc, argv);
    return line.run(out);
  } catch (const CLI::ParseError& e) {
    if (e.get_exit_code() == 0) return line.app.exit(e, out, std::cerr);  // --help, --version
    std::cerr << "kzf: " << parseErrorText(e) << '\n' << line.usage();
    return kUsage;
  } catch (const UsageError& e) {
    std::cerr << "kzf: " << e.what() << '\n' << line.usage();
    return kUsage;
  } catch (const fl::i18n::DeployedException& e) {
    return fail(e.what(), e.identifier());
  } catch (const ToolError& e) {
    return fail(e.what(), e.identifier());
  } catch (const std::exception& e) {
    return fail(e.what(), "KZF_SYSTEM_ERROR");
  }
}

}  // namespace

int main(int argc, char** argv) {
  std::setlocale(LC_ALL, "");
  initMessages();
  const LibraryOutputToStderr redirect;
  std::ostream out(redirect.standardOutput());
  int status = kFailure;
  try {
    status = run(argc, argv, out);
  } catch (...) {
    // Whatever escapes (an error while printing an error) still ends as one line, never abort.
    std::cerr << "kzf: unexpected failure [KZF_SYSTEM_ERROR]\n";
  }
  out.flush();
  return status;
}
