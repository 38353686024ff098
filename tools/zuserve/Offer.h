#pragma once

#include <optional>
#include <string>
#include <vector>

#include "common/UpdateEntry.h"
#include "zuserve/Site.h"

namespace zuvia::zuserve {

// What a site offers at this moment.
struct Offer {
  std::optional<UpdateEntry> entry;  // the newest, by the version order
  std::vector<UpdateEntry> others;   // that are usable, newest first
  std::vector<std::string> skipped;  // "NAME: reason" for every *.json that is no usable entry, by name
};

// Looks through the files *.json of the site's own directory. An entry is usable when none of its four members is empty
// and its version is one that hosts accept. Of entries with the same version the last one by name counts. Links are
// passed over. Any thread. A directory that cannot be read offers nothing.
Offer readOffer(const Site& site);

}  // namespace zuvia::zuserve
