// The client/server paths of the engine component, with the engine's build flags replaced so
// that it answers as a server-engine client build, and code4connect answering chosen codes.
#include <gtest/gtest.h>

#include "engine_test_support.h"

namespace vg {
namespace {

using testing::on;

constexpr long kClientFoxBuild = 0x01;  // no desk-top bit

// A recording, with a VGEnv that read the client build's flags.
class ClientServer : public ::testing::Test {
 protected:
  ClientServer() {
    rec_.stand_in.build_flags = kClientFoxBuild;
    env_.emplace();
    rec_.clear();  // the new VGEnv's u4switch
  }

  testing::Recording rec_;
  std::optional<testing::FreshEnv> env_;  // goes first: engines of a test are gone by then
};

TEST_F(ClientServer, EnvSeesAClientServerModel) {
  EXPECT_EQ(VGEnv->BuildFlags(), 0x01u);
  EXPECT_EQ(VGEnv->GetDataBaseModel(), dmClientServer);
}

TEST_F(ClientServer, StartConnectsWithTheCopiedIdentity) {
  rec_.stand_in.connect_result = 0;
  TVGEngine engine(nullptr);
  engine.SetServerId("DATAHOST");
  engine.SetUserId("clerk");
  engine.SetPassword("pw");
  int fired = 0;
  engine.OnConnect = [&](TObject*) { ++fired; };
  engine.Start();
  EXPECT_TRUE(engine.Started());
  EXPECT_TRUE(engine.Connected());
  EXPECT_EQ(fired, 1);
  const auto texts = rec_.texts();
  ASSERT_GE(texts.size(), 3u);
  EXPECT_EQ(texts[0], "code4initP()");
  EXPECT_EQ(texts[1], on(engine, "code4connect", {"DATAHOST", "23165", "clerk", "pw",
                                                  "C4SOCK.DLL"}));
  EXPECT_EQ(texts[2], on(engine, "code4autoOpen", {"0"}));
}

TEST_F(ClientServer, AnswerOneHundredFiftyIsNoError) {
  rec_.stand_in.connect_result = 150;
  TVGEngine engine(nullptr);
  EXPECT_NO_THROW(engine.Start());
  EXPECT_TRUE(engine.Connected());
}

TEST_F(ClientServer, WithoutConnectOnStartStartsUnconnected) {
  rec_.stand_in.connect_result = 0;
  TVGEngine engine(nullptr);
  engine.SetConnectOnStart(false);
  engine.Start();
  EXPECT_TRUE(engine.Started());
  EXPECT_FALSE(engine.Connected());
  EXPECT_TRUE(rec_.recorder.named("code4connect").empty());
  engine.Connect();
  EXPECT_TRUE(engine.Connected());
  EXPECT_EQ(rec_.recorder.named("code4connect").size(), 1u);
}

TEST_F(ClientServer, FailedConnectClearsTheCodeAndRaisesWithTheServer) {
  rec_.stand_in.connect_result = -190;
  TVGEngine engine(nullptr);
  engine.SetConnectOnStart(false);
  engine.Start();
  rec_.clear();
  try {
    engine.Connect();
    FAIL() << "Connect succeeded";
  } catch (const EVGEngineError& e) {
    EXPECT_EQ(e.Message(), "Could not connect to server: S4SERVER");
  }
  EXPECT_FALSE(engine.Connected());
  EXPECT_EQ(rec_.names(), (std::vector<std::string>{"code4connect", "code4errorCode"}));
  EXPECT_EQ(rec_.texts().back(), on(engine, "code4errorCode", {"0"}));
}

TEST_F(ClientServer, ConnectFailureInsideStartLeavesItStoppedAndNextStartInitsAgain) {
  rec_.stand_in.connect_result = 5;
  TVGEngine engine(nullptr);
  EXPECT_THROW(engine.Start(), EVGEngineError);
  EXPECT_FALSE(engine.Started());
  EXPECT_FALSE(engine.Connected());
  CODE4* first = engine.EngineHandle();
  EXPECT_NE(first, nullptr) << "the context exists although not started";
  EXPECT_TRUE(VGEnv->EngineList().empty());
  EXPECT_EQ(engine.GetIndexExt(), "CDX") << "the context answers";

  rec_.stand_in.connect_result = 0;
  rec_.clear();
  engine.Start();
  EXPECT_TRUE(engine.Started());
  EXPECT_EQ(rec_.names().front(), "code4initP");
  EXPECT_NE(engine.EngineHandle(), first);
  // The first context is freed with the component (the sanitizer build would see a leak).
}

TEST(BuildFlags, ModelAndFormatFollowTheBits) {
  struct Case {
    long flags;
    TDataBaseModel model;
    TDLLFormat format;
  };
  for (const Case& c : {Case{0x83, dmDeskTop, DLLClipper}, Case{0x0F, dmClientServer, DLLClient},
                        Case{0, dmClientServer, DLLUnknown}, Case{0x81, dmDeskTop, DLLFox},
                        Case{0x85, dmDeskTop, DLLDBase}, Case{0x80, dmDeskTop, DLLUnknown}}) {
    testing::Recording rec;
    rec.stand_in.build_flags = c.flags;
    testing::FreshEnv env;
    EXPECT_EQ(VGEnv->GetDataBaseModel(), c.model) << c.flags;
    EXPECT_EQ(VGEnv->GetDLLFormat(), c.format) << c.flags;
    TVGGlobals globals(nullptr);
    EXPECT_EQ(globals.GetDataBaseModel(), c.model);
    EXPECT_EQ(globals.GetDLLFormat(), c.format);
  }
}

TEST(BuildFlags, RealEngineIsADeskTopBuildWithOneFormat) {
  EXPECT_EQ(VGEnv->BuildFlags(), static_cast<uint32_t>(u4switch()));
  EXPECT_EQ(VGEnv->GetDataBaseModel(), dmDeskTop);
  EXPECT_NE(VGEnv->GetDLLFormat(), DLLUnknown);
}

}  // namespace
}  // namespace vg
