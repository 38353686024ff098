#pragma once

#include <filesystem>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "zupack/SiteSettings.h"

namespace zuvia::zupack {

inline constexpr const char* kSiteConfiguration = "nginx.conf";

// What a run of `site` was told; what it was not told stays as it was at the run before.
struct SiteOptions {
  std::filesystem::path directory;                    // made when missing
  std::optional<std::filesystem::path> package = {};  // rolled out from now on; a share belongs to it
  std::optional<std::filesystem::path> others = {};   // what everybody else is offered; "none" for nothing
  std::optional<std::string> share = {};
  std::optional<std::string> server = {};
  std::optional<std::string> listen = {};
  std::optional<std::string> root = {};
  std::optional<std::string> certificate = {};
  std::optional<std::string> key = {};
  std::optional<std::string> url = {};
  std::set<std::string> hostLibraries = {};  // as for pack()
  bool force = false;                        // publishes what no host could load as well
  bool prune = false;                        // removes what is not offered any more
};

struct SiteResult {
  SiteSettings settings;
  std::vector<std::string> overridden;  // what spoke against a package that was forced, one line each
};

// Lays out a static site: packages/<digest>/<name>, answers/<name>.json and nginx.conf. Packages and answers are only
// ever added, under names of their own; the configuration, which names them, is replaced in one step and comes last. A
// failure before that leaves the directory as it was, except that a damaged package or answer may be whole again. What
// lies there already, intact, is not written again.
//
// A package that was offered to everybody is what the others go on being offered when the next one comes, unless the
// options say otherwise.
//
// Throws tools::Failure when an option is missing or wrong, a package would be refused by hosts or could not be loaded
// by any (unless forced), the others' package is not older, a package of the run before is gone, or something cannot be
// written.
SiteResult makeSite(const SiteOptions& options);

}  // namespace zuvia::zupack
