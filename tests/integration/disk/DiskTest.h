#pragma once

#include <windows.h>

#include <objbase.h>

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "integration/PluginTest.h"
#include "integration/faults/Fault.h"
#include "support/Clock.h"
#include "support/Files.h"
#include "support/ImportHook.h"
#include "support/Invariants.h"

namespace zuvia::test {

using Messages = std::vector<std::wstring>;

// What the plugin says in one life, from its loading to its unloading, apart from the first and last words of each
// thread. Whole messages; nothing: as in the usual life, which publishes 2.0.0.47.
struct Life {
  std::wstring version = L"2.0.0.45";        // what is loaded
  std::wstring directory = {};               // from where, below the root; nothing: from one of that name
  Messages host = {};                        // of the cache file and the clean-up
  std::optional<std::wstring> stored = {};   // of the exchange
  std::optional<Messages> decision = {};     // of the entry
  std::optional<Messages> task = {};         // of the update; empty: none is begun
  std::function<Messages()> laterTask = {};  // the same, where it is only known afterwards
};

// The plugin that ships, on a disk that misbehaves. 2.0.0.45 is installed, and the service offers 2.0.0.47 whenever it
// is asked. A test lets the plugin live once with the disk as it is then, looks at what is left, and has the next life,
// on a sound disk, publish. What must hold whatever happens is checked after each.
//
// The temporary directory and the downloaded package of every life have names of their own, which are known before.
class DiskTest : public PluginTest {
 protected:
  DiskTest();
  void TearDown() override;

  // Lives once, and checks what is said, what must hold, and that nothing stays open.
  void live(const Life& expected, const Fault& fault = nothing);

  // The next life publishes; the version is whole. Then everything is as at the beginning, for the next case.
  void recover(const Life& expected = {});

  // What must hold, from now on: the versions that are there are installed, and 2.0.0.47 may be published.
  void watch();

  // Takes away what was published; or all that was published, downloaded, cached and left over.
  void takeBack();
  void clear();

  // Something else is offered to the next life.
  void offerOnce(const Offer& other);

  // The lines of a usual life, as things are now.
  Messages usualDecision() const;
  Messages usualTask() const;
  // An update that ends without publication, with these lines after the download.
  Messages afterDownload(const Messages& lines) const;
  // The same, with these after the unpacking.
  Messages afterUnpacking(const Messages& lines) const;
  static std::wstring fileStays(const std::wstring& path, unsigned error);
  static std::wstring directoryStays(const std::wstring& path, unsigned error);

  // Of the next life.
  std::wstring package() const { return downloads + nameOfLife() + L".zip"; }
  std::wstring temporary() const { return tree.root() + L"\\.update-2.0.0.47-" + nameOfLife(); }

  // The id that the last configuration request told.
  std::string sentHitSequence() const;

  // What is left of updates: the paths of everything in the download directory, of temporary directories and of all in
  // them.
  std::vector<WideText> leftovers() const;

  static constexpr const wchar_t* kSkipped = L"Publish plugin fail, skip update callback, ver: 2.0.0.47";
  static constexpr const wchar_t* kNotUnpacked = L"Unzip file return fail!";
  static constexpr const wchar_t* kTold = L"onUpdateSuccess newVer: 2.0.0.47";

  const Offer usual = makeOffer("2.0.0.47");
  const std::string content = readFile(moduleFile(L"2.0.0.47"));
  const std::wstring target = tree.root() + L"\\2.0.0.47";
  const std::wstring cacheDirectory = tree.appPath() + L"\\zuviaplugin\\cache";
  const std::wstring downloads = cacheDirectory + L"\\update\\";
  std::optional<Invariants> invariants;  // begins anew with each case

 private:
  void run(const Life& expected, const Fault& fault);
  void expectLoaded(const Life& expected) const;
  void expectMessages(const Life& expected, const Messages& decision, const Messages& task) const;
  void expectHostMessages(const Life& expected) const;
  Messages fetchMessages(const Life& expected, const Messages& decision) const;
  std::string lastConfigurationRequest() const;
  std::wstring nameOfLife() const;

  Clock clock_{module};
  const ImportHook<decltype(CoCreateGuid)> guid_;
  Offer offered_ = usual;     // to the next life
  bool recovered_ = false;    // by the last life
  unsigned long number_ = 1;  // of the next life
  TreeListing published_;     // what 2.0.0.47 consists of
};

}  // namespace zuvia::test
