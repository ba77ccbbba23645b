// The engine component: what Start leaves in the context, settings before and after Start,
// stopping, error codes, and the answers that depend on the context's format.
#include <gtest/gtest.h>

#include "engine_test_support.h"

namespace vg {
namespace {

using testing::on;
using testing::raised;
using testing::Recording;

TEST(EngineStart, LeavesASilentContextThatOpensNothingByItself) {
  TVGEngine engine(nullptr);
  engine.Start();
  ASSERT_TRUE(engine.Started());
  EXPECT_TRUE(engine.Connected()) << "a desk-top build connects without a call";
  EXPECT_EQ(VGEnv->EngineList().back(), &engine);
  CODE4* c4 = engine.EngineHandle();
  EXPECT_EQ(code4errOff(c4, r4check), 1);
  EXPECT_EQ(code4autoOpen(c4, r4check), 0);
  EXPECT_EQ(code4safety(c4, r4check), 0);
  EXPECT_EQ(code4lockAttemptsSingle(c4, r4check), 2);
  EXPECT_EQ(code4errDefaultUnique(c4, r4check), r4uniqueContinue);
}

// One published setting: how the component is given a value, and the context's reading of it.
struct SettingCase {
  const char* name;
  void (*set)(TVGEngine&);
  int (*read)(CODE4*, int);
  int expected;
};
void PrintTo(const SettingCase& c, std::ostream* os) { *os << c.name; }

class EngineSetting : public ::testing::TestWithParam<SettingCase> {};

TEST_P(EngineSetting, StoredBeforeStartReachesTheContextThroughStart) {
  Recording rec;
  TVGEngine engine(nullptr);
  GetParam().set(engine);
  EXPECT_TRUE(rec.recorder.empty()) << "no engine call before Start";
  engine.Start();
  EXPECT_EQ(GetParam().read(engine.EngineHandle(), r4check), GetParam().expected);
}

TEST_P(EngineSetting, WhileStartedReachesTheContextAtOnce) {
  Recording rec;
  TVGEngine engine(nullptr);
  engine.Start();
  rec.clear();
  GetParam().set(engine);
  EXPECT_EQ(rec.recorder.log().size(), 1u);
  EXPECT_EQ(GetParam().read(engine.EngineHandle(), r4check), GetParam().expected);
}

// A case: its name, the call on an engine `e`, the context's getter and the value it reads.
#define VG_SETTING(name, call, read, expected) \
  SettingCase { #name, [](TVGEngine& e) { e.call; }, read, expected }
INSTANTIATE_TEST_SUITE_P(
    All, EngineSetting,
    ::testing::Values(
        VG_SETTING(LockEnforceOff, SetLockEnforce(false), code4lockEnforce, 0),
        VG_SETTING(LockAttempts, SetLockAttempts(7), code4lockAttempts, 7),
        VG_SETTING(LockDelay, SetLockDelay(250), code4lockDelay, 250),
        // The engine's order differs from the enumeration's: 1 is "all", 2 "data".
        VG_SETTING(AutoUnlockData, SetAutoUnlock(auData), code4unlockAutoSetCB, 2),
        VG_SETTING(AutoUnlockAll, SetAutoUnlock(auAll), code4unlockAutoSetCB, 1),
        VG_SETTING(SingleOpenOff, SetSingleOpen(false), code4singleOpen, 0),
        VG_SETTING(Fox25, SetFoxProVersion(fpv25), code4compatibility, 25),
        VG_SETTING(Fox30, SetFoxProVersion(fpv30), code4compatibility, 30),
        VG_SETTING(CodePageMSDOS, SetCodePage(cpMSDOS), code4codePage, 1),
        VG_SETTING(CodePageANSI, SetCodePage(cpANSI), code4codePage, 3),
        VG_SETTING(CollationGeneral, SetCollationSequence(csGeneral), code4collatingSequence, 1),
        // Enabling the engine's own reporting clears its errors-off switch.
        VG_SETTING(ErrorsEnabled, SetVGErrorEnable(true), code4errOff, 0),
        VG_SETTING(TableFormatdBASE, SetTableFormat(tfdBASE), code4indexFormat, u4formatDbase)),
    [](const ::testing::TestParamInfo<SettingCase>& info) { return std::string(info.param.name); });
#undef VG_SETTING

TEST(EngineStartUndo, ClosesFreesAndNeverPassesTheKeptHandleAgain) {
  Recording rec;
  TVGEngine engine(nullptr);
  engine.StartUndo();  // not started: nothing
  engine.Start();
  EXPECT_EQ(rec.names().front(), "code4initP");
  CODE4* handle = engine.EngineHandle();
  rec.clear();
  engine.Start();  // started: nothing
  EXPECT_EQ(VGEnv->EngineList(), std::vector<TVGEngine*>{&engine});
  EXPECT_TRUE(rec.recorder.empty());
  engine.StartUndo();
  EXPECT_EQ(rec.texts(), (std::vector<std::string>{on(engine, "code4close"),
                                                    on(engine, "code4initUndo")}));
  EXPECT_FALSE(engine.Started());
  EXPECT_TRUE(engine.Connected()) << "never cleared";
  EXPECT_EQ(engine.EngineHandle(), handle) << "kept as it was";
  EXPECT_TRUE(VGEnv->EngineList().empty());

  // The kept handle refers to a freed context: answers as before the first Start.
  rec.clear();
  EXPECT_EQ(engine.GetIndexExt(), "");
  EXPECT_EQ(engine.GetIndexFormat(), ifUnknown);
  EXPECT_EQ(engine.ValidFieldTypes().Chars(), "CDLMN");
  EXPECT_FALSE(engine.Fox3FieldsSupported());
  EXPECT_EQ(engine.GetLastErrorCode(), 0);
  EXPECT_EQ(engine.GetLastErrorText(), "");
  engine.ResetErrorCode();
  engine.SetDefaults();
  engine.CloseFiles();
  engine.SetLockAttempts(9);
  EXPECT_TRUE(rec.recorder.empty());

  engine.Start();  // a new context, configured again
  EXPECT_EQ(code4lockAttempts(engine.EngineHandle(), r4check), 9);
}

TEST(EngineStart, LibraryStartFailureRaisesAndStaysStopped) {
  Recording rec;
  rec.stand_in.init_fails = true;
  TVGEngine engine(nullptr);
  EXPECT_EQ(raised<EVGEngineError>([&] { engine.Start(); }), "Could not start engine.");
  EXPECT_FALSE(engine.Started());
  EXPECT_FALSE(engine.Connected());
  EXPECT_EQ(engine.EngineHandle(), nullptr);
  EXPECT_EQ(rec.names(), std::vector<std::string>{"code4initP"});
}

TEST(EngineConnect, DeskTopConnectMakesNoCallAndFiresOnConnect) {
  Recording rec;
  TVGEngine engine(nullptr);
  std::vector<TObject*> senders;
  engine.OnConnect = [&](TObject* sender) { senders.push_back(sender); };
  engine.SetConnectOnStart(false);  // a desk-top build connects at Start all the same
  engine.Start();
  EXPECT_EQ(senders, std::vector<TObject*>{&engine});
  rec.clear();
  engine.Connect();
  EXPECT_TRUE(rec.recorder.empty());
  EXPECT_EQ(senders.size(), 2u);
}

TEST(EngineErrors, CodeIsReadNarrowedToSixteenBitsAndReset) {
  Recording rec;
  TVGEngine engine(nullptr);
  engine.Start();
  rec.clear();
  rec.stand_in.error_code = 65526;  // the low 16 bits hold -10
  EXPECT_EQ(engine.GetLastErrorCode(), -10);
  rec.stand_in.error_code = 0x12345;
  EXPECT_EQ(engine.GetLastErrorCode(), 0x2345);
  engine.ResetErrorCode();
  const std::string read = std::to_string(r4check);
  EXPECT_EQ(rec.texts(), (std::vector<std::string>{on(engine, "code4errorCode", {read}),
                                                   on(engine, "code4errorCode", {read}),
                                                   on(engine, "code4errorCode", {"0"})}));
}

TEST(EngineErrors, AFailureIsReportedByTheGenericCheckOnceAndCleared) {
  TVGEngine engine(nullptr);
  engine.Start();
  CheckEngineError(engine, "Open");  // no pending code: passes
  EXPECT_EQ(d4open(engine.EngineHandle(), "no-such-table-here"), nullptr);
  EXPECT_EQ(engine.GetLastErrorCode(), e4open);
  EXPECT_FALSE(engine.GetLastErrorText().empty());
  EXPECT_EQ(raised<EVGError>([&] { CheckEngineError(engine, "Open"); }),
            "Vargo error: -30 has occured before Open was called.");
  EXPECT_EQ(engine.GetLastErrorCode(), 0);
  code4errorCode(engine.EngineHandle(), r4eof);  // a positive code is no failure
  EXPECT_NO_THROW(CheckEngineError(engine, "Skip"));
}

struct FormatCase {
  const char* name;  // the test's name suffix
  TTableFormat format;
  TFoxProVersion version;
  const char* extension;
  TIndexFormat index_format;
  const char* valid;
  const char* blobs;
  const char* fixed_length;
  const char* fixed_binary;
  bool fox3;
};
void PrintTo(const FormatCase& c, std::ostream* os) { *os << c.name; }

class EngineFormats : public ::testing::TestWithParam<FormatCase> {};

TEST_P(EngineFormats, AnswerForTheContextFormat) {
  const FormatCase& c = GetParam();
  TVGEngine engine(nullptr);
  engine.SetTableFormat(c.format);
  engine.SetFoxProVersion(c.version);
  engine.Start();
  EXPECT_EQ(engine.GetIndexExt(), c.extension);
  EXPECT_EQ(engine.GetIndexFormat(), c.index_format);
  EXPECT_EQ(engine.ValidFieldTypes().Chars(), c.valid);
  EXPECT_EQ(engine.BlobFields().Chars(), c.blobs);
  EXPECT_EQ(engine.FixedLengthTypes().Chars(), c.fixed_length);
  EXPECT_EQ(engine.FixedBinaryTypes().Chars(), c.fixed_binary);
  EXPECT_EQ(engine.Fox3FieldsSupported(), c.fox3);
  EXPECT_EQ(engine.GetNullFieldsMayExist(), c.fox3);
}

INSTANTIATE_TEST_SUITE_P(
    All, EngineFormats,
    ::testing::Values(
        // A Clipper context answers its group-file extension, never "NTX".
        FormatCase{"Clipper", tfClipper, fpv30, "CGP", ifClipper, "CDLMN", "GMX", "DLM", "", false},
        FormatCase{"dBASE", tfdBASE, fpv30, "MDX", ifdBASE, "BCDFLMN", "BGMX", "BDLM", "", false},
        FormatCase{"Fox26", tfFox, fpv26, "CDX", ifFox, "CDFGLMN", "GMX", "DGLM", "", false},
        FormatCase{"Fox25", tfFox, fpv25, "CDX", ifFox, "CDFGLMN", "GMX", "DGLM", "", false},
        FormatCase{"Fox30", tfFox, fpv30, "CDX", ifFox, "BCDFGILMNTXYZ", "GMX", "BDGILMTXY",
                   "BITY", true}),
    [](const ::testing::TestParamInfo<FormatCase>& info) { return std::string(info.param.name); });

TEST(EngineFormatAnswers, ExtensionIsComparedByCaseButFormatAfterUpperCasing) {
  Recording rec;
  TVGEngine engine(nullptr);
  engine.Start();
  rec.stand_in.index_extension_set = true;
  rec.stand_in.index_extension = "ntx";
  EXPECT_EQ(engine.GetIndexExt(), "ntx");
  EXPECT_EQ(engine.GetIndexFormat(), ifClipper);
  rec.stand_in.index_extension = "IDX";
  EXPECT_EQ(engine.GetIndexFormat(), ifUnknown);
  EXPECT_EQ(engine.ValidFieldTypes().Chars(), "CDLMN");
  rec.stand_in.index_extension = nullptr;
  EXPECT_EQ(engine.GetIndexExt(), "");
  EXPECT_EQ(engine.GetIndexFormat(), ifUnknown);
}

TEST(EngineFormatAnswers, DefaultFormatIsTheBuildsAndIsRestoredWhileStarted) {
  Recording rec;
  TVGEngine engine(nullptr);
  engine.Start();
  EXPECT_TRUE(rec.recorder.named("code4indexFormat").empty()) << "a new context keeps it";
  const TDLLFormat build = VGEnv->GetDLLFormat();
  const TIndexFormat own = engine.GetIndexFormat();
  EXPECT_EQ(own, build == DLLClipper ? ifClipper : build == DLLDBase ? ifdBASE : ifFox);
  engine.SetTableFormat(own == ifClipper ? tfdBASE : tfClipper);
  ASSERT_NE(engine.GetIndexFormat(), own);
  engine.SetTableFormat(tfDefault);
  EXPECT_EQ(engine.GetIndexFormat(), own);
}

TEST(EngineDestroy, StopsTheStartedEngineAndItsOwnerFreesIt) {
  Recording rec;
  {
    TVGEngine engine(nullptr);
    engine.Start();
    rec.clear();
  }
  EXPECT_EQ(rec.names(), (std::vector<std::string>{"code4close", "code4initUndo"}));
  EXPECT_TRUE(VGEnv->EngineList().empty());
  // An owned engine goes with its owner; a leak or double stop shows under the sanitizers.
  TComponent form(nullptr);
  (new TVGEngine(&form))->Start();
}

TEST(CharSet, HoldsAnyOneByteCharacterInCharacterOrder) {
  TCharSet set(std::string("\xff" "BA\0", 4));
  EXPECT_TRUE(set.Contains('\xff'));
  EXPECT_FALSE(set.Contains('C'));
  EXPECT_EQ(set.Chars(), std::string("\0AB\xff", 4));
  EXPECT_EQ(TCharSet("AB"), TCharSet("BAA"));
}

}  // namespace
}  // namespace vg
