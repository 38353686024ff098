#pragma once

#include <iosfwd>
#include <string>
#include <string_view>
#include <vector>

#include "integration/PluginTest.h"
#include "support/InstallTree.h"
#include "support/WideText.h"

namespace zuvia::test {

// How the update of a host that others share the installation with ends.
enum class Ending {
  Open,              // in none of the ways below, so far
  Published,         // it published the version, and was told so
  FoundPublished,    // another had, while it waited for the version's lock; it was told all the same
  Installed,         // another had, before it decided
  NotNewer,          // it runs that version, or a higher one
  RequestTimedOut,   // it waited a minute for the transfer lock, to ask the service
  DownloadTimedOut,  // it waited a minute for the transfer lock, to download
  LockTimedOut       // it waited half a minute for the version's lock
};

std::string_view nameOf(Ending ending);
void PrintTo(Ending ending, std::ostream* stream);

// What a host says of its update from the decision on, whole and in its order, without what it says of loading,
// clean-up, the request and the cache. The name of a temporary directory ends with its version.
std::vector<WideText> updateLines(const std::vector<WideText>& messages, const Offer& offer, const InstallTree& tree);

// The end that all of a host's messages and events tell of. A line or an event too many is no end.
Ending endingOf(const std::vector<WideText>& messages, const std::vector<std::string>& events, const Offer& offer,
                const InstallTree& tree);

}  // namespace zuvia::test
