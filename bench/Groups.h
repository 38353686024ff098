#pragma once

#include <vector>

#include "Measure.h"

// What is measured, one function and one source file for each group. A group appends the rows that are wanted. Throws
// when something does not work: a figure of what failed is none.
namespace zuvia::bench {

using Rows = std::vector<Row>;

void measureCalls(const Settings& settings, Rows& rows);      // Calls.cpp: what a host calls often
void measureLoading(const Settings& settings, Rows& rows);    // Loading.cpp: create and onLoaded
void measureDigest(const Settings& settings, Rows& rows);     // Digest.cpp: MD5 of a file
void measureDownload(const Settings& settings, Rows& rows);   // Download.cpp: one transfer
void measureUnpacking(const Settings& settings, Rows& rows);  // Unpacking.cpp: from the package to files
void measureUpdate(const Settings& settings, Rows& rows);     // Update.cpp: all of it, its memory, the host's thread
void measureCache(const Settings& settings, Rows& rows);      // Cache.cpp: keeping an exchange
void measureSize(const Settings& settings, Rows& rows);       // Size.cpp: the module file

}  // namespace zuvia::bench
