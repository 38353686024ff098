#pragma once

#include "integration/faults/FaultsTest.h"

namespace zuvia::test {

// 2.0.0.45 is loaded, and the service offers 2.0.0.47. The files of an update have fixed names. Each verb lets the
// plugin live from its loading to its unloading, with a fault; the last life of a test is one without, and its update
// must come off.
class UpdateFaultsTest : public FaultsTest {
 protected:
  UpdateFaultsTest();
  void TearDown() override;

  // What an update is expected to do, apart from its first and last words.
  struct Course {
    std::function<void()> meanwhile = [] {};  // what happens between the load and the host information
    Lines decision = {};                      // what the fetch logs between the entry and the end
    Lines task = {};                          // what the update task logs after its beginning
    std::function<Lines()> laterTask = {};    // the same, where it is only known afterwards
    std::wstring leftover = {};               // the path of a file or directory that stays where it should not
    bool targetDeleted = false;               // nothing is published, and what was in its place is gone
  };

  // The version is published.
  void expectPublished(const Fault& fault, const Course& course);
  // It counts as published, and what is in its place stays as it is.
  void expectKept(const Fault& fault, const Course& course);
  // It is not: the version directories are what they were.
  void expectNotPublished(const Fault& fault, const Course& course);
  // No update is begun.
  void expectNoUpdate(const Fault& fault, const Course& course);

  // What is in the place of the target now is what counts as having been there before.
  void rememberTarget() { targetBefore_ = targetFiles(); }

  // Has the service offer this instead, to the next life only; the package is then served as well, or not asked for.
  void offerOnce(const Offer& other, bool servesPackage = true);

  Lines usualDecision() const { return {checkLine(L"Directory not exist: " + target)}; }
  Lines usualTask() const { return {downloaded(), unpacked(), deciding(false), moved(true), told()}; }

  Line checkLine(const std::wstring& message) const { return {"ZuDllUpdater::checkUpdate", message}; }
  Line decisionLine(const std::wstring& message) const { return {"ZuDllUpdater::onFetch", message}; }
  Line digestLine(const std::wstring& message) const { return {"ZuDllUpdater::getFileMD5", message}; }
  Line removalLine(const std::wstring& message) const { return {"ZuDllUpdater::deleteDirectory", message}; }
  Line taskLine(const std::wstring& message) const { return {"ZuDllUpdater::downloadAsync::task", message}; }

  // The lines of the task, in the order of a publication.
  Line downloaded() const { return taskLine(L"Download success ver:  2.0.0.47"); }
  Line unpacked() const { return taskLine(L"Unzip file success path: " + temporary); }
  Line deciding(bool published) const;
  Line moved(bool published) const;
  Line told() const { return {"ZuLoaderPrivate::onUpdateSuccess", L"onUpdateSuccess newVer: 2.0.0.47"}; }
  Line notUnpacked() const { return taskLine(L"Unzip file return fail!"); }
  Line skipped() const { return taskLine(L"Publish plugin fail, skip update callback, ver: 2.0.0.47"); }
  Line notDownloaded() const { return taskLine(L"Download fail!"); }

  // A digest that fails, by the step that its message names.
  struct DigestFault {
    std::wstring step;
    Fault fault;
  };
  // One for each step of the digest of this file. number: which of all digests in this life it is, counted from 1.
  // chunksBefore: how many chunks those before it hash.
  static std::vector<DigestFault> digestFaults(const std::wstring& path, std::size_t number, std::size_t chunksBefore);

  // How many chunks the digest of so many bytes hashes.
  static std::size_t chunksOf(const std::string& content) { return (content.size() + kChunk - 1) / kChunk; }
  // Reading a chunk fails. number: counted over all digests of this life; each one reads once more than it hashes.
  static Fault failingChunk(std::size_t number);
  static constexpr std::size_t kChunk = 8192;

  const Offer offer = makeOffer("2.0.0.47");
  const std::string content = readFile(moduleFile(L"2.0.0.47"));
  const std::wstring url = toWide(offer.url);
  const std::wstring target = directoryOf(L"2.0.0.47");
  const std::wstring targetModule = modulePath(L"2.0.0.47");
  const std::wstring package = downloadDirectory() + L"001a2b3c004d0e0f.zip";
  const std::wstring temporary = tree.root() + L"\\.update-2.0.0.47-001a2b3c004d0e0f";
  const std::wstring temporaryModule = temporary + L"\\zuimpl.dll";

 private:
  enum class End { NoUpdate, NotPublished, Kept, Published };

  void expectLife(const Fault& fault, const Course& course, End end);
  void live(
      const Fault& fault, bool beginsTask, const std::function<void()>& meanwhile = [] {});
  void expectLines(const Course& course, bool beginsTask) const;
  void expectTarget(const Course& course, End end) const;
  std::string lastConfigurationRequest() const;
  TreeListing targetFiles() const { return directoryExists(target) ? listTree(target) : TreeListing(); }
  TreeListing otherFiles() const;

  Clock clock_{module};
  const ImportHook<decltype(CoCreateGuid)> guid_;
  Offer offered_ = offer;
  TreeListing before_;  // the files before any fault
  TreeListing targetBefore_;
};

}  // namespace zuvia::test
