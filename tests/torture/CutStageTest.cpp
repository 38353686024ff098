#include "torture/CutStage.h"

#include <gtest/gtest.h>

namespace zuvia::test {
namespace {

// The messages of an update, in their order.
const std::vector<WideText> kMessages = {L"DoFetchJob bssCode: zu_kx_anchor, ret: true",
                                         L"onFetch success key: zu_plugin_update",
                                         L"Try download plugin ver: 2.0.0.47, url:  https://config.zuvia.example/",
                                         L"Download success ver:  2.0.0.47",
                                         L"Unzip file success path: C:\\root\\.update-2.0.0.47-00112233aabbccdd",
                                         L"Try published download plugin : false",
                                         L"MoveFileExW  published: true, dest: C:\\root\\2.0.0.47"};

HostEnd endAfter(std::size_t messages, bool lockHeld = false, bool temporary = false) {
  return {Step::Update, {kMessages.begin(), kMessages.begin() + static_cast<int>(messages)}, lockHeld, temporary};
}

TEST(CutStage, IsToldByTheLastMessageOfAnUpdate) {
  const CutStage expected[] = {CutStage::Request, CutStage::Answer, CutStage::Answer,  CutStage::Download,
                               CutStage::Hash,    CutStage::Check,  CutStage::Publish, CutStage::Announce};
  for (std::size_t i = 0; i <= kMessages.size(); ++i) EXPECT_EQ(stageOf(endAfter(i)), expected[i]) << i;
}

TEST(CutStage, IsToldByTheLockAndTheDiskAfterTheDownload) {
  EXPECT_EQ(stageOf(endAfter(4, true)), CutStage::Lock);
  EXPECT_EQ(stageOf(endAfter(4, true, true)), CutStage::Unpack);
  EXPECT_EQ(stageOf(endAfter(5, true, true)), CutStage::Check);
  EXPECT_EQ(stageOf(endAfter(3, false, true)), CutStage::Download);
}

TEST(CutStage, IsAPublicationOnlyWhenTheDirectoryWasMoved) {
  HostEnd end = endAfter(6);
  end.messages.emplace_back(L"MoveFileExW  published: false, dest: C:\\root\\2.0.0.47");
  EXPECT_EQ(stageOf(end), CutStage::Publish);
}

TEST(CutStage, IsToldByTheStepOtherwise) {
  const std::pair<Step, CutStage> expected[] = {
      {Step::Load, CutStage::Load},       {Step::Unload, CutStage::Unload}, {Step::LoadNew, CutStage::SecondLoad},
      {Step::CleanUp, CutStage::Removal}, {Step::UnloadNew, CutStage::End}, {Step::Exit, CutStage::End},
      {Step::Done, CutStage::None}};
  for (const auto& [step, stage] : expected) EXPECT_EQ(stageOf({step, kMessages}), stage) << nameOf(step);
  EXPECT_EQ(stageOf({Step::Inform, {}}), CutStage::Inform);
  EXPECT_EQ(stageOf({Step::Inform, {kMessages.front()}}), CutStage::Answer);
}

TEST(CutStage, HasANameForEach) {
  EXPECT_EQ(nameOf(CutStage::Load), "load");
  EXPECT_EQ(nameOf(CutStage::SecondLoad), "second-load");
  EXPECT_EQ(nameOf(CutStage::None), "none");
}

}  // namespace
}  // namespace zuvia::test
