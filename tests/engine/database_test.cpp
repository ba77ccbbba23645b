// The database component: folders, closing its tables whenever they would move, attaching to
// and detaching from engines, and finding the structure file.
#include <gtest/gtest.h>

#include <fstream>

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

TEST(Database, StartingValuesAndRegistration) {
  FreshEnv fresh;
  {
    TVGDataBase database(nullptr);
    EXPECT_TRUE(database.Safety());
    EXPECT_EQ(database.DataPath(), "");
    EXPECT_EQ(database.IndexPath(), "");
    EXPECT_EQ(database.DesignPath(), "");
    EXPECT_EQ(database.StruFile(), "Stru.txt");
    EXPECT_EQ(database.VGEngine(), nullptr);
    EXPECT_TRUE(database.OpenSources().empty());
    EXPECT_EQ(VGEnv->DatabaseList(), std::vector<TVGDataBase*>{&database});
  }
  EXPECT_TRUE(VGEnv->DatabaseList().empty());
}

TEST(Database, FoldersGetATrailingSlashAndAChangeClosesTheTables) {
  FreshEnv fresh;
  TVGDataBase database(nullptr);
  FakeSource source(database, "CUST", nullptr);
  source.Open();

  database.SetDataPath("/data");
  EXPECT_EQ(database.DataPath(), "/data/");
  EXPECT_EQ(source.closes, 1);
  EXPECT_TRUE(database.OpenSources().empty());

  source.Open();
  database.SetDataPath("/data/");  // what is stored: nothing happens
  EXPECT_EQ(source.closes, 1);
  EXPECT_EQ(database.OpenSources().size(), 1u);

  database.SetDataPath("/data");  // differs from the stored "/data/"
  EXPECT_EQ(source.closes, 2);
  EXPECT_EQ(database.DataPath(), "/data/");

  database.SetDataPath("");
  EXPECT_EQ(database.DataPath(), "");
  database.SetDataPath("/");
  EXPECT_EQ(database.DataPath(), "/");

  database.SetIndexPath("idx");
  EXPECT_EQ(database.IndexPath(), "idx/");
  database.SetDesignPath("/design/");
  EXPECT_EQ(database.DesignPath(), "/design/");
  database.SetDesignPath("/Design/");  // compared by case
  EXPECT_EQ(database.DesignPath(), "/Design/");
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
  database.CloseFiles();
  EXPECT_EQ(journal.size(), 3u);
}

TEST(Database, RenamingClosesTheTablesFirst) {
  FreshEnv fresh;
  TVGDataBase database(nullptr);
  FakeSource source(database, "CUST", nullptr);
  source.Open();
  std::string name_when_closed = "?";
  source.on_close = [&] { name_when_closed = database.Name(); };
  database.SetName("Sales");
  EXPECT_EQ(database.Name(), "Sales");
  EXPECT_EQ(name_when_closed, "");
  source.Open();
  database.SetName("Sales");
  EXPECT_EQ(source.closes, 1);
}

TEST(DatabaseEngine, AttachingMovesBetweenEngineListsAndClosesOnlyOnChange) {
  FreshEnv fresh;
  TVGEngine first(nullptr);
  TVGEngine second(nullptr);
  TVGDataBase database(nullptr);
  FakeSource source(database, "CUST", nullptr);
  source.Open();

  database.SetVGEngine(&first);
  EXPECT_EQ(source.closes, 1);
  EXPECT_EQ(first.Databases(), std::vector<TVGDataBase*>{&database});
  source.Open();
  database.SetVGEngine(&first);
  EXPECT_EQ(source.closes, 1) << "the same engine again closes nothing";
  EXPECT_EQ(first.Databases().size(), 1u);

  database.SetVGEngine(&second);
  EXPECT_EQ(source.closes, 2);
  EXPECT_TRUE(first.Databases().empty());
  EXPECT_EQ(second.Databases(), std::vector<TVGDataBase*>{&database});

  database.SetVGEngine(nullptr);
  EXPECT_TRUE(second.Databases().empty());
  EXPECT_EQ(database.VGEngine(), nullptr);
}

TEST(DatabaseEngine, DestroyingTheEngineDetachesEveryDatabase) {
  FreshEnv fresh;
  TVGDataBase one(nullptr);
  TVGDataBase two(nullptr);
  std::vector<std::string> journal;
  FakeSource a(one, "A", &journal);
  FakeSource b(two, "B", &journal);
  {
    TVGEngine engine(nullptr);
    one.SetVGEngine(&engine);
    two.SetVGEngine(&engine);
    engine.Start();
    a.Open();
    b.Open();
  }
  EXPECT_EQ(one.VGEngine(), nullptr);
  EXPECT_EQ(two.VGEngine(), nullptr);
  // Stopping closed both databases' tables, first database first.
  EXPECT_EQ(journal, (std::vector<std::string>{"close A", "close B"}));
  EXPECT_TRUE(VGEnv->EngineList().empty());
  EXPECT_EQ(VGEnv->DatabaseList().size(), 2u);
}

TEST(DatabaseEngine, DestroyingTheDatabaseLeavesBothLists) {
  FreshEnv fresh;
  TVGEngine engine(nullptr);
  auto keeper = std::make_unique<TVGDataBase>(nullptr);
  TVGDataBase* database = keeper.get();
  database->SetVGEngine(&engine);
  FakeSource source(*database, "CUST", nullptr);
  source.Open();
  keeper.reset();
  EXPECT_EQ(source.closes, 1);
  EXPECT_FALSE(listed(engine.Databases(), database));
  EXPECT_FALSE(listed(VGEnv->DatabaseList(), database));
}

TEST(DatabaseEngine, EngineCloseFilesClosesDatabasesInOrderThenTheContext) {
  FreshEnv fresh;
  Recording rec;
  TVGEngine engine(nullptr);
  TVGDataBase one(nullptr);
  TVGDataBase two(nullptr);
  one.SetVGEngine(&engine);
  two.SetVGEngine(&engine);
  engine.Start();
  std::vector<std::string> journal;
  FakeSource a(one, "A", &journal);
  FakeSource b(two, "B", &journal);
  a.Open();
  b.Open();
  rec.clear();
  bool engine_called_before_sources = false;
  a.on_close = b.on_close = [&] { engine_called_before_sources |= !rec.recorder.empty(); };
  engine.CloseFiles();
  EXPECT_EQ(journal, (std::vector<std::string>{"close A", "close B"}));
  EXPECT_FALSE(engine_called_before_sources);
  EXPECT_EQ(rec.texts(), std::vector<std::string>{testing::on(engine, "code4close")});
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

class StruFile : public ::testing::Test {
 protected:
  // Files made in the program's own folder, removed again.
  std::string in_program_folder(const std::string& name) {
    const std::string file = ExecutableFolder() + name;
    touch(file);
    made_.push_back(file);
    return file;
  }
  ~StruFile() override {
    for (const auto& file : made_) std::remove(file.c_str());
  }

  FreshEnv fresh_;
  testing::TempFolder folder_{"stru_file"};
  std::vector<std::string> made_;
};

TEST_F(StruFile, AtRunTimeTheProgramsFolderIsSearched) {
  TVGDataBase database(nullptr);
  database.SetStruFile("StruRunTime.txt");
  EXPECT_EQ(database.GetFullStruFile(), "") << "no such file yet";
  const std::string expected = in_program_folder("StruRunTime.txt");
  EXPECT_EQ(database.GetFullStruFile(), expected);
  // Only the file-name part counts when the given folder does not exist.
  database.SetStruFile("/no/such/folder/StruRunTime.txt");
  EXPECT_EQ(database.GetFullStruFile(), expected);
  database.SetStruFile("");
  EXPECT_EQ(database.GetFullStruFile(), "");
}

TEST_F(StruFile, AnExistingFolderInTheNameIsTakenAsGiven) {
  const std::string file = folder_.path() + "Stru.txt";
  touch(file);
  TVGDataBase database(nullptr);
  database.SetStruFile(file);
  EXPECT_EQ(database.GetFullStruFile(), file);
  database.SetDesigning(true);
  database.SetDesignPath("/elsewhere");
  EXPECT_EQ(database.GetFullStruFile(), file);
  // The folder exists but the file does not: nothing, even if the program's folder has one.
  in_program_folder("Missing.txt");
  database.SetStruFile(folder_.path() + "Missing.txt");
  database.SetDesigning(false);
  EXPECT_EQ(database.GetFullStruFile(), "");
}

TEST_F(StruFile, WhileDesigningTheDesignFolderIsSearched) {
  touch(folder_.path() + "Design.txt");
  in_program_folder("Design.txt");
  TVGDataBase database(nullptr);
  database.SetDesigning(true);
  database.SetStruFile("Design.txt");
  database.SetDesignPath(folder_.path());
  EXPECT_EQ(database.GetFullStruFile(), folder_.path() + "Design.txt");
  database.SetDesignPath(folder_.path() + "sub");
  EXPECT_EQ(database.GetFullStruFile(), "") << "the program's folder is not searched";
}

}  // namespace
}  // namespace vg
