#pragma once

#include <string>

#include "zupack/SiteSettings.h"

namespace zuvia::zupack {

// The files that answer the two kinds of users, below the site's directory "answers".
struct SiteAnswers {
  std::string offered;
  std::string others;
};

// What nginx has to be told to serve a site: a part of its http block. The settings are in it as a comment, for
// settingsIn(). They have been checked; their server path, name and address are written as they are.
std::string nginxConfiguration(const SiteSettings& settings, const SiteAnswers& answers);

// The settings that a configuration was made from. Throws tools::Failure, naming no file, when it has none.
SiteSettings settingsIn(const std::string& configuration);

}  // namespace zuvia::zupack
