// The database component: folders, closing its tables whenever they would move, attaching to
// and detaching from engines, and finding the structure file.
#include <gtest/gtest.h>

#include <fstream>
#include <functional>

#include "engine_test_support.h"
#include "framework/sys_utils.h"

namespace vg {
namespace {

using testing::FakeSource;
using testing::FreshEnv;
using testing::Recording;

bool listed(const std::vector<TVGDataBase*>& list, const TVGDataBase* database) {
  return std::find(list.begin(), list.end(), database) != list.end();
}

void touch(const std::string& file) { std::ofstream(file) << "NAME C 10\n"; }

// What a database tells its sources about where their files are.
std::string settings(const TVGDataBase& database) {
  return database.Name() + "|" + database.DataPath() + "|" + database.IndexPath() + "|" +
         database.DesignPath() + "|" + engine_api::pointer_text(database.VGEngine());
}

TEST(Database, ChangesThatMoveTheTablesCloseThemFirstAndRepeatsCloseNothing) {
  FreshEnv fresh;
  TVGEngine engine(nullptr);
  const std::pair<const char*, std::function<void(TVGDataBase&)>> changes[] = {
      {"data path", [](TVGDataBase& d) { d.SetDataPath("/data/"); }},
      {"index path", [](TVGDataBase& d) { d.SetIndexPath("/index/"); }},
      {"design path", [](TVGDataBase& d) { d.SetDesignPath("design/"); }},
      {"name", [](TVGDataBase& d) { d.SetName("Sales"); }},
      {"engine", [&](TVGDataBase& d) { d.SetVGEngine(&engine); }},
  };
  for (const auto& [what, change] : changes) {
    TVGDataBase database(nullptr);
    FakeSource source(database, "CUST", nullptr);
    source.Open();
    const std::string before = settings(database);
    source.on_close = [&] { EXPECT_EQ(settings(database), before) << what << ": closed late"; };
    change(database);
    EXPECT_EQ(source.closes, 1) << what;
    EXPECT_TRUE(database.OpenSources().empty()) << what;
    source.on_close = nullptr;
    source.Open();
    change(database);
    EXPECT_EQ(source.closes, 1) << what << " set again";
    database.SetVGEngine(nullptr);
  }
}

TEST(Database, FoldersGetATrailingSlash) {
  FreshEnv fresh;
  TVGDataBase database(nullptr);
  // "" stays empty, and a change of case alone is a change.
  const std::pair<const char*, const char*> cases[] = {
      {"", ""}, {"/", "/"}, {"idx", "idx/"}, {"/design/", "/design/"}, {"/Design/", "/Design/"}};
  for (const auto& [given, stored] : cases) {
    database.SetDataPath(given);
    database.SetIndexPath(given);
    database.SetDesignPath(given);
    EXPECT_EQ(database.DataPath(), stored);
    EXPECT_EQ(database.IndexPath(), stored);
    EXPECT_EQ(database.DesignPath(), stored);
  }
  // The given text is compared, not the stored one: "/Design" again closes the tables.
  FakeSource source(database, "CUST", nullptr);
  source.Open();
  database.SetDataPath("/Design");
  EXPECT_EQ(source.closes, 1);
}

TEST(Database, CloseFilesClosesLastFirst) {
  FreshEnv fresh;
  TVGDataBase database(nullptr);
  std::vector<std::string> journal;
  FakeSource a(database, "A", &journal);
  FakeSource b(database, "B", &journal);
  FakeSource c(database, "C", &journal);
  a.Open();
  b.Open();
  c.Open();
  database.CloseFiles();
  EXPECT_EQ(journal, (std::vector<std::string>{"close C", "close B", "close A"}));
}

TEST(DatabaseEngine, AttachingMovesTheDatabaseBetweenEngineLists) {
  FreshEnv fresh;
  TVGEngine first(nullptr);
  TVGEngine second(nullptr);
  TVGDataBase database(nullptr);
  database.SetVGEngine(&first);
  database.SetVGEngine(&first);
  EXPECT_EQ(first.Databases(), std::vector<TVGDataBase*>{&database});
  database.SetVGEngine(&second);
  EXPECT_TRUE(first.Databases().empty());
  EXPECT_EQ(second.Databases(), std::vector<TVGDataBase*>{&database});
  database.SetVGEngine(nullptr);
  EXPECT_TRUE(second.Databases().empty());
}

// Two databases on one started engine, each with an open source.
class TwoDatabases : public ::testing::Test {
 protected:
  TwoDatabases() {
    engine_.emplace(nullptr);
    one_.SetVGEngine(&*engine_);
    two_.SetVGEngine(&*engine_);
    engine_->Start();
    a_.Open();
    b_.Open();
  }

  FreshEnv fresh_;
  TVGDataBase one_{nullptr};
  TVGDataBase two_{nullptr};
  std::vector<std::string> journal_;
  FakeSource a_{one_, "A", &journal_};
  FakeSource b_{two_, "B", &journal_};
  std::optional<TVGEngine> engine_;
};

TEST_F(TwoDatabases, EngineCloseFilesClosesDatabasesInOrderThenTheContext) {
  Recording rec;
  bool engine_called_before_sources = false;
  a_.on_close = b_.on_close = [&] { engine_called_before_sources |= !rec.recorder.empty(); };
  engine_->CloseFiles();
  EXPECT_EQ(journal_, (std::vector<std::string>{"close A", "close B"}));
  EXPECT_FALSE(engine_called_before_sources);
  EXPECT_EQ(rec.texts(), std::vector<std::string>{testing::on(*engine_, "code4close")});
}

TEST_F(TwoDatabases, DestroyingTheEngineClosesAndDetachesEveryDatabase) {
  engine_.reset();
  EXPECT_EQ(journal_, (std::vector<std::string>{"close A", "close B"}));
  EXPECT_EQ(one_.VGEngine(), nullptr);
  EXPECT_EQ(two_.VGEngine(), nullptr);
  EXPECT_TRUE(VGEnv->EngineList().empty());
}

TEST_F(TwoDatabases, DestroyingADatabaseClosesItsTablesAndLeavesBothLists) {
  auto three = std::make_unique<TVGDataBase>(nullptr);
  TVGDataBase* gone = three.get();
  three->SetVGEngine(&*engine_);
  FakeSource source(*three, "C", &journal_);
  source.Open();
  EXPECT_TRUE(listed(VGEnv->DatabaseList(), gone));
  three.reset();
  EXPECT_EQ(journal_, std::vector<std::string>{"close C"});
  EXPECT_EQ(engine_->Databases(), (std::vector<TVGDataBase*>{&one_, &two_}));
  EXPECT_FALSE(listed(VGEnv->DatabaseList(), gone));
}

TEST(DatabaseEngine, AliasSearchIgnoresCaseAndStopsAtTheFirstMatch) {
  FreshEnv fresh;
  TVGEngine engine(nullptr);
  EXPECT_FALSE(engine.IsAliasOpen("CUSTOMER")) << "no database attached";
  TVGDataBase one(nullptr);
  TVGDataBase two(nullptr);
  one.SetVGEngine(&engine);
  two.SetVGEngine(&engine);
  FakeSource orders(one, "ORDERS", nullptr);
  FakeSource customer(two, "CUSTOMER", nullptr);
  FakeSource accented(two, "CAF\xC9", nullptr);  // 0xC9: capital E acute in the 1252 set
  orders.Open();
  customer.Open();
  EXPECT_TRUE(engine.IsAliasOpen("customer"));
  EXPECT_TRUE(engine.IsAliasOpen("Orders"));
  EXPECT_FALSE(engine.IsAliasOpen("custome"));
  EXPECT_FALSE(engine.IsAliasOpen("caf\xE9"));
  accented.Open();
  EXPECT_TRUE(engine.IsAliasOpen("caf\xE9"));
  customer.Close();
  EXPECT_FALSE(engine.IsAliasOpen("customer")) << "closed sources are not searched";
}

// Where GetFullStruFile finds the structure file. "{T}" stands for a folder of the test's own,
// "{P}" for the program's folder; the file the structure file's name names is made in either.
struct StruCase {
  const char* name;
  bool designing;
  const char* design_path;
  const char* stru_file;
  bool in_test_folder;
  bool in_program_folder;
  const char* expected;
};

TEST(Database, StructureFileIsFoundWhereTheModeSays) {
  const StruCase cases[] = {
      {"no file", false, "", "StruA.txt", false, false, ""},
      {"none named", false, "", "", false, false, ""},
      {"run time", false, "", "StruA.txt", false, true, "{P}StruA.txt"},
      // Only the file-name part counts when the given folder does not exist.
      {"missing folder", false, "", "/no/such/folder/StruA.txt", false, true, "{P}StruA.txt"},
      {"existing folder", false, "", "{T}StruB.txt", true, false, "{T}StruB.txt"},
      {"existing folder, designing", true, "/elsewhere", "{T}StruB.txt", true, false,
       "{T}StruB.txt"},
      // The folder exists but the file does not: nothing, even if the program's folder has one.
      {"existing folder, no file", false, "", "{T}StruC.txt", false, true, ""},
      {"designing", true, "{T}", "StruD.txt", true, true, "{T}StruD.txt"},
      {"designing, program folder", true, "{T}sub", "StruD.txt", true, true, ""},
  };
  FreshEnv fresh;
  testing::TempFolder folder("stru_file");
  const auto place = [&](std::string text) {
    for (const auto& [mark, path] : {std::pair<std::string, std::string>{"{T}", folder.path()},
                                     {"{P}", ExecutableFolder()}}) {
      if (text.rfind(mark, 0) == 0) text = path + text.substr(mark.size());
    }
    return text;
  };
  for (const StruCase& c : cases) {
    const std::string name = ExtractFileName(place(c.stru_file));
    std::vector<std::string> made;
    if (c.in_test_folder) made.push_back(folder.path() + name);
    if (c.in_program_folder) made.push_back(ExecutableFolder() + name);
    for (const std::string& file : made) touch(file);
    TVGDataBase database(nullptr);
    database.SetDesigning(c.designing);
    database.SetDesignPath(place(c.design_path));
    database.SetStruFile(place(c.stru_file));
    EXPECT_EQ(database.GetFullStruFile(), place(c.expected)) << c.name;
    for (const std::string& file : made) std::remove(file.c_str());
  }
}

}  // namespace
}  // namespace vg
