#pragma once

#include <cstdint>
#include <map>
#include <string>
#include <string_view>

namespace hxutility {

// From entry name, as the archive spells it, to content.
using Files = std::map<std::wstring, std::string>;

// How much one archive may unpack to: 512 MiB.
inline constexpr uint64_t kMaxUnpackedBytes = 536'870'912;

// Reads every file of a 7z archive.
//
// Returns false, with any files, when the archive
//   - does not begin with an intact start header, or does not end exactly where that header says: a
//     self-extracting program, a truncated archive, a volume, an archive with something behind it;
//   - is damaged or encrypted, or packed with a method that the libarchive at hand does not know (always
//     known: copy, LZMA, LZMA2 and PPMd, the first three also under the filters BCJ, BCJ2 and Delta that 7-Zip
//     uses; libarchive 3.6 takes much of what is packed by PPMd under BCJ for damaged, for it stops decoding
//     where its input ends);
//   - holds what is neither a file nor a directory (a symbolic link, a device), a directory with
//     content, an entry without a name, or two files of the same name: such an archive does not say
//     which files it means;
//   - unpacks to more than maxUnpackedBytes in all. No content is read beyond that, and no buffer for a
//     file grows because the archive merely claims that it is large.
// What libarchive does by itself before it shows an entry is not limited: it reads the table of entries
// with the counts that the archive claims, and the whole target of a symbolic link.
// Off Windows, entry names outside ASCII need a UTF-8 locale and are otherwise refused.
// Any thread. Throws std::bad_alloc only.
bool readArchive(std::string_view archive, uint64_t maxUnpackedBytes, Files& files);

}  // namespace hxutility
