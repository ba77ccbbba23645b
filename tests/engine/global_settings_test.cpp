// The process-wide settings: the date mask and century window, the globals component, and the
// changes that reach every started engine at once.
#include <gtest/gtest.h>

#include "engine_test_support.h"

namespace vg {
namespace {

using testing::FreshEnv;
using testing::on;
using testing::Recording;

TEST(GlobalSettings, DateMaskTurnsUpperCasePictureLettersIntoNines) {
  FreshEnv fresh;
  EXPECT_EQ(fresh.env().GetDateMask(), "99/99/9999;1;_");
  const std::pair<const char*, const char*> cases[] = {
      {"YYYY.MM.DD", "9999.99.99;1;_"}, {"mm/dd/yy", "mm/dd/yy;1;_"}, {"", ";1;_"}};
  for (const auto& [picture, mask] : cases) {
    fresh.env().SetDateFormat(picture);
    EXPECT_EQ(fresh.env().GetDateMask(), mask) << picture;
  }
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
  first.SetSaveCaption("Keep");
  EXPECT_EQ(second.SaveCaption(), "Keep");
  first.SetOnGetMessageText([](int, const std::string&, std::string& text) { text = "mine"; });
  std::string text;
  second.OnGetMessageText()(1, "", text);
  EXPECT_EQ(text, "mine");
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

TEST_F(TwoEngines, OpenDefaultsReachEveryEngineOnceAndUnchangedValuesNone) {
  TVGGlobals globals(nullptr);
  for (int round = 0; round < 2; ++round) {  // the second round changes nothing
    globals.SetDefaultExclusive(true);
    VGEnv->SetDefaultOpenMode(domReadOnly);
    VGEnv->SetDefaultUniqueTagHandling(duthException);
    VGEnv->SetDateFormat("DD.MM.CCYY");
  }
  EXPECT_EQ(rec_.texts().size(), 8u);
  for (const TVGEngine* engine : {&*first_, &*second_}) {
    EXPECT_EQ(code4accessMode(engine->EngineHandle(), r4check), 1);
    EXPECT_EQ(code4readOnly(engine->EngineHandle(), r4check), 1);
    EXPECT_EQ(code4errDefaultUnique(engine->EngineHandle(), r4check), r4unique);
  }
  EXPECT_EQ(rec_.texts().back(), on(*second_, "code4dateFormatSet", {"DD.MM.CCYY"}));
  VGEnv->SetDefaultUniqueTagHandling(duthContinue);
  EXPECT_EQ(code4errDefaultUnique(second_->EngineHandle(), r4check), r4uniqueContinue);
}

TEST_F(TwoEngines, ALongDateFormatReachesTheEngineCutToTheBuffer) {
  const std::string long_format(300, 'D');
  VGEnv->SetDateFormat(long_format);
  EXPECT_EQ(VGEnv->DateFormat(), long_format);
  const auto calls = rec_.recorder.named("code4dateFormatSet");
  ASSERT_EQ(calls.size(), 2u);
  EXPECT_EQ(calls[0].args[1], std::string(255, 'D'));
}

TEST_F(TwoEngines, SetDefaultsUndoesOneOffSwitchesOfTheContext) {
  VGEnv->SetDefaultExclusive(true);
  VGEnv->SetDefaultUniqueTagHandling(duthException);
  CODE4* c4 = first_->EngineHandle();
  code4accessMode(c4, 0);
  code4readOnly(c4, 1);
  code4errDefaultUnique(c4, r4uniqueContinue);
  code4autoOpen(c4, 1);
  code4safety(c4, 1);
  first_->SetDefaults();
  EXPECT_EQ(code4accessMode(c4, r4check), 1);
  EXPECT_EQ(code4readOnly(c4, r4check), 0);
  EXPECT_EQ(code4errDefaultUnique(c4, r4check), r4unique);
  EXPECT_EQ(code4autoOpen(c4, r4check), 0);
  EXPECT_EQ(code4safety(c4, r4check), 0);
}

TEST_F(TwoEngines, AnEngineStartedLaterGetsTheSameValuesThroughStart) {
  VGEnv->SetDateFormat("CCYY-MM-DD");
  VGEnv->SetDefaultExclusive(true);
  rec_.clear();
  TVGEngine third(nullptr);
  third.Start();
  EXPECT_EQ(rec_.recorder.named("code4dateFormatSet").at(0).args[1], "CCYY-MM-DD");
  EXPECT_EQ(code4accessMode(third.EngineHandle(), r4check), 1);
  EXPECT_EQ(VGEnv->EngineList().back(), &third);
}

}  // namespace
}  // namespace vg
