#include "updater/EntryNames.h"

#include <algorithm>
#include <string>

#include "Targets.h"
#include "Text.h"

namespace zuvia::fuzz {

namespace {

const std::wstring kDirectory = L"C:\\plugin\\.update-2.0.0.47-0011223344556677";

// Whether the name, resolved step by step, would ever go back.
bool goesBack(const std::wstring& name) {
  std::wstring padded = L"/" + name + L"/";
  std::replace(padded.begin(), padded.end(), L'\\', L'/');
  return padded.find(L"/../") != std::wstring::npos;
}

bool isExpectedLegal(const std::wstring& name) {
  return !name.empty() && name.size() <= 260 && name[0] != L'/' && name[0] != L'\\' &&
         (name.size() < 2 || name[1] != L':') && !goesBack(name);
}

void checkPath(const std::wstring& name) {
  const std::wstring path = entryPath(kDirectory, name);
  const auto directory = resolved(kDirectory);
  require(path.find(L'/') == std::wstring::npos, "a path has backslashes only");
  require(path.size() == kDirectory.size() + 1 + name.size(), "nothing is added or left out");
  require(path.starts_with(kDirectory + L'\\'), "the path begins with the directory");
  require(isAtOrBelow(resolved(path), directory), "a legal name does not lead out of the directory");
  // From the parent upwards the directories are looked at until the path is shorter than the directory.
  require(path.rfind(L'\\') >= kDirectory.size(), "the parent is the directory or longer");
  if (isTopLevelEntryName(name)) {
    require(resolved(path).size() <= directory.size() + 1, "a name without a directory is a direct child");
  }
}

}  // namespace

void entryNames(std::string_view input) {
  const std::wstring name = wideName(input);
  require(isLegalEntryName(name) == isExpectedLegal(name), "legal is what the rule says, and nothing else");
  if (isLegalEntryName(name)) checkPath(name);
}

}  // namespace zuvia::fuzz
