#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "shared/CommandLine.h"
#include "shared/Output.h"
#include "shared/Utf8.h"
#include "zupack/Pack.h"
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
};

void say(const std::string& text) {
  tools::writeLine(tools::Stream::Output, tools::printable(text));
}

void runPack(const Arguments& arguments) {
  const PackResult result =
      pack({tools::toPath(arguments.module), arguments.additions, arguments.url, tools::toPath(arguments.out)});
  say("package " + tools::pathText(result.package));
  say("entry   " + tools::pathText(result.entryFile));
}

void runVerify(const Arguments& arguments) {
  const auto fault = verifyFiles(tools::toPath(arguments.package), tools::toPath(arguments.entry),
                                 [](const std::string& name) { say("ok " + name); });
  if (fault) throw tools::Failure("check failed: " + *fault, tools::kCheckFailed);
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
  command
      ->add_option("--url", arguments.url, "Where hosts will find the package, without its name; begins with https://")
      ->type_name("BASE")
      ->required();
  command->add_option("--out", arguments.out, "The directory for both files; made when missing")
      ->type_name("DIR")
      ->required();
  command->callback([&arguments] { runPack(arguments); });
}

void addVerify(CLI::App& app, Arguments& arguments) {
  CLI::App* command =
      app.add_subcommand("verify", "Makes every check that a host would make, and names the first that fails");
  command->add_option("PACKAGE", arguments.package, "The package")->type_name("")->required();
  command->add_option("--entry", arguments.entry, "Its update entry")->type_name("FILE")->required();
  command->callback([&arguments] { runVerify(arguments); });
}

int run() {
  Arguments arguments;
  CLI::App app("Makes and verifies update packages.", "zupack");
  app.set_version_flag("--version", "zupack " ZUVIA_VERSION);
  app.require_subcommand(1);
  addPack(app, arguments);
  addVerify(app, arguments);
  return tools::runTool(app, tools::commandLineArguments());
}

}  // namespace
}  // namespace zuvia::zupack

int main() {
  return zuvia::zupack::run();
}
