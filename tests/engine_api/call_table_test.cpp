// The engine door: the default table reaches the engine, an installed table takes its place for
// its scope, and a recorder logs each call with its arguments before passing it on.
#include <gtest/gtest.h>

#include "engine_api/call_recorder.h"
#include "engine_api/engine_api.h"

namespace vg::engine_api {
namespace {

class FixedBuild : public EngineCalls {
 public:
  long u4switch() override { return 0x0F; }
};

TEST(CallTable, DefaultTableReachesTheEngine) {
  EXPECT_EQ(&calls(), &engine_calls());
  EXPECT_EQ(calls().u4switch(), ::u4switch());
  CODE4* c4 = calls().code4initP();
  ASSERT_NE(c4, nullptr);
  EXPECT_EQ(calls().code4lockDelay(c4, 40), 100);  // setters answer the previous value
  EXPECT_EQ(::code4lockDelay(c4, r4check), 40);
  EXPECT_EQ(calls().code4initUndo(c4), 0);
}

TEST(CallTable, InstalledTablesNestAndComeBack) {
  FixedBuild build;
  {
    ScopedEngineCalls outer(build);
    EXPECT_EQ(calls().u4switch(), 0x0F);
    CallRecorder recorder;  // over the engine itself
    {
      ScopedEngineCalls inner(recorder);
      EXPECT_EQ(calls().u4switch(), ::u4switch());
    }
    EXPECT_EQ(recorder.texts(), std::vector<std::string>{"u4switch()"});
    EXPECT_EQ(calls().u4switch(), 0x0F);
  }
  EXPECT_EQ(&calls(), &engine_calls());
}

TEST(CallRecorder, LogsArgumentsByKindAndPassesResultsOn) {
  FixedBuild build;
  CallRecorder recorder(build);
  ScopedEngineCalls scope(recorder);
  EXPECT_EQ(calls().u4switch(), 0x0F);
  CODE4* c4 = calls().code4initP();
  ASSERT_NE(c4, nullptr);
  calls().code4dateFormatSet(c4, "CCYY.MM.DD");
  calls().code4data(c4, nullptr);
  // A counted text is logged by its length only: "12345" of "12345678".
  EXPECT_EQ(calls().c4atol("12345678", 5), 12345);
  char day[9] = {};
  calls().date4assign(day, 2451545);  // an output buffer: logged as an address
  EXPECT_STREQ(day, "20000101");
  calls().code4initUndo(c4);

  const std::string h = pointer_text(c4);
  const std::vector<std::string> expected = {
      "u4switch()",
      "code4initP()",
      "code4dateFormatSet(" + h + ", CCYY.MM.DD)",
      "code4data(" + h + ", (null))",
      "c4atol(12345, 5)",
      "date4assign(" + pointer_text(day) + ", 2451545)",
      "code4initUndo(" + h + ")",
  };
  EXPECT_EQ(recorder.texts(), expected);
  EXPECT_EQ(recorder.named("code4initP").size(), 1u);
  EXPECT_EQ(recorder.names().front(), "u4switch");
  recorder.clear();
  EXPECT_TRUE(recorder.empty());
}

TEST(CallRecorder, CountedTextIsNeverReadPastItsLength) {
  CallRecorder recorder;
  ScopedEngineCalls scope(recorder);
  const char unterminated[3] = {'4', '2', '7'};
  EXPECT_EQ(calls().c4atol(unterminated, 2), 42);
  EXPECT_EQ(recorder.texts(), std::vector<std::string>{"c4atol(42, 2)"});
  EXPECT_EQ(arg_text(counted_text(nullptr, 4)), "(null)");
  EXPECT_EQ(arg_text(counted_text("abc", -1)), "");
  EXPECT_EQ(arg_text(2.5), "2.5");
  EXPECT_EQ(pointer_text(nullptr), "(null)");
}

}  // namespace
}  // namespace vg::engine_api
