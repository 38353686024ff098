#include <algorithm>
#include <cwchar>
#include <filesystem>
#include <string>

#include <CLI/CLI.hpp>

#include "platform/Windows.h"
#include "shared/CommandLine.h"
#include "shared/Output.h"
#include "shared/SystemError.h"
#include "shared/Utf8.h"
#include "tls/DevCa.h"
#include "zuserve/Access.h"
#include "zuserve/Authority.h"
#include "zuserve/ConsoleStop.h"
#include "zuserve/Offer.h"
#include "zuserve/Service.h"
#include "zuserve/Settings.h"

namespace zuvia::zuserve {
namespace {

using tools::Failure;
using tools::parsedOption;

struct Options {
  std::string site;
  int port = 18443;
  std::string authority;
  std::string address = kLoopbackAddress;
  std::string share = "100";
  std::string hostVersion;
  bool isPaused = false;
  std::string fault;
};

void say(const std::string& text) {
  tools::writeLine(tools::Stream::Output, "zuserve: " + tools::printable(text));
}

std::filesystem::path authorityDirectory(const Options& options) {
  return options.authority.empty() ? defaultAuthorityDirectory()
                                   : std::filesystem::absolute(tools::toPath(options.authority));
}

bool isSameName(const std::filesystem::path& left, const std::filesystem::path& right) {
  return _wcsicmp(left.c_str(), right.c_str()) == 0;
}

// The private key must not be among the files that are served.
void keepApart(const Site& site, const std::filesystem::path& authority) {
  const std::filesystem::path inner = std::filesystem::weakly_canonical(authority);
  const std::filesystem::path outer = std::filesystem::weakly_canonical(site.directory());
  if (std::ranges::mismatch(outer, inner, isSameName).in1 == outer.end()) {
    throw Failure("the authority's directory " + tools::pathText(authority) +
                  " lies in the site; choose another with --ca");
  }
}

Settings settingsOf(const Options& options) {
  return {parsedOption("--share", options.share, tools::Share::parse),
          parsedOption("--host-version", options.hostVersion, HostVersionRule::parse), options.isPaused,
          parsedOption("--fault", options.fault, Fault::parse)};
}

void sayOffer(const Site& site) {
  const Offer offer = readOffer(site);
  say(offer.entry ? "offers " + offer.entry->ver + " at " + offer.entry->url : "offers nothing yet");
  for (const std::string& skipped : offer.skipped) say("skips " + skipped);
}

void saySettings(const Settings& settings) {
  if (settings.isPaused) say("paused: offers nothing to anybody");
  if (!settings.share.isEverybody()) say("offers it to " + settings.share.text() + " % of the users");
  const std::string rule = settings.hostVersion.text();
  if (!rule.empty()) say("offers it to host versions " + rule);
  if (settings.fault.kind != Fault::Kind::None) say("fault on purpose: " + settings.fault.text());
}

bool isAnyAddress(const Options& options) {
  return options.address == "0.0.0.0";
}

std::string urlOf(const Options& options, int port) {
  const bool isLocal = options.address == kLoopbackAddress || isAnyAddress(options);
  return "https://" + (isLocal ? "localhost" : options.address) + ":" + std::to_string(port) + "/";
}

void sayBinding(const Options& options) {
  if (options.address.starts_with("127.")) return;
  say("listens on " + options.address + ": other machines can fetch and read everything; settings change from " +
      (isAnyAddress(options) ? "this machine only" : "127.0.0.1 only, where it does not listen"));
}

void serve(const Options& options) {
  if (!isAddress(options.address)) {
    throw Failure("--bind: not an IPv4 address: " + tools::quoted(options.address) +
                  "; 0.0.0.0 for all of this machine");
  }
  const Settings settings = settingsOf(options);
  const Site site(tools::toPath(options.site));
  const std::filesystem::path directory = authorityDirectory(options);
  keepApart(site, directory);
  const tls::DevCa authority = openAuthority(directory);
  Service service(
      site, issueLocalCertificate(authority),
      [](const std::string& line) { tools::writeLine(tools::Stream::Output, line); }, settings);
  const int port = service.bind(options.port, options.address);
  say(urlOf(options, port) + " serves " + tools::pathText(site.directory()));
  if (!tls::isInUserRoots(authority.root().certificatePem)) say("not trusted yet: run zuserve trust");
  sayOffer(site);
  saySettings(settings);
  sayBinding(options);
  const ConsoleStop consoleStop([&service] { service.stop(); });
  service.run();
  say("stopped");
}

void trust(const Options& options) {
  const std::filesystem::path directory = authorityDirectory(options);
  const tls::DevCa authority = openAuthority(directory);
  if (!tls::addToUserRoots(authority.root().certificatePem)) {
    throw Failure("not trusted: " + tools::systemErrorText(GetLastError()));
  }
  say("trusted: " + tools::pathText(directory));
}

void untrust(const Options& options) {
  const std::filesystem::path directory = authorityDirectory(options);
  if (hasAuthority(directory)) {
    const tls::DevCa authority = openAuthority(directory);
    if (!tls::removeFromUserRoots(authority.root().certificatePem)) {
      throw Failure("still trusted: " + tools::systemErrorText(GetLastError()));
    }
  }
  say("not trusted: " + tools::pathText(directory));
}

void addSettings(CLI::App& app, Options& options) {
  app.add_option("--share", options.share, "The share of the users, in percent, that is offered the newest entry")
      ->type_name("PERCENT")
      ->capture_default_str();
  app.add_option("--host-version", options.hostVersion, "Offers it to host versions that fit only, as in \">=7.1, <8\"")
      ->type_name("RULE");
  app.add_flag("--pause", options.isPaused, "Offers nothing to anybody");
  app.add_option(
         "--fault", options.fault,
         "What goes wrong with files: stall:BYTES, cut[:BYTES], status:CODE, slow:BYTES, badmd5; with config: in "
         "front, with answers to configuration requests")
      ->type_name("FAULT");
}

int run() {
  Options options;
  CLI::App app("Serves a directory of update packages over HTTPS on this machine, and answers configuration requests.",
               "zuserve");
  app.set_version_flag("--version", "zuserve " ZUVIA_VERSION);
  app.add_option("--site", options.site, "The directory to serve")->type_name("DIR");
  app.add_option("--port", options.port, "The port; 0 takes one that is free")
      ->type_name("PORT")
      ->check(CLI::Range(0, 65535))
      ->capture_default_str();
  app.add_option("--bind", options.address, "The IPv4 address to listen on; 0.0.0.0 for all of this machine")
      ->type_name("ADDRESS")
      ->capture_default_str();
  app.add_option("--ca", options.authority,
                 "Where the development certificate authority is kept (default: zuvia\\dev-ca in the local "
                 "application data)")
      ->type_name("DIR");
  addSettings(app, options);
  app.require_subcommand(0, 1);
  app.fallthrough();
  app.add_subcommand("trust", "Puts the authority among the current user's trusted roots")->callback([&] {
    trust(options);
  });
  app.add_subcommand("untrust", "Takes it out again")->callback([&] { untrust(options); });
  app.callback([&] {
    if (!app.get_subcommands().empty()) return;
    if (options.site.empty()) throw Failure("--site is required; see --help");
    serve(options);
  });
  return tools::runTool(app, tools::commandLineArguments());
}

}  // namespace
}  // namespace zuvia::zuserve

int main() {
  return zuvia::zuserve::run();
}
