// The process-wide settings: their starting values, the date mask and century window, and the
// changes that reach every started engine at once.
#include <gtest/gtest.h>

#include "engine_test_support.h"

namespace vg {
namespace {

using testing::FreshEnv;
using testing::on;
using testing::Recording;

TEST(GlobalSettings, StartingValues) {
  FreshEnv fresh;
  const TVGEnv& env = fresh.env();
  EXPECT_EQ(env.VGVersion(), v64);
  EXPECT_FALSE(env.DefaultAutoFormatFields());
  EXPECT_TRUE(env.DefaultDeleted());
  EXPECT_FALSE(env.DefaultExclusive());
  EXPECT_EQ(env.DefaultOpenMode(), domReadWrite);
  EXPECT_FALSE(env.DefaultProvideDefaults());
  EXPECT_EQ(env.DefaultUniqueTagHandling(), duthContinue);
  EXPECT_EQ(env.EpochStart(), 1915);
  EXPECT_EQ(env.DateFormat(), "MM/DD/CCYY");
  EXPECT_FALSE(env.OEMConvert());
  EXPECT_EQ(env.SaveCaption(), "&Save");
  EXPECT_EQ(env.CancelCaption(), "Cancel");
  EXPECT_EQ(env.AddCaption(), "&Add");
  EXPECT_EQ(env.ChangeCaption(), "Change");
  EXPECT_EQ(env.DeleteCaption(), "Delete");
  EXPECT_TRUE(env.TransliterateEnable());
  EXPECT_EQ(env.PreConnectionFormat(), pcfFox);
  EXPECT_FALSE(env.OnGetMessageText);
  EXPECT_TRUE(fresh.env().DatabaseList().empty());
  EXPECT_TRUE(fresh.env().EngineList().empty());
}

TEST(GlobalSettings, DateMaskTurnsUpperCasePictureLettersIntoNines) {
  FreshEnv fresh;
  TVGEnv& env = fresh.env();
  EXPECT_EQ(env.GetDateMask(), "99/99/9999;1;_");
  env.SetDateFormat("YYYY.MM.DD");
  EXPECT_EQ(env.GetDateMask(), "9999.99.99;1;_");
  env.SetDateFormat("mm/dd/yy");
  EXPECT_EQ(env.GetDateMask(), "mm/dd/yy;1;_");
  env.SetDateFormat("");
  EXPECT_EQ(env.GetDateMask(), ";1;_");
}

TEST(GlobalSettings, EpochWindowDates) {
  FreshEnv fresh;
  TVGGlobals globals(nullptr);
  EXPECT_EQ(globals.EpochStartDate(), EncodeDate(1915, 1, 1));
  EXPECT_EQ(globals.EpochEndDate(), EncodeDate(2014, 12, 31));
  globals.SetEpochStart(1950);
  EXPECT_EQ(VGEnv->EpochStart(), 1950);
  EXPECT_EQ(globals.EpochEndDate(), EncodeDate(2049, 12, 31));
}

TEST(GlobalSettings, EveryGlobalsComponentShowsTheSameValues) {
  FreshEnv fresh;
  TVGGlobals first(nullptr);
  TVGGlobals second(nullptr);
  first.SetDefaultDeleted(false);
  first.SetSaveCaption("Keep");
  first.SetPreConnectionFormat(pcfDBase);
  first.SetVGVersion(v65);
  first.SetOEMConvert(true);
  EXPECT_FALSE(second.DefaultDeleted());
  EXPECT_EQ(second.SaveCaption(), "Keep");
  EXPECT_EQ(second.PreConnectionFormat(), pcfDBase);
  EXPECT_EQ(second.VGVersion(), v65);
  EXPECT_TRUE(VGEnv->OEMConvert());
  int calls = 0;
  first.SetOnGetMessageText([&](int, const std::string&, std::string&) { ++calls; });
  ASSERT_TRUE(second.OnGetMessageText());
  std::string text;
  VGEnv->OnGetMessageText(1, "", text);
  EXPECT_EQ(calls, 1);
}

TEST(GlobalSettings, LoadedFiresOnLoadedThenEndsLoading) {
  TVGGlobals globals(nullptr);
  globals.BeginLoading();
  bool loading_when_fired = false;
  globals.OnLoaded = [&](TObject* sender) {
    EXPECT_EQ(sender, &globals);
    loading_when_fired = globals.ComponentState().Contains(csLoading);
  };
  globals.Loaded();
  EXPECT_TRUE(loading_when_fired);
  EXPECT_FALSE(globals.ComponentState().Contains(csLoading));
}

// Two started engines under a VGEnv of the test's own, with every call after Start recorded.
class TwoEngines : public ::testing::Test {
 protected:
  TwoEngines() {
    env_.emplace();
    first_.emplace(nullptr);
    second_.emplace(nullptr);
    first_->Start();
    second_->Start();
    rec_.clear();
  }
  ~TwoEngines() override {
    second_.reset();
    first_.reset();
  }

  Recording rec_;
  std::optional<FreshEnv> env_;
  std::optional<TVGEngine> first_;
  std::optional<TVGEngine> second_;
};

TEST_F(TwoEngines, BothAreListedInStartOrder) {
  EXPECT_EQ(VGEnv->EngineList(), (std::vector<TVGEngine*>{&*first_, &*second_}));
  first_->StartUndo();
  EXPECT_EQ(VGEnv->EngineList(), std::vector<TVGEngine*>{&*second_});
}

TEST_F(TwoEngines, DefaultExclusiveReachesEachOnceAndAnUnchangedValueNone) {
  TVGGlobals globals(nullptr);
  globals.SetDefaultExclusive(true);
  EXPECT_EQ(rec_.texts(), (std::vector<std::string>{on(*first_, "code4accessMode", {"1"}),
                                                    on(*second_, "code4accessMode", {"1"})}));
  EXPECT_EQ(code4accessMode(first_->EngineHandle(), r4check), 1);
  rec_.clear();
  globals.SetDefaultExclusive(true);
  VGEnv->SetDefaultExclusive(true);
  EXPECT_TRUE(rec_.recorder.empty());
  VGEnv->SetDefaultExclusive(false);
  EXPECT_EQ(rec_.texts(), (std::vector<std::string>{on(*first_, "code4accessMode", {"0"}),
                                                    on(*second_, "code4accessMode", {"0"})}));
}

TEST_F(TwoEngines, OpenModeUniqueHandlingAndDateFormatReachEveryEngine) {
  VGEnv->SetDefaultOpenMode(domReadOnly);
  VGEnv->SetDefaultUniqueTagHandling(duthException);
  VGEnv->SetDateFormat("DD.MM.CCYY");
  VGEnv->SetDefaultOpenMode(domReadOnly);  // unchanged: nothing
  VGEnv->SetDefaultUniqueTagHandling(duthContinue);
  const std::vector<std::string> expected = {
      on(*first_, "code4readOnly", {"1"}),
      on(*second_, "code4readOnly", {"1"}),
      on(*first_, "code4errDefaultUnique", {"20"}),
      on(*second_, "code4errDefaultUnique", {"20"}),
      on(*first_, "code4dateFormatSet", {"DD.MM.CCYY"}),
      on(*second_, "code4dateFormatSet", {"DD.MM.CCYY"}),
      on(*first_, "code4errDefaultUnique", {"25"}),
      on(*second_, "code4errDefaultUnique", {"25"}),
  };
  EXPECT_EQ(rec_.texts(), expected);
}

TEST_F(TwoEngines, StoreOnlySettingsMakeNoEngineCall) {
  VGEnv->SetDefaultDeleted(false);
  VGEnv->SetOEMConvert(true);
  VGEnv->SetTransliterateEnable(false);
  VGEnv->SetEpochStart(1930);
  VGEnv->SetVGVersion(v62);
  VGEnv->SetDefaultProvideDefaults(true);
  VGEnv->SetDefaultAutoFormatFields(true);
  VGEnv->SetPreConnectionFormat(pcfClipper);
  VGEnv->SetDeleteCaption("Drop");
  EXPECT_TRUE(rec_.recorder.empty());
}

TEST_F(TwoEngines, ALongDateFormatReachesTheEngineCutToTheBuffer) {
  const std::string long_format(300, 'D');
  VGEnv->SetDateFormat(long_format);
  EXPECT_EQ(VGEnv->DateFormat(), long_format);
  const auto calls = rec_.recorder.named("code4dateFormatSet");
  ASSERT_EQ(calls.size(), 2u);
  EXPECT_EQ(calls[0].args[1], std::string(255, 'D'));
}

TEST_F(TwoEngines, SetDefaultsPushesTheCurrentOpenDefaultsInOrder) {
  VGEnv->SetDefaultExclusive(true);
  VGEnv->SetDefaultOpenMode(domReadOnly);
  VGEnv->SetDefaultUniqueTagHandling(duthException);
  rec_.clear();
  first_->SetDefaults();
  const std::vector<std::string> expected = {
      on(*first_, "code4accessMode", {"1"}),       on(*first_, "code4readOnly", {"1"}),
      on(*first_, "code4errDefaultUnique", {"20"}), on(*first_, "code4autoOpen", {"0"}),
      on(*first_, "code4safety", {"0"}),
  };
  EXPECT_EQ(rec_.texts(), expected);
}

TEST_F(TwoEngines, AnEngineStartedLaterGetsTheSameValuesThroughStart) {
  VGEnv->SetDateFormat("CCYY-MM-DD");
  VGEnv->SetDefaultExclusive(true);
  rec_.clear();
  TVGEngine third(nullptr);
  third.Start();
  EXPECT_EQ(rec_.recorder.named("code4dateFormatSet").at(0).args[1], "CCYY-MM-DD");
  EXPECT_EQ(rec_.recorder.named("code4accessMode").at(0).args[1], "1");
  EXPECT_EQ(VGEnv->EngineList().back(), &third);
}

}  // namespace
}  // namespace vg
