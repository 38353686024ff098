#pragma once

#include <stdexcept>
#include <string_view>

// What hostile input reaches, each with what must hold for any input. A target takes any bytes, keeps nothing from
// one call to the next and throws Broken when something does not hold; any other exception is a fault as well.

namespace zuvia::fuzz {

class Broken : public std::logic_error {
 public:
  using std::logic_error::logic_error;
};

inline void require(bool holds, const char* what) {
  if (!holds) throw Broken(what);
}

// A 7z archive, as it is and with a right start header put in place of its own.
void archiveReader(std::string_view input);

// Exchanges, separated by the character 0x1E. The parts of one are separated by 0x1F: URL, body, answer, decimal
// ticks, any number of headers; what is missing is empty or 0.
void cacheDocument(std::string_view input);

// The answer of the configuration service.
void configAnswer(std::string_view input);

// The name of an archive's entry, in UTF-16LE as archives hold it.
void entryNames(std::string_view input);

// The host information. Read to its first NUL character, as the host's text is.
void hostInfoText(std::string_view input);

// The update entry of an answer.
void updateEntryText(std::string_view input);

// The name of a directory, in UTF-16LE.
void versionName(std::string_view input);

// One version on the first line and another on the rest.
void versionText(std::string_view input);

}  // namespace zuvia::fuzz
