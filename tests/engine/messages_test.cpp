// The message catalogue, the application's hook that replaces its texts, and the shape of the
// exception family.
#include <gtest/gtest.h>

#include "engine/Vgmsg.h"
#include "engine_test_support.h"

namespace vg {
namespace {

std::string message(int id, const std::string& other = "") {
  std::string text = "left over";
  GetMsgText(id, other, text);
  return text;
}

TEST(MessageCatalogue, TextsAsShownToTheUser) {
  testing::FreshEnv fresh;
  EXPECT_EQ(message(1), "Are you sure you wish to abandon these changes?");
  EXPECT_EQ(message(2), "Record lock was unsuccessful, edit aborted.");
  EXPECT_EQ(message(3), "Record lock was unsuccessful.  This record has not been saved.");
  EXPECT_EQ(message(4), "Record lock was unsuccessful.  This record has not been deleted.");
  EXPECT_EQ(message(5), "Record lock was unsuccessful.  This record has not been recalled.");
  EXPECT_EQ(message(6), "Are you sure you wish to delete this record?");
  EXPECT_EQ(message(8), "Record lock was unsuccessful, save aborted.");
  EXPECT_EQ(message(7, "ORDERS.DBF"),
            "ORDERS.DBF is active from within this program.  This file will be skipped.");
  EXPECT_EQ(message(7), " is active from within this program.  This file will be skipped.");
}

TEST(MessageCatalogue, UnknownNumbersGiveEmptyText) {
  testing::FreshEnv fresh;
  EXPECT_EQ(message(0), "");
  EXPECT_EQ(message(9), "");
  EXPECT_EQ(message(-1), "");
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

TEST(MessageCatalogue, HandlerInstalledThroughTheGlobalsComponent) {
  testing::FreshEnv fresh;
  TVGGlobals globals(nullptr);
  globals.SetOnGetMessageText([](int, const std::string&, std::string& text) {
    text = "Wirklich löschen?";
  });
  EXPECT_EQ(message(6), "Wirklich löschen?");
}

template <typename Caught, typename Thrown>
bool caught_as() {
  try {
    throw Thrown("m");
  } catch (const Caught&) {
    return true;
  } catch (...) {
    return false;
  }
}

TEST(ExceptionFamily, DataSourceFailuresAreCaughtByTheirRoots) {
  EXPECT_TRUE((caught_as<EVGDataSourceError, EVGOpenError>()));
  EXPECT_TRUE((caught_as<EVGError, EVGOpenError>()));
  EXPECT_TRUE((caught_as<Exception, EVGOpenError>()));
  EXPECT_FALSE((caught_as<EDatabaseError, EVGOpenError>()));
  EXPECT_TRUE((caught_as<EVGDataSourceError, EVGUniqueTagViolation>()));
  EXPECT_TRUE((caught_as<EVGDataSourceError, EVGQueryError>()));
  EXPECT_FALSE((caught_as<EVGDataSourceError, EVGEngineError>()));
  EXPECT_FALSE((caught_as<EVGDataSourceError, EVGParseError>()));
  EXPECT_TRUE((caught_as<EVGError, EVGDictionaryError>()));
}

TEST(ExceptionFamily, DatasetFailuresAreDatabaseErrorsOnly) {
  EXPECT_TRUE((caught_as<EDatabaseError, EVGDSRLockError>()));
  EXPECT_TRUE((caught_as<EVGDataSetError, EVGDSRLockError>()));
  EXPECT_FALSE((caught_as<EVGError, EVGDSRLockError>()));
  EXPECT_TRUE((caught_as<EVGMemSetError, EVGReconcileError>()));
  EXPECT_FALSE((caught_as<EVGDataSetError, EVGReconcileError>()));
  EXPECT_TRUE((caught_as<Exception, EVGReconcileError>()));
}

TEST(ExceptionFamily, MessageKeptAndSpareFieldsClear) {
  const EVGFieldError e("Field NAME not found.");
  EXPECT_EQ(e.Message(), "Field NAME not found.");
  EXPECT_STREQ(e.what(), "Field NAME not found.");
  EXPECT_EQ(e.ErrorCode(), 0);
  EXPECT_EQ(e.ErrorText(), "");
  EXPECT_EQ(e.DetailCode(), 0);
  EXPECT_EQ(e.DetailText(), "");
}

}  // namespace
}  // namespace vg
