#include <gtest/gtest.h>

#include <cstdio>

#include "framework/exceptions.h"
#include "framework/string_list.h"

namespace vg {
namespace {

std::string joined(const TStrings& list) {
  std::string out;
  for (int i = 0; i < list.Count(); ++i) out += "[" + list.Strings(i) + "]";
  return out;
}

TEST(StringList, EditingAndIndexErrors) {
  TStringList list;
  EXPECT_EQ(list.Add("b"), 0);
  EXPECT_EQ(list.Add("a"), 1);
  list.Insert(0, "c");
  list.Insert(3, "d");
  EXPECT_EQ(joined(list), "[c][b][a][d]");
  list.Delete(1);
  list.Exchange(0, 2);
  list.Move(0, 1);
  EXPECT_EQ(joined(list), "[a][d][c]");
  EXPECT_EQ(list.IndexOf("C"), 2);  // ignores case by default
  list.SetCaseSensitive(true);
  EXPECT_EQ(list.IndexOf("C"), -1);
  EXPECT_THROW(list.Strings(3), EStringListError);
  EXPECT_THROW(list.Insert(5, "x"), EStringListError);
  try {
    list.Delete(-1);
    FAIL();
  } catch (const EStringListError& e) {
    EXPECT_STREQ(e.what(), "List index out of bounds (-1)");
  }
}

TEST(StringList, SortedListsAndDuplicates) {
  TStringList list;
  list.SetCommaText("pear,Apple,fig,apple");
  list.SetSorted(true);
  EXPECT_EQ(joined(list), "[Apple][apple][fig][pear]");  // sorting keeps duplicates
  const int found = list.Add("APPLE");  // dupIgnore: the index of an equal one
  EXPECT_TRUE(found == 0 || found == 1);
  EXPECT_EQ(list.Count(), 4);
  EXPECT_EQ(list.Add("banana"), 2);
  list.SetDuplicates(dupAccept);
  EXPECT_EQ(list.Add("apple"), 0);  // before the first equal one
  int index = -1;
  EXPECT_TRUE(list.Find("APPLE", index));
  EXPECT_EQ(index, 0);  // the first of equal ones
  EXPECT_FALSE(list.Find("cherry", index));
  EXPECT_EQ(index, 4);
  EXPECT_EQ(joined(list), "[apple][Apple][apple][banana][fig][pear]");
  list.SetDuplicates(dupError);
  EXPECT_THROW(list.Add("fig"), EStringListError);
  EXPECT_THROW(list.Insert(0, "x"), EStringListError);
  EXPECT_THROW(list.SetStrings(0, "x"), EStringListError);
  EXPECT_EQ(list.IndexOf("PEAR"), 5);
}

TEST(StringList, TextForms) {
  TStringList list;
  list.SetText("one\r\ntwo\rthree\n\nfive\n");
  EXPECT_EQ(joined(list), "[one][two][three][][five]");
  EXPECT_EQ(list.Text(), "one\ntwo\nthree\n\nfive\n");
  list.SetText("");
  EXPECT_EQ(list.Count(), 0);

  list.SetCommaText(" a , \"b c\",\"d\"\"e\", ,f g,");
  // Blanks separate as commas do; a trailing comma adds one empty string.
  EXPECT_EQ(joined(list), "[a][b c][d\"e][][f][g][]");
  EXPECT_EQ(list.CommaText(), "a,\"b c\",\"d\"\"e\",,f,g,");
  list.Clear();
  list.Add("");
  EXPECT_EQ(list.CommaText(), "\"\"");
  list.SetCommaText("\"\"");
  EXPECT_EQ(joined(list), "[]");

  list.SetDelimiter(';');
  list.SetQuoteChar('\'');
  list.SetDelimitedText("x y;'it''s';z");
  EXPECT_EQ(joined(list), "[x][y][it's][z]");
  list.SetStrictDelimiter(true);
  list.SetDelimitedText(" x y ;'a;b';");
  EXPECT_EQ(joined(list), "[ x y ][a;b][]");
  EXPECT_EQ(list.DelimitedText(), " x y ;'a;b';");
}

TEST(StringList, NamesAndValues) {
  TStringList list;
  list.SetText("Path=/data\nnovalue\nMode=a=b\n");
  EXPECT_EQ(list.Names(0), "Path");
  EXPECT_EQ(list.Names(1), "");
  EXPECT_EQ(list.Values("mode"), "a=b");
  EXPECT_EQ(list.Values("novalue"), "");
  EXPECT_EQ(list.IndexOfName("PATH"), 0);
  list.SetValues("Path", "/other");
  list.SetValues("New", "1");
  EXPECT_EQ(list.Text(), "Path=/other\nnovalue\nMode=a=b\nNew=1\n");
  list.SetValues("mode", "");
  EXPECT_EQ(list.IndexOfName("Mode"), -1);
  EXPECT_EQ(list.ValueFromIndex(0), "/other");
}

TEST(StringList, ChangeEventsAndUpdates) {
  TStringList list;
  int changes = 0, changing = 0;
  list.OnChange = [&](TObject* sender) {
    EXPECT_EQ(sender, &list);
    ++changes;
  };
  list.OnChanging = [&](TObject*) { ++changing; };
  list.Add("a");
  list.Add("b");
  EXPECT_EQ(changes, 2);
  list.BeginUpdate();
  list.Add("c");
  list.Delete(0);
  EXPECT_EQ(changes, 2);
  list.EndUpdate();
  EXPECT_EQ(changes, 3);
  EXPECT_EQ(changing, 3);
  list.SetCommaText("x,y,z");  // one change for the whole text
  EXPECT_EQ(changes, 4);
}

struct Counted : TObject {
  explicit Counted(int* alive) : alive_(alive) { ++*alive_; }
  ~Counted() override { --*alive_; }
  int* alive_;
};

TEST(StringList, ObjectsAndOwnership) {
  int alive = 0;
  {
    TStringList list;
    list.SetOwnsObjects(true);
    list.AddObject("a", new Counted(&alive));
    list.AddObject("b", new Counted(&alive));
    list.AddObject("c", new Counted(&alive));
    list.Move(0, 2);  // moving keeps the object alive
    EXPECT_EQ(alive, 3);
    EXPECT_EQ(list.IndexOfObject(list.Objects(2)), 2);
    list.Delete(0);
    EXPECT_EQ(alive, 2);
    list.SetObjects(0, new Counted(&alive));
    EXPECT_EQ(alive, 2);
    TStringList copy;
    copy.Assign(list);  // a plain list shares, never owns
    EXPECT_EQ(copy.Objects(1), list.Objects(1));
  }
  EXPECT_EQ(alive, 0);
}

TEST(StringList, Files) {
  const std::string name = std::string(VGX_TEST_BINARY_DIR) + "/string_list_file.txt";
  TStringList list;
  list.SetCommaText("a,b");
  list.SaveToFile(name);
  TStringList back;
  back.LoadFromFile(name);
  EXPECT_TRUE(back.Equals(list));
  std::remove(name.c_str());
  EXPECT_THROW(back.LoadFromFile(name), EFOpenError);
  EXPECT_THROW(list.SaveToFile("/nonexistent-folder/x.txt"), EFCreateError);
}

}  // namespace
}  // namespace vg
