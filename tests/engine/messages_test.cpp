// The message catalogue, the application's hook that replaces its texts, and the exception
// family.
#include <gtest/gtest.h>

#include <type_traits>

#include "engine/Vgmsg.h"
#include "engine_test_support.h"

namespace vg {
namespace {

std::string message(int id, const std::string& other = "") {
  std::string text = "left over";
  GetMsgText(id, other, text);
  return text;
}

TEST(MessageCatalogue, FileActiveNamesTheFileAndUnknownNumbersGiveEmptyText) {
  testing::FreshEnv fresh;
  const std::string rest = " is active from within this program.  This file will be skipped.";
  EXPECT_EQ(message(kMsgFileActive, "ORDERS.DBF"), "ORDERS.DBF" + rest);
  EXPECT_EQ(message(kMsgFileActive), rest);
  for (const int unknown : {0, kMsgLockSaveAborted + 1, -1}) EXPECT_EQ(message(unknown), "");
}

TEST(MessageCatalogue, HandlerSeesEveryRequestAndItsTextWins) {
  testing::FreshEnv fresh;
  std::vector<std::string> seen;
  VGEnv->OnGetMessageText = [&](int id, const std::string& other, std::string& text) {
    seen.push_back(std::to_string(id) + "|" + other + "|" + text);
    if (id != 9) text = "[" + std::to_string(id) + "]";
  };
  for (int id = 1; id <= 8; ++id) EXPECT_EQ(message(id, "F.DBF"), "[" + std::to_string(id) + "]");
  EXPECT_EQ(message(9, "x"), "");
  ASSERT_EQ(seen.size(), 9u);
  EXPECT_EQ(seen[1], "2|F.DBF|Record lock was unsuccessful, edit aborted.");
  EXPECT_EQ(seen[8], "9|x|") << "called for unknown numbers too";
}

// The roots handlers catch by: data-source failures are the components' own errors, dataset
// failures database errors only.
static_assert(std::is_base_of_v<EVGDataSourceError, EVGOpenError>);
static_assert(std::is_base_of_v<EVGError, EVGUniqueTagViolation>);
static_assert(!std::is_base_of_v<EDatabaseError, EVGOpenError>);
static_assert(!std::is_base_of_v<EVGDataSourceError, EVGEngineError>);
static_assert(!std::is_base_of_v<EVGDataSourceError, EVGParseError>);
static_assert(std::is_base_of_v<EDatabaseError, EVGDSRLockError>);
static_assert(!std::is_base_of_v<EVGError, EVGDSRLockError>);
static_assert(!std::is_base_of_v<EVGDataSetError, EVGReconcileError>);
static_assert(std::is_base_of_v<Exception, EVGReconcileError>);

TEST(ExceptionFamily, MessageKeptAndSpareFieldsClear) {
  const EVGFieldError e("Field NAME not found.");
  EXPECT_STREQ(e.what(), "Field NAME not found.");
  EXPECT_EQ(e.ErrorCode(), 0);
  EXPECT_EQ(e.DetailText(), "");
}

}  // namespace
}  // namespace vg
