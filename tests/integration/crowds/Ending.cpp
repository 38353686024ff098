#include "integration/crowds/Ending.h"

#include <algorithm>
#include <array>
#include <ostream>
#include <ranges>

#include "support/Text.h"

namespace zuvia::test {
namespace {

struct Story {
  Ending ending;
  std::vector<std::wstring> lines;
  std::vector<std::string> events;
};

std::wstring temporaryBeginning(const Offer& offer, const InstallTree& tree) {
  return L"Unzip file success path: " + tree.root() + L"\\.update-" + toWide(offer.version);
}

std::vector<Story> storiesOf(const Offer& offer, const InstallTree& tree) {
  const std::wstring version = toWide(offer.version);
  const std::wstring target = tree.root() + L'\\' + version;
  const std::wstring missing = L"Directory not exist: " + target;
  const std::wstring begun = L"Try download plugin ver: " + version + L", url:  " + toWide(offer.url);
  const std::wstring downloaded = L"Download success ver:  " + version;
  const std::wstring unpacked = temporaryBeginning(offer, tree);
  const std::wstring succeeded = L"onUpdateSuccess newVer: " + version;
  const std::wstring announced = L"onNotifyEvent cmd: pluginUpgradeEvent, data: " + version;
  const std::string told = "pluginUpgradeEvent=" + offer.version;
  return {
      {Ending::Published,
       {missing, begun, downloaded, unpacked, L"Try published download plugin : false",
        L"MoveFileExW  published: true, dest: " + target, succeeded, announced},
       {told}},
      {Ending::FoundPublished,
       {missing, begun, downloaded, unpacked, L"Try published download plugin : true", succeeded, announced},
       {told}},
      {Ending::Installed, {L"No needed to upgrade for for version: " + version}, {}},
      {Ending::NotNewer, {L"No needed to upgrade for version: " + version + L", local ver is newest!"}, {}},
      {Ending::RequestTimedOut, {L"curl global mutex acquisition failed."}, {}},
      // The code is what opening the lock left behind: it existed already.
      {Ending::DownloadTimedOut,
       {missing, begun, L"Download fail! Acquire curl mutex timeout or error: 183", L"Download fail!"},
       {}},
      {Ending::LockTimedOut, {missing, begun, downloaded, L"Unzip file err! VersionLock."}, {}},
  };
}

// How messages begin that are not of the update itself.
std::vector<std::wstring> asides(const Offer& offer, const InstallTree& tree) {
  const std::wstring cache = tree.appPath() + L"\\zuviaplugin\\cache\\bbs.cache";
  return {
      L"onLoaded native v: ",
      L"onNotifyEvent cmd: pluginLoadedEvent, data: ",
      L"Load plugin success, path: " + tree.root(),
      L"onNotifyEvent cmd: pluginLoadedDoneEvent, data: ",
      L"setHostInfo uid: 4711, ver: 9.1.2, env: true",
      L"setHostInfo path: " + tree.appPath(),
      L"Try delete unused plugin: " + tree.root(),
      L"Skip in-use or inaccessible version: " + tree.root(),
      L"DoFetchJob bssCode: zu_kx_anchor, ret: true, curlCode: 0, curlError: No error, url: "
      L"https://localhost:18443/configs/pc/post, body: ",
      L"Fetch ZuUpdateConfig success str: [ver: " + toWide(offer.version) + L", pmd5: " + toWide(offer.pmd5) +
          L", dmd5:" + toWide(offer.dmd5) + L", url: " + toWide(offer.url) + L']',
      L"onFetch success key: zu_plugin_update, value: " + toWide(offer.entry()),
      // Several hosts make and write one file.
      L"Create file failed: " + cache,
      L"Failed to write to persistent cache file: " + cache,
      L"Stored cache to persistent file: " + cache,
      L"Stored cache too fastest, just ignore! ",
  };
}

std::vector<std::string> withoutLoading(std::vector<std::string> events) {
  std::erase_if(events, [](const std::string& event) { return !event.starts_with("pluginUpgradeEvent"); });
  return events;
}

}  // namespace

std::string_view nameOf(Ending ending) {
  constexpr std::array<std::string_view, 8> kNames = {
      "open",      "published",         "found it published", "had it",
      "not newer", "request timed out", "download timed out", "version lock timed out"};
  return kNames[static_cast<std::size_t>(ending)];
}

void PrintTo(Ending ending, std::ostream* stream) {
  *stream << nameOf(ending);
}

std::vector<WideText> updateLines(const std::vector<WideText>& messages, const Offer& offer, const InstallTree& tree) {
  const std::vector<std::wstring> aside = asides(offer, tree);
  const std::wstring temporary = temporaryBeginning(offer, tree);
  std::vector<WideText> lines;
  for (const WideText& message : messages) {
    if (std::ranges::any_of(aside, [&](const std::wstring& start) { return message.starts_with(start); })) continue;
    lines.push_back(message.starts_with(temporary + L'-') ? WideText(temporary) : message);
  }
  return lines;
}

Ending endingOf(const std::vector<WideText>& messages, const std::vector<std::string>& events, const Offer& offer,
                const InstallTree& tree) {
  const std::vector<WideText> lines = updateLines(messages, offer, tree);
  const std::vector<std::string> told = withoutLoading(events);
  for (const Story& story : storiesOf(offer, tree)) {
    if (std::ranges::equal(lines, story.lines) && told == story.events) return story.ending;
  }
  return Ending::Open;
}

}  // namespace zuvia::test
