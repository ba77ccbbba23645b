// The client/server paths of the engine component, with the engine's build flags replaced so
// that it answers as a server-engine client build, and code4connect answering chosen codes.
#include <gtest/gtest.h>

#include "engine_test_support.h"

namespace vg {
namespace {

using testing::on;
using testing::raised;

// code4connect's answer when this process is connected already.
constexpr int kAlreadyConnected = 150;

// A recording, with a VGEnv that read the flags of a client build (no desk-top bit).
class ClientServer : public ::testing::Test {
 protected:
  ClientServer() {
    rec_.stand_in.build_flags = u4formatFox;
    env_.emplace();
    rec_.clear();  // the new VGEnv's u4switch
  }

  testing::Recording rec_;
  std::optional<testing::FreshEnv> env_;  // goes first: engines of a test are gone by then
};

TEST_F(ClientServer, StartConnectsWithTheCopiedIdentityBeforeConfiguring) {
  rec_.stand_in.connect_result = r4success;
  TVGEngine engine(nullptr);
  engine.SetServerId("DATAHOST");
  engine.SetUserId("clerk");
  engine.SetPassword("pw");
  int fired = 0;
  engine.OnConnect = [&](TObject*) { ++fired; };
  engine.Start();
  EXPECT_TRUE(engine.Connected());
  EXPECT_EQ(fired, 1);
  const auto texts = rec_.texts();
  ASSERT_GE(texts.size(), 3u);
  EXPECT_EQ(texts[0], "code4initP()");
  EXPECT_EQ(texts[1], on(engine, "code4connect", {"DATAHOST", "23165", "clerk", "pw",
                                                  "C4SOCK.DLL"}));
  EXPECT_EQ(texts[2], on(engine, "code4autoOpen", {"0"}));
}

TEST_F(ClientServer, ConnectOnlyOnSuccessOrAlreadyConnectedElseClearTheCodeAndRaise) {
  const int answers[] = {r4success, kAlreadyConnected, r4eof, e4notSupported};
  for (const int answer : answers) {
    rec_.stand_in.connect_result = answer;
    TVGEngine engine(nullptr);
    engine.SetConnectOnStart(false);
    engine.Start();
    EXPECT_FALSE(engine.Connected());
    rec_.clear();
    const bool connects = answer == r4success || answer == kAlreadyConnected;
    EXPECT_EQ(raised<EVGEngineError>([&] { engine.Connect(); }),
              connects ? "<none>" : "Could not connect to server: S4SERVER") << answer;
    EXPECT_EQ(engine.Connected(), connects) << answer;
    std::vector<std::string> calls = {
        on(engine, "code4connect", {"S4SERVER", "23165", "", "", "C4SOCK.DLL"})};
    if (!connects) calls.push_back(on(engine, "code4errorCode", {"0"}));
    EXPECT_EQ(rec_.texts(), calls) << answer;
  }
}

TEST_F(ClientServer, ConnectFailureInsideStartLeavesItStoppedAndNextStartInitsAgain) {
  rec_.stand_in.connect_result = r4eof;
  TVGEngine engine(nullptr);
  EXPECT_THROW(engine.Start(), EVGEngineError);
  EXPECT_FALSE(engine.Started());
  EXPECT_FALSE(engine.Connected());
  CODE4* first = engine.EngineHandle();
  EXPECT_NE(first, nullptr) << "the context exists although not started";
  EXPECT_TRUE(VGEnv->EngineList().empty());
  EXPECT_EQ(engine.GetIndexExt(), "CDX") << "the context answers";

  rec_.stand_in.connect_result = r4success;
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
  // The highest format bit decides; 0x08 marks a client build.
  for (const Case& c : {Case{0x83, dmDeskTop, DLLClipper}, Case{0x0F, dmClientServer, DLLClient},
                        Case{0, dmClientServer, DLLUnknown}, Case{0x81, dmDeskTop, DLLFox},
                        Case{0x85, dmDeskTop, DLLDBase}, Case{0x80, dmDeskTop, DLLUnknown}}) {
    testing::Recording rec;
    rec.stand_in.build_flags = c.flags;
    testing::FreshEnv env;
    TVGGlobals globals(nullptr);
    EXPECT_EQ(globals.GetDataBaseModel(), c.model) << c.flags;
    EXPECT_EQ(globals.GetDLLFormat(), c.format) << c.flags;
  }
  // The real engine: a desk-top build with one format.
  EXPECT_EQ(VGEnv->BuildFlags(), static_cast<uint32_t>(u4switch()));
  EXPECT_EQ(VGEnv->GetDataBaseModel(), dmDeskTop);
  EXPECT_NE(VGEnv->GetDLLFormat(), DLLUnknown);
}

}  // namespace
}  // namespace vg
