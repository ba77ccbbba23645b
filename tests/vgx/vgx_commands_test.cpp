// The vgx commands end to end: the tool runs as a process on a demo
// database, and its output and exit status are what a user sees.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <spawn.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

extern char** environ;

namespace {

namespace fs = std::filesystem;

struct Result {
  int status = -1;
  std::string out, err;
};

std::string slurp(const fs::path& p) {
  std::ifstream in(p, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(in), {});
}

class VgxCommands : public ::testing::Test {
 protected:
  static void SetUpTestSuite() {
    std::string tmpl = (fs::temp_directory_path() / "vgx-commands-XXXXXX").string();
    ASSERT_NE(mkdtemp(tmpl.data()), nullptr);
    root_ = tmpl;
    const Result demo = vgx({"demo", "--dir", (root_ / "demo").string()});
    ASSERT_EQ(demo.status, 0) << demo.err;
  }
  static void TearDownTestSuite() { fs::remove_all(root_); }

  // A fresh copy of the demo database for a test that changes it.
  static fs::path copy_of_demo(const std::string& name) {
    const fs::path dir = root_ / name;
    fs::remove_all(dir);
    fs::copy(root_ / "demo", dir);
    return dir;
  }

  static Result vgx(const std::vector<std::string>& args) {
    const fs::path out = root_ / "out.txt", err = root_ / "err.txt";
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    posix_spawn_file_actions_addopen(&actions, 2, err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    std::vector<std::string> all{VGX_TOOL};
    all.insert(all.end(), args.begin(), args.end());
    std::vector<char*> argv;
    for (std::string& a : all) argv.push_back(a.data());
    argv.push_back(nullptr);
    Result r;
    pid_t pid = -1;
    if (posix_spawn(&pid, VGX_TOOL, &actions, nullptr, argv.data(), environ) == 0) {
      int status = 0;
      waitpid(pid, &status, 0);
      r.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    posix_spawn_file_actions_destroy(&actions);
    r.out = slurp(out);
    r.err = slurp(err);
    return r;
  }

  static std::string customers(const fs::path& dir) { return (dir / "CUSTOMER.DBF").string(); }

  // The data rows of an aligned dump (after the header and its rule line).
  static std::vector<std::string> rows(const std::string& out) {
    std::vector<std::string> lines;
    size_t at = 0;
    while (at < out.size()) {
      size_t end = out.find('\n', at);
      if (end == std::string::npos) end = out.size();
      lines.push_back(out.substr(at, end - at));
      at = end + 1;
    }
    return lines.size() > 2 ? std::vector<std::string>(lines.begin() + 2, lines.end())
                            : std::vector<std::string>{};
  }

  // CSV text as records of fields (quoted fields may hold commas and line breaks).
  static std::vector<std::vector<std::string>> csv_records(const std::string& text) {
    std::vector<std::vector<std::string>> records(1, std::vector<std::string>(1));
    bool quoted = false;
    for (size_t i = 0; i < text.size(); ++i) {
      const char c = text[i];
      std::string& field = records.back().back();
      if (quoted) {
        if (c == '"' && i + 1 < text.size() && text[i + 1] == '"') {
          field += '"';
          ++i;
        } else if (c == '"') {
          quoted = false;
        } else {
          field += c;
        }
      } else if (c == '"') {
        quoted = true;
      } else if (c == ',') {
        records.back().emplace_back();
      } else if (c == '\n') {
        records.emplace_back(1);
      } else if (c != '\r') {
        field += c;
      }
    }
    if (records.back().size() == 1 && records.back()[0].empty()) records.pop_back();
    return records;
  }

  static inline fs::path root_;
};

TEST_F(VgxCommands, TagsDumpInTagOrderAndSeek) {
  const std::string table = customers(root_ / "demo");
  const Result tags = vgx({"tags", table});
  ASSERT_EQ(tags.status, 0) << tags.err;
  for (const char* want : {"UPPER(NAME)", "DTOS(BIRTH)", "descending", "ACTIVE"})
    EXPECT_NE(tags.out.find(want), std::string::npos) << want << "\n" << tags.out;

  const Result by_name = vgx({"dump", table, "--tag", "NAME"});
  ASSERT_EQ(by_name.status, 0) << by_name.err;
  const auto all = rows(by_name.out);
  ASSERT_EQ(all.size(), 300u);
  const Result seek = vgx({"dump", table, "--tag", "NAME", "--seek", "NOAH"});
  ASSERT_EQ(seek.status, 0) << seek.err;
  const auto from = rows(seek.out);
  ASSERT_FALSE(from.empty());
  EXPECT_NE(from.front().find("Noah"), std::string::npos) << from.front();
  // The seek starts inside the full walk and runs to its end.
  EXPECT_EQ(std::vector<std::string>(all.end() - static_cast<long>(from.size()), all.end()), from);

  const Result missing = vgx({"dump", table, "--tag", "NOPE", "--csv"});
  EXPECT_EQ(missing.status, 2);
  EXPECT_EQ(missing.out, "");
  EXPECT_NE(missing.err.find("NOPE"), std::string::npos);
}

TEST_F(VgxCommands, IndexAddsATagThatCheckAndDumpSee) {
  const fs::path dir = copy_of_demo("index");
  const Result add = vgx({"index", customers(dir), "--tag", "RICH", "--key", "BALANCE", "--for",
                       "BALANCE > 20000", "--descending"});
  ASSERT_EQ(add.status, 0) << add.err;
  const Result tags = vgx({"tags", customers(dir)});
  EXPECT_NE(tags.out.find("RICH"), std::string::npos) << tags.out;
  const Result dump = vgx({"dump", customers(dir), "--tag", "RICH", "--csv"});
  ASSERT_EQ(dump.status, 0) << dump.err;
  // Every row passes the filter, in descending balance.
  std::vector<double> balances;
  for (const auto& record : csv_records(dump.out)) {
    ASSERT_EQ(record.size(), 7u);  // ID,NAME,CITY,BIRTH,ACTIVE,BALANCE,NOTES
    if (record[0] != "ID") balances.push_back(std::stod(record[5]));
  }
  ASSERT_FALSE(balances.empty());
  for (size_t i = 0; i < balances.size(); ++i) {
    EXPECT_GT(balances[i], 20000);
    if (i > 0) {
      EXPECT_GE(balances[i - 1], balances[i]);
    }
  }
  const Result check = vgx({"check", customers(dir)});
  EXPECT_EQ(check.status, 0) << check.out << check.err;
  EXPECT_EQ(check.out.find("WRONG"), std::string::npos) << check.out;

  const Result bad = vgx({"index", customers(dir), "--tag", "BAD", "--key", "BALANCE +"});
  EXPECT_EQ(bad.status, 2);
  EXPECT_NE(bad.err.find("BALANCE +"), std::string::npos) << bad.err;
  const Result usage = vgx({"index", customers(dir), "--tag", "NOKEY"});
  EXPECT_EQ(usage.status, 1);
}

TEST_F(VgxCommands, CheckFindsADamagedTagAndReindexRepairsIt) {
  const fs::path dir = copy_of_demo("damaged");
  const fs::path cdx = dir / "CUSTOMER.CDX";
  {
    // The last page holds part of the last tag's tree.
    std::fstream f(cdx, std::ios::in | std::ios::out | std::ios::binary);
    f.seekp(static_cast<std::streamoff>(fs::file_size(cdx)) - 512);
    const std::string junk(40, '\xFF');
    f.write(junk.data(), static_cast<std::streamsize>(junk.size()));
  }
  const Result check = vgx({"check", customers(dir)});
  EXPECT_EQ(check.status, 2);
  EXPECT_NE(check.out.find("WRONG"), std::string::npos) << check.out;
  EXPECT_NE(check.out.find("vgx reindex"), std::string::npos) << check.out;
  const Result dump = vgx({"dump", customers(dir), "--tag", "YOUNGEST"});
  EXPECT_EQ(dump.status, 2);
  EXPECT_NE(dump.err.find("CUSTOMER.CDX"), std::string::npos) << dump.err;

  const Result reindex = vgx({"reindex", customers(dir)});
  ASSERT_EQ(reindex.status, 0) << reindex.err;
  const Result again = vgx({"check", customers(dir)});
  EXPECT_EQ(again.status, 0) << again.out << again.err;
}

// Tables travel between systems that ignore letter case: the engine finds a table, its memo and
// its index whatever the case of their names, and so does every file the tool reads itself.
TEST_F(VgxCommands, FindsFilesInAnyLetterCase) {
  const fs::path dir = copy_of_demo("cases");
  fs::rename(dir / "CUSTOMER.DBF", dir / "customer.DBF");
  const std::string table = (dir / "customer").string();
  const std::string qaid = std::string(VGX_SAMPLES_DIR) + "/dbaseplus-gs28/Data/qaid";  // .DBF
  const struct {
    std::vector<std::string> args;
    std::string shown;
  } cases[] = {
      {{"info", table + ".dbf"}, "customer.DBF\n"},
      {{"info", table + ".DBF"}, "CUSTOMER.FPT (FoxPro layout, block size 64 bytes"},
      {{"info", qaid + ".dbf"}, "qaid.DBT (dBASE IV layout, block size 512 bytes"},
      {{"info", qaid}, "Records:        18\n"},
      {{"tags", table + ".Dbf"}, "Tags of " + (dir / "CUSTOMER.CDX").string()},
      {{"check", table}, "YOUNGEST      260      2  right: every record's key exactly once"},
      {{"dump", table + ".dbf", "--tag", "name", "--seek", "NOAH"}, "Noah"},
  };
  for (const auto& c : cases) {
    const Result r = vgx(c.args);
    EXPECT_EQ(r.status, 0) << c.args[1] << "\n" << r.err;
    EXPECT_NE(r.out.find(c.shown), std::string::npos) << c.args[1] << "\n" << r.out;
  }
}

TEST_F(VgxCommands, EvalAndFilter) {
  const std::string table = customers(root_ / "demo");
  const Result eval = vgx({"eval", table, "UPPER(NAME)", "--recno", "2"});
  ASSERT_EQ(eval.status, 0) << eval.err;
  EXPECT_NE(eval.out.find("type:   C"), std::string::npos) << eval.out;
  const Result name = vgx({"eval", table, "TRIM(NAME)", "--recno", "2"});
  const std::string shown = name.out.substr(name.out.find('[') + 1);
  const std::string upper_shown = eval.out.substr(eval.out.find('[') + 1);
  std::string upper = shown.substr(0, shown.find(']'));
  for (char& c : upper) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  EXPECT_EQ(upper_shown.substr(0, upper.size()), upper);

  const Result filter = vgx({"dump", table, "--filter", "CITY = 'Zurich'"});
  ASSERT_EQ(filter.status, 0) << filter.err;
  const auto zurich = rows(filter.out);
  ASSERT_FALSE(zurich.empty());
  for (const std::string& row : zurich) EXPECT_NE(row.find("Zurich"), std::string::npos) << row;

  const Result bad = vgx({"eval", table, "UPPER(NAME"});
  EXPECT_EQ(bad.status, 2);
  EXPECT_NE(bad.err.find("column"), std::string::npos) << bad.err;
  const Result past = vgx({"eval", table, "NAME", "--recno", "999"});
  EXPECT_EQ(past.status, 2);
  EXPECT_EQ(vgx({"frobnicate"}).status, 1);
}

}  // namespace
