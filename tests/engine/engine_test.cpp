// The engine component: defaults, the calls Start makes and in which order, setters before and
// after Start, stopping, error codes, and the answers that depend on the context's format.
#include <gtest/gtest.h>

#include "engine_test_support.h"

namespace vg {
namespace {

using testing::on;
using testing::Recording;

TEST(EngineDefaults, FreshEngineHoldsThePublishedDefaults) {
  TVGEngine engine(nullptr);
  EXPECT_EQ(engine.LockAttempts(), 5);
  EXPECT_EQ(engine.LockDelay(), 100);
  EXPECT_EQ(engine.AutoUnlock(), auOff);
  EXPECT_TRUE(engine.SingleOpen());
  EXPECT_TRUE(engine.LockEnforce());
  EXPECT_EQ(engine.FoxProVersion(), fpv26);
  EXPECT_EQ(engine.CodePage(), cpNone);
  EXPECT_EQ(engine.CollationSequence(), csMachine);
  EXPECT_FALSE(engine.VGErrorEnable());
  EXPECT_EQ(engine.ServerId(), "S4SERVER");
  EXPECT_EQ(engine.ProcessID(), "23165");
  EXPECT_EQ(engine.UserId(), "");
  EXPECT_EQ(engine.Password(), "");
  EXPECT_TRUE(engine.ConnectOnStart());
  EXPECT_EQ(engine.TableFormat(), tfDefault);
  EXPECT_FALSE(engine.OnConnect);
  EXPECT_EQ(engine.EngineHandle(), nullptr);
  EXPECT_FALSE(engine.Started());
  EXPECT_FALSE(engine.Connected());
  EXPECT_TRUE(engine.Databases().empty());
}

TEST(EngineStart, MakesItsCallsInTheFixedOrder) {
  Recording rec;
  TVGEngine engine(nullptr);
  engine.Start();
  ASSERT_TRUE(engine.Started());
  ASSERT_NE(engine.EngineHandle(), nullptr);
  EXPECT_TRUE(engine.Connected());  // desk-top build: connected without a call
  const std::vector<std::string> expected = {
      "code4initP()",
      on(engine, "code4autoOpen", {"0"}),
      on(engine, "code4lockAttemptsSingle", {"2"}),
      on(engine, "code4safety", {"0"}),
      on(engine, "code4errFieldName", {"0"}),
      on(engine, "code4errTagName", {"0"}),
      on(engine, "code4optimize", {"-1"}),
      on(engine, "code4optimizeWrite", {"-1"}),
      on(engine, "code4dateFormatSet", {"MM/DD/CCYY"}),
      on(engine, "code4lockEnforce", {"1"}),
      on(engine, "code4lockAttempts", {"5"}),
      on(engine, "code4lockDelay", {"100"}),
      on(engine, "code4unlockAutoSetCB", {"0"}),
      on(engine, "code4singleOpen", {"1"}),
      on(engine, "code4compatibility", {"26"}),
      on(engine, "code4codePage", {"0"}),
      on(engine, "code4collatingSequence", {"0"}),
      on(engine, "code4errOff", {"1"}),
      on(engine, "code4accessMode", {"0"}),
      on(engine, "code4readOnly", {"0"}),
      on(engine, "code4errDefaultUnique", {"25"}),
      on(engine, "code4autoOpen", {"0"}),
      on(engine, "code4safety", {"0"}),
  };
  EXPECT_EQ(rec.texts(), expected);
  EXPECT_EQ(VGEnv->EngineList().back(), &engine);
}

TEST(EngineStart, SettingsStoredBeforeStartAreAppliedByIt) {
  Recording rec;
  TVGEngine engine(nullptr);
  engine.SetLockAttempts(7);
  engine.SetLockDelay(250);
  engine.SetLockEnforce(false);
  engine.SetAutoUnlock(auData);
  engine.SetSingleOpen(false);
  engine.SetFoxProVersion(fpv30);
  engine.SetCodePage(cpANSI);
  engine.SetCollationSequence(csGeneral);
  engine.SetVGErrorEnable(true);
  engine.SetTableFormat(tfdBASE);
  engine.SetServerId("OTHER");
  EXPECT_TRUE(rec.recorder.empty()) << "no engine call before Start";

  engine.Start();
  const auto texts = rec.texts();
  const auto from = std::find(texts.begin(), texts.end(), on(engine, "code4lockEnforce", {"0"}));
  ASSERT_NE(from, texts.end());
  const std::vector<std::string> applied(from, from + 10);
  const std::vector<std::string> expected = {
      on(engine, "code4lockEnforce", {"0"}),   on(engine, "code4lockAttempts", {"7"}),
      on(engine, "code4lockDelay", {"250"}),   on(engine, "code4unlockAutoSetCB", {"2"}),
      on(engine, "code4singleOpen", {"0"}),    on(engine, "code4compatibility", {"30"}),
      on(engine, "code4codePage", {"3"}),      on(engine, "code4collatingSequence", {"1"}),
      on(engine, "code4errOff", {"0"}),        on(engine, "code4indexFormat", {"4"}),
  };
  EXPECT_EQ(applied, expected);

  // The real context holds them (reading a setting back with r4check).
  CODE4* c4 = engine.EngineHandle();
  EXPECT_EQ(code4lockAttempts(c4, r4check), 7);
  EXPECT_EQ(code4lockDelay(c4, r4check), 250);
  EXPECT_EQ(code4lockEnforce(c4, r4check), 0);
  EXPECT_EQ(code4unlockAutoSetCB(c4, r4check), 2);
  EXPECT_EQ(code4compatibility(c4, r4check), 30);
  EXPECT_EQ(code4codePage(c4, r4check), 3);
  EXPECT_EQ(code4autoOpen(c4, r4check), 0);
  EXPECT_EQ(code4lockAttemptsSingle(c4, r4check), 2);
  EXPECT_EQ(code4indexFormat(c4, r4check), 4);
}

TEST(EngineSetters, WhileStartedEachCallsTheEngineAtOnce) {
  Recording rec;
  TVGEngine engine(nullptr);
  engine.Start();
  rec.clear();

  engine.SetAutoUnlock(auAll);
  engine.SetAutoUnlock(auData);
  engine.SetAutoUnlock(auOff);
  engine.SetLockAttempts(5);  // an unchanged value is still passed on
  engine.SetVGErrorEnable(true);
  engine.SetVGErrorEnable(false);
  engine.SetCodePage(cpMSDOS);
  engine.SetFoxProVersion(fpv25);
  engine.SetPassword("secret");  // read by Connect only
  engine.SetConnectOnStart(false);
  const std::vector<std::string> expected = {
      on(engine, "code4unlockAutoSetCB", {"1"}), on(engine, "code4unlockAutoSetCB", {"2"}),
      on(engine, "code4unlockAutoSetCB", {"0"}), on(engine, "code4lockAttempts", {"5"}),
      on(engine, "code4errOff", {"0"}),          on(engine, "code4errOff", {"1"}),
      on(engine, "code4codePage", {"1"}),        on(engine, "code4compatibility", {"25"}),
  };
  EXPECT_EQ(rec.texts(), expected);
}

TEST(EngineStart, SecondStartAndStopOnStoppedEngineDoNothing) {
  Recording rec;
  TVGEngine engine(nullptr);
  engine.StartUndo();
  EXPECT_TRUE(rec.recorder.empty());
  engine.Start();
  CODE4* first = engine.EngineHandle();
  rec.clear();
  engine.Start();
  EXPECT_TRUE(rec.recorder.empty());
  EXPECT_EQ(engine.EngineHandle(), first);
  EXPECT_EQ(std::count(VGEnv->EngineList().begin(), VGEnv->EngineList().end(), &engine), 1);
}

TEST(EngineStartUndo, ClosesFreesAndKeepsHandleAndConnected) {
  Recording rec;
  TVGEngine engine(nullptr);
  engine.Start();
  CODE4* handle = engine.EngineHandle();
  rec.clear();
  engine.StartUndo();
  EXPECT_EQ(rec.texts(), (std::vector<std::string>{on(engine, "code4close"),
                                                    on(engine, "code4initUndo")}));
  EXPECT_FALSE(engine.Started());
  EXPECT_TRUE(engine.Connected()) << "never cleared";
  EXPECT_EQ(engine.EngineHandle(), handle) << "kept as it was";
  EXPECT_TRUE(std::find(VGEnv->EngineList().begin(), VGEnv->EngineList().end(), &engine) ==
              VGEnv->EngineList().end());

  // The kept handle refers to a freed context: nothing may pass it to the engine again.
  rec.clear();
  EXPECT_EQ(engine.GetIndexExt(), "");
  EXPECT_EQ(engine.GetIndexFormat(), ifUnknown);
  EXPECT_EQ(engine.GetLastErrorCode(), 0);
  engine.ResetErrorCode();
  engine.SetDefaults();
  engine.CloseFiles();
  engine.SetLockAttempts(9);
  EXPECT_TRUE(rec.recorder.empty());

  engine.Start();  // a new context, configured again
  EXPECT_TRUE(engine.Started());
  EXPECT_EQ(rec.recorder.named("code4lockAttempts").back().args.back(), "9");
}

TEST(EngineStart, LibraryStartFailureRaisesAndStaysStopped) {
  Recording rec;
  rec.stand_in.init_fails = true;
  TVGEngine engine(nullptr);
  try {
    engine.Start();
    FAIL() << "Start succeeded";
  } catch (const EVGEngineError& e) {
    EXPECT_EQ(e.Message(), "Could not start engine.");
  }
  EXPECT_FALSE(engine.Started());
  EXPECT_FALSE(engine.Connected());
  EXPECT_EQ(engine.EngineHandle(), nullptr);
  EXPECT_EQ(rec.names(), std::vector<std::string>{"code4initP"});
  EXPECT_EQ(engine.GetIndexExt(), "");
}

TEST(EngineConnect, DeskTopConnectMakesNoCallAndFiresOnConnect) {
  Recording rec;
  TVGEngine engine(nullptr);
  std::vector<TObject*> senders;
  engine.OnConnect = [&](TObject* sender) { senders.push_back(sender); };
  engine.SetConnectOnStart(false);  // a desk-top build connects at Start all the same
  engine.Start();
  EXPECT_TRUE(engine.Connected());
  ASSERT_EQ(senders.size(), 1u);
  EXPECT_EQ(senders[0], &engine);
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
  EXPECT_EQ(rec.texts(), (std::vector<std::string>{on(engine, "code4errorCode", {"-5"}),
                                                   on(engine, "code4errorCode", {"-5"}),
                                                   on(engine, "code4errorCode", {"0"})}));
}

TEST(EngineErrors, RealFailureGivesCodeAndTextUntilReset) {
  TVGEngine engine(nullptr);
  engine.Start();
  EXPECT_EQ(engine.GetLastErrorCode(), 0);
  EXPECT_EQ(d4open(engine.EngineHandle(), "no-such-table-here"), nullptr);
  EXPECT_EQ(engine.GetLastErrorCode(), e4open);
  EXPECT_FALSE(engine.GetLastErrorText().empty());
  engine.ResetErrorCode();
  EXPECT_EQ(engine.GetLastErrorCode(), 0);
}

TEST(EngineErrors, GenericCheckNamesCodeAndOperationAndClearsTheCode) {
  Recording rec;
  TVGEngine engine(nullptr);
  engine.Start();
  CheckEngineError(engine, "Skip");  // no pending code: passes
  code4errorCode(engine.EngineHandle(), e4close);
  try {
    CheckEngineError(engine, "Skip");
    FAIL() << "no exception";
  } catch (const EVGError& e) {
    EXPECT_EQ(e.Message(), "Vargo error: -10 has occured before Skip was called.");
  }
  EXPECT_EQ(code4errorCode(engine.EngineHandle(), r4check), 0);
  code4errorCode(engine.EngineHandle(), 5);  // a positive code is no failure
  EXPECT_NO_THROW(CheckEngineError(engine, "Skip"));
}

TEST(EngineFiles, CloseFilesClosesTheTablesOfTheContext) {
  testing::TempFolder folder("close_files");
  TVGEngine engine(nullptr);
  engine.Start();
  DATA4* data = testing::create_table(engine, folder.path() + "PEOPLE.DBF");
  ASSERT_NE(data, nullptr);
  ASSERT_NE(code4data(engine.EngineHandle(), "PEOPLE"), nullptr);
  engine.CloseFiles();
  EXPECT_EQ(code4data(engine.EngineHandle(), "PEOPLE"), nullptr);
  EXPECT_TRUE(engine.Started()) << "the context stays usable";
  EXPECT_NE(testing::create_table(engine, folder.path() + "OTHER.DBF"), nullptr);
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

TEST(EngineFormatAnswers, UnstartedEngineAnswersEmptyAndUnknownWithoutCalls) {
  Recording rec;
  TVGEngine engine(nullptr);
  EXPECT_EQ(engine.GetIndexExt(), "");
  EXPECT_EQ(engine.GetIndexFormat(), ifUnknown);
  EXPECT_EQ(engine.ValidFieldTypes().Chars(), "CDLMN");
  EXPECT_EQ(engine.BlobFields().Chars(), "GMX");
  EXPECT_EQ(engine.FixedBinaryTypes().Chars(), "");
  EXPECT_FALSE(engine.Fox3FieldsSupported());
  EXPECT_TRUE(rec.recorder.empty());
}

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
  const TIndexFormat expected = build == DLLClipper ? ifClipper
                                : build == DLLDBase ? ifdBASE
                                                    : ifFox;
  EXPECT_EQ(engine.GetIndexFormat(), expected);

  engine.SetTableFormat(build == DLLClipper ? tfdBASE : tfClipper);
  EXPECT_NE(engine.GetIndexFormat(), expected);
  rec.clear();
  engine.SetTableFormat(tfDefault);
  const long build_bit = build == DLLClipper ? 2 : build == DLLDBase ? 4 : 1;
  EXPECT_EQ(rec.texts().front(), on(engine, "code4indexFormat", {std::to_string(build_bit)}));
  EXPECT_EQ(engine.GetIndexFormat(), expected);
}

TEST(EngineDestroy, StopsTheStartedEngine) {
  Recording rec;
  CODE4* handle = nullptr;
  {
    TVGEngine engine(nullptr);
    engine.Start();
    handle = engine.EngineHandle();
    rec.clear();
  }
  EXPECT_EQ(rec.texts(),
            (std::vector<std::string>{"code4close(" + engine_api::pointer_text(handle) + ")",
                                      "code4initUndo(" + engine_api::pointer_text(handle) + ")"}));
  EXPECT_TRUE(VGEnv->EngineList().empty());
}

TEST(EngineOwnership, OwnerFreesTheEngine) {
  TComponent form(nullptr);
  auto* engine = new TVGEngine(&form);
  engine->Start();
  EXPECT_EQ(form.ComponentCount(), 1);
  // The form's destruction stops and frees it; a leak or double stop shows under the sanitizers.
}

TEST(CharSet, HoldsAnyOneByteCharacter) {
  TCharSet set("BA");
  set.Include('\xff');
  set.Include('\0');
  EXPECT_TRUE(set.Contains('A'));
  EXPECT_FALSE(set.Contains('C'));
  EXPECT_TRUE(set.Contains('\xff'));
  EXPECT_EQ(set.Chars(), std::string("\0AB\xff", 4));
  EXPECT_EQ(TCharSet("AB"), TCharSet("BAA"));
  EXPECT_TRUE(TCharSet().Empty());
}

}  // namespace
}  // namespace vg
