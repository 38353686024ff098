#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "shared/Share.h"

namespace zuvia::zupack {

// A package that lies in a site.
struct SitePackage {
  std::string name;  // of the file; ASCII
  std::string ver;   // as in its entry
  std::string pmd5;
  std::string dmd5;

  // Where it lies below the site, and below the site's address. The digest in it makes that its own for ever.
  std::string place() const { return "packages/" + pmd5 + '/' + name; }

  bool operator==(const SitePackage&) const = default;
};

// What a site is made from.
struct SiteSettings {
  std::optional<SitePackage> offered;  // to the users in the share
  std::optional<SitePackage> others;   // to everybody else; nothing: they are offered nothing
  tools::Share share;
  std::string server;       // the name that hosts connect to
  std::string listen;       // what nginx listens on: "443", "127.0.0.1:8443"
  std::string root;         // where the site lies on the server: absolute, parts joined by "/"
  std::string certificate;  // likewise
  std::string key;
  std::string url;  // the site's address; "": that of the server
};

// The settings on one line of ASCII, and back. The latter throws tools::Failure, which names no file.
std::string settingsText(const SiteSettings& settings);
SiteSettings parseSettings(const std::string& text);

// Each checks an option of the command line and throws tools::Failure, which names it.
void checkServerName(const std::string& name);
void checkListen(const std::string& listen);
void checkServerPath(const std::string& option, const std::string& path);

// The address below which hosts find the packages.
std::string siteUrl(const SiteSettings& settings);

}  // namespace zuvia::zupack
