#include "torture/CutStage.h"

#include <algorithm>
#include <array>

namespace zuvia::test {
namespace {

bool said(const HostEnd& end, const wchar_t* beginning) {
  return std::ranges::any_of(end.messages, [&](const WideText& message) { return message.starts_with(beginning); });
}

// While the host waits for the update: the last message tells, but for what happens silently after the download.
CutStage stageOfUpdate(const HostEnd& end) {
  CutStage stage = end.step == Step::Inform ? CutStage::Inform : CutStage::Request;
  for (const StageBeginning& beginning : stageBeginnings()) {
    if (beginning.message != nullptr && said(end, beginning.message)) stage = beginning.stage;
  }
  if (stage != CutStage::Hash || !end.lockHeld) return stage;
  return end.temporary ? CutStage::Unpack : CutStage::Lock;
}

}  // namespace

std::string_view nameOf(CutStage stage) {
  constexpr std::array<std::string_view, 16> kNames = {
      "load",  "inform",  "request",  "answer", "download",    "hash",    "lock", "unpack",
      "check", "publish", "announce", "unload", "second-load", "removal", "end",  "none"};
  return kNames.at(static_cast<std::size_t>(stage));
}

CutStage stageOf(const HostEnd& end) {
  switch (end.step) {
    case Step::Load:
      return CutStage::Load;
    case Step::Inform:
    case Step::Update:
      return stageOfUpdate(end);
    case Step::Unload:
      return CutStage::Unload;
    case Step::LoadNew:
      return CutStage::SecondLoad;
    case Step::CleanUp:
      return CutStage::Removal;
    case Step::UnloadNew:
    case Step::Exit:
      return CutStage::End;
    case Step::Done:
      break;
  }
  return CutStage::None;
}

const std::vector<StageBeginning>& stageBeginnings() {
  static const std::vector<StageBeginning> beginnings = {
      {CutStage::Request, Step::Update, nullptr},
      {CutStage::Answer, Step::Update, L"DoFetchJob bssCode: "},
      {CutStage::Download, Step::Update, L"Try download plugin ver: "},
      {CutStage::Hash, Step::Update, L"Download success ver:  "},
      {CutStage::Check, Step::Update, L"Unzip file success path: "},
      {CutStage::Publish, Step::Update, L"Try published download plugin : "},
      {CutStage::Announce, Step::Update, L"MoveFileExW  published: true, dest: "},
      {CutStage::Unload, Step::Unload, nullptr},
      {CutStage::SecondLoad, Step::LoadNew, nullptr},
      {CutStage::Removal, Step::CleanUp, nullptr},
      {CutStage::End, Step::UnloadNew, nullptr}};
  return beginnings;
}

}  // namespace zuvia::test
