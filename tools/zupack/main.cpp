#include <optional>
#include <set>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "shared/CommandLine.h"
#include "shared/EntryText.h"
#include "shared/Output.h"
#include "shared/ProgressBar.h"
#include "shared/Utf8.h"
#include "zupack/Inspect.h"
#include "zupack/Pack.h"
#include "zupack/Site.h"
#include "zupack/UnpackedPackage.h"
#include "zupack/Verify.h"

namespace zuvia::zupack {
namespace {

struct Arguments {
  std::string module;
  std::vector<std::string> additions;
  std::string url;
  std::string out;
  std::string package;
  std::string entry;
  std::vector<std::string> hostLibraries;
  bool force = false;
  std::string version;
  std::string site;
  std::optional<std::string> published;
  std::optional<std::string> others;
  std::optional<std::string> share;
  std::optional<std::string> server;
  std::optional<std::string> listen;
  std::optional<std::string> root;
  std::optional<std::string> certificate;
  std::optional<std::string> key;
  std::optional<std::string> siteUrl;
  bool prune = false;
};

void say(const std::string& text) {
  tools::writeLine(tools::Stream::Output, tools::printable(text));
}

void warn(const std::vector<std::string>& overridden) {
  for (const std::string& fault : overridden) {
    tools::writeLine(tools::Stream::Error, tools::printable("zupack: forced, although " + fault));
  }
}

std::set<std::string> hostLibraries(const Arguments& arguments) {
  std::set<std::string> names;
  for (const std::string& name : arguments.hostLibraries) names.insert(lowerCase(name));
  return names;
}

// ---- What the commands do

void runPack(const Arguments& arguments) {
  PackResult result;
  {
    tools::ProgressBar bar("packing");
    result = pack({.module = tools::toPath(arguments.module),
                   .additions = arguments.additions,
                   .baseUrl = arguments.url,
                   .directory = tools::toPath(arguments.out),
                   .hostLibraries = hostLibraries(arguments),
                   .force = arguments.force,
                   .version = arguments.version,
                   .progress = [&bar](auto done, auto total) { bar.show(done, total); }});
  }
  warn(result.overridden);
  say("package " + tools::pathText(result.package));
  say("entry   " + tools::pathText(result.entryFile));
}

void runVerify(const Arguments& arguments) {
  const auto fault = verifyFiles(tools::toPath(arguments.package), tools::toPath(arguments.entry),
                                 [](const std::string& name) { say("ok " + name); });
  if (fault) throw tools::Failure("check failed: " + *fault, tools::kCheckFailed);
}

void runInspect(const Arguments& arguments) {
  const std::vector<std::string> faults = inspect(tools::toPath(arguments.package), hostLibraries(arguments), say);
  if (faults.empty()) return;
  throw tools::Failure("no host could load it: " + faults.front(), tools::kCheckFailed);
}

void runEntry(const Arguments& arguments) {
  std::vector<std::string> overridden;
  const UpdateEntry entry =
      entryOf(tools::toPath(arguments.package), arguments.url, hostLibraries(arguments), arguments.force, overridden);
  warn(overridden);
  std::string text = tools::entryText(entry, tools::EntryLayout::Readable);
  text.pop_back();  // a line end of its own comes with the line
  tools::writeLine(tools::Stream::Output, text);
}

std::optional<std::filesystem::path> toOptionalPath(const std::optional<std::string>& text) {
  return text ? std::optional(tools::toPath(*text)) : std::nullopt;
}

void runSite(const Arguments& arguments) {
  const SiteResult result = makeSite({.directory = tools::toPath(arguments.site),
                                      .package = toOptionalPath(arguments.published),
                                      .others = toOptionalPath(arguments.others),
                                      .share = arguments.share,
                                      .server = arguments.server,
                                      .listen = arguments.listen,
                                      .root = arguments.root,
                                      .certificate = arguments.certificate,
                                      .key = arguments.key,
                                      .url = arguments.siteUrl,
                                      .hostLibraries = hostLibraries(arguments),
                                      .force = arguments.force,
                                      .prune = arguments.prune});
  const SiteSettings& settings = result.settings;
  warn(result.overridden);
  say("offered " + settings.offered->ver + " to " + settings.share.text() + " % of the users");
  say("others  " + (settings.others ? settings.others->ver : "nothing"));
  say("site    " + siteUrl(settings));
  say("next    bring the directory to " + settings.root + ", then: nginx -t && nginx -s reload");
}

// ---- What they take

void addHostLibraries(CLI::App& command, Arguments& arguments) {
  command
      .add_option("--host-library", arguments.hostLibraries,
                  "Libraries that the host brings beside hxbase.dll, hxutility.dll and the C++ run-time library")
      ->type_name("NAME.dll");
}

void addUrl(CLI::App& command, Arguments& arguments) {
  command
      .add_option("--url", arguments.url, "Where hosts will find the package, without its name; begins with https://")
      ->type_name("BASE")
      ->required();
}

void addPack(CLI::App& app, Arguments& arguments) {
  CLI::App* command =
      app.add_subcommand("pack", "Makes zuimpl-<version>.7z and its update entry zuimpl-<version>.json");
  command->add_option("--module", arguments.module, "The implementation module; its version resource gives the version")
      ->type_name("FILE")
      ->required();
  command
      ->add_option("--add", arguments.additions,
                   "Companion files, at the package's root or under NAME (sub/x.txt=FILE)")
      ->type_name("[NAME=]FILE");
  addUrl(*command, arguments);
  command->add_option("--out", arguments.out, "The directory for both files; made when missing")
      ->type_name("DIR")
      ->required();
  addHostLibraries(*command, arguments);
  command->add_flag("--force", arguments.force,
                    "Packs a module that no host could load, and says what is wrong with it");
  command->add_option("--as", arguments.version, "With --force, the version of a module that has no version resource")
      ->type_name("VERSION");
  command->callback([&arguments] { runPack(arguments); });
}

void addVerify(CLI::App& app, Arguments& arguments) {
  CLI::App* command =
      app.add_subcommand("verify", "Makes every check that a host would make, and names the first that fails");
  command->add_option("PACKAGE", arguments.package, "The package")->type_name("")->required();
  command->add_option("--entry", arguments.entry, "Its update entry")->type_name("FILE")->required();
  command->callback([&arguments] { runVerify(arguments); });
}

void addInspect(CLI::App& app, Arguments& arguments) {
  CLI::App* command =
      app.add_subcommand("inspect", "Shows what a package or a module is made of, and whether a host could load it");
  command->add_option("FILE", arguments.package, "The package, or a module with its companions beside it")
      ->type_name("")
      ->required();
  addHostLibraries(*command, arguments);
  command->callback([&arguments] { runInspect(arguments); });
}

void addEntry(CLI::App& app, Arguments& arguments) {
  CLI::App* command = app.add_subcommand("entry", "Prints the update entry of a package, and nothing else");
  command->add_option("PACKAGE", arguments.package, "The package")->type_name("")->required();
  addUrl(*command, arguments);
  addHostLibraries(*command, arguments);
  command->add_flag("--force", arguments.force, "Also for a module that no host could load");
  command->callback([&arguments] { runEntry(arguments); });
}

void addSitePackages(CLI::App& command, Arguments& arguments) {
  command.add_option("DIR", arguments.site, "The directory of the site; made when missing")->type_name("")->required();
  command.add_option("--package", arguments.published, "The package that is rolled out; needs --share")
      ->type_name("FILE");
  command
      .add_option("--share", arguments.share,
                  "The share of users that is offered it, 0 to 100, with up to two decimals")
      ->type_name("PERCENT");
  command
      .add_option("--others", arguments.others,
                  "The package for everybody else, \"none\" for nothing; at first nothing, later what was offered "
                  "to everybody before")
      ->type_name("FILE");
  command.add_flag("--prune", arguments.prune, "Removes packages and answers that are not offered any more");
  command.add_flag("--force", arguments.force, "Also publishes what no host could load");
  addHostLibraries(command, arguments);
}

void addSiteServer(CLI::App& command, Arguments& arguments) {
  command.add_option("--server", arguments.server, "The host name that hosts connect to")->type_name("NAME");
  command.add_option("--listen", arguments.listen, "What nginx listens on; 443 when it was never given")
      ->type_name("[ADDRESS:]PORT");
  command.add_option("--root", arguments.root, "Where the directory lies on the server")->type_name("PATH");
  command.add_option("--certificate", arguments.certificate, "The certificate chain (PEM) on the server")
      ->type_name("PATH");
  command.add_option("--key", arguments.key, "Its private key (PEM) on the server")->type_name("PATH");
  command
      .add_option("--url", arguments.siteUrl,
                  "The address of the site for packages, such as that of a content delivery network; that of the "
                  "server when it was never given")
      ->type_name("BASE");
}

void addSite(CLI::App& app, Arguments& arguments) {
  CLI::App* command = app.add_subcommand("site", "Lays out packages and answers as a static site for nginx");
  command->footer(
      "The first run needs --package, --share, --server, --root, --certificate and --key. Later runs remember what\n"
      "they are not told: zupack site DIR --share 50 changes the share and nothing else.");
  addSitePackages(*command, arguments);
  addSiteServer(*command, arguments);
  command->callback([&arguments] { runSite(arguments); });
}

int run() {
  Arguments arguments;
  CLI::App app("Makes, checks and publishes update packages.", "zupack");
  app.set_version_flag("--version", "zupack " ZUVIA_VERSION);
  app.require_subcommand(1);
  app.footer("zupack COMMAND --help explains a command.");
  addPack(app, arguments);
  addVerify(app, arguments);
  addInspect(app, arguments);
  addEntry(app, arguments);
  addSite(app, arguments);
  return tools::runTool(app, tools::commandLineArguments());
}

}  // namespace
}  // namespace zuvia::zupack

int main() {
  return zuvia::zupack::run();
}
