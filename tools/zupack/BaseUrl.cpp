#include "zupack/BaseUrl.h"

#include <algorithm>

#include "shared/CommandLine.h"
#include "shared/Utf8.h"

namespace zuvia::zupack {
namespace {

using tools::Failure;

constexpr std::string_view kScheme = "https://";

bool isAlphanumeric(char character) {
  return (character >= '0' && character <= '9') || (character >= 'A' && character <= 'Z') ||
         (character >= 'a' && character <= 'z');
}

// Letters that need no escaping, and none that would end the path of a URL before the file's name.
bool isUrlCharacter(char character) {
  constexpr std::string_view kMarks = "-._~:/[]@!$&'()*+,;=%";
  return isAlphanumeric(character) || kMarks.find(character) != std::string_view::npos;
}

bool isNameCharacter(char character) {
  constexpr std::string_view kMarks = "-._~";
  return isAlphanumeric(character) || kMarks.find(character) != std::string_view::npos;
}

}  // namespace

void checkBaseUrl(std::string_view url) {
  if (!url.starts_with(kScheme)) throw Failure("--url must begin with https://, but is " + tools::quoted(url));
  const std::string_view rest = url.substr(kScheme.size());
  if (rest.empty() || rest.front() == '/') throw Failure("--url names no host: " + tools::quoted(url));
  if (!std::ranges::all_of(rest, isUrlCharacter)) {
    throw Failure("--url must be plain ASCII without blanks, query or fragment, but is " + tools::quoted(url));
  }
}

bool isUrlName(std::string_view name) {
  return !name.empty() && std::ranges::all_of(name, isNameCharacter);
}

std::string joinUrl(const std::string& base, const std::string& name) {
  return base + (base.ends_with('/') ? "" : "/") + name;
}

}  // namespace zuvia::zupack
