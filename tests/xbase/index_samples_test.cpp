// Every compound index among the sample files opens, and every tag lists
// exactly the records, in exactly the order, that its expression, filter,
// direction and collation give: the order is worked out here from the
// table's records. Then the engine's verifier passes each file, and a seek
// for each record's key finds a record with that key.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "index/table_indexes.h"
#include "index/verify.h"
#include "table/handles.h"
#include "vgxbase/xbase.h"

namespace {

namespace fs = std::filesystem;

struct Sample {
  std::string index;
  std::string table;
};

std::string lower(std::string s) {
  for (char& c : s) c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
  return s;
}

std::vector<Sample> samples() {
  std::vector<Sample> out;
  for (const auto& e : fs::recursive_directory_iterator(VGX_SAMPLES_DIR)) {
    const std::string ext = lower(e.path().extension().string());
    if (ext != ".cdx" && ext != ".dcx") continue;
    const std::string want = ext == ".cdx" ? ".dbf" : ".dbc";
    for (const auto& t : fs::directory_iterator(e.path().parent_path()))
      if (lower(t.path().stem().string()) == lower(e.path().stem().string()) &&
          lower(t.path().extension().string()) == want)
        out.push_back({e.path().string(), t.path().string()});
  }
  std::sort(out.begin(), out.end(),
            [](const Sample& a, const Sample& b) { return a.index < b.index; });
  return out;
}

// Case and the accents of code page 1252 letters fold away, as the general
// collation orders text; trailing blanks do not count.
std::string folded(std::string s) {
  while (!s.empty() && s.back() == ' ') s.pop_back();
  static const char* accents = "AAAAAAACEEEEIIIIDNOOOOOxOUUUUYPsaaaaaaaceeeeiiiidnooooo/ouuuuypy";
  for (char& ch : s) {
    const unsigned char c = static_cast<unsigned char>(ch);
    if (c >= 'a' && c <= 'z')
      ch = static_cast<char>(c - 32);
    else if (c >= 0xC0)
      ch = static_cast<char>(std::toupper(static_cast<unsigned char>(accents[c - 0xC0])));
  }
  return s;
}

struct Row {
  bool null = false;
  double number = 0;
  std::string text;
  int32_t rec = 0;
};

int compare_rows(const Row& a, const Row& b, bool text) {
  if (a.null != b.null) return a.null ? -1 : 1;
  if (text) {
    const int c = std::memcmp(a.text.data(), b.text.data(), std::min(a.text.size(), b.text.size()));
    if (c != 0) return c;
    return a.text.size() < b.text.size() ? -1 : a.text.size() > b.text.size() ? 1 : 0;
  }
  return a.number < b.number ? -1 : a.number > b.number ? 1 : 0;
}

// The order a tag must have, from the records; empty with *why set when
// the expression is one this check cannot evaluate.
std::vector<int32_t> expected_order(DATA4* d, const xbase::index::Tag& tag, std::string* why) {
  EXPR4* key = expr4parse(d, tag.def().key_expr.c_str());
  if (key == nullptr) {
    *why = "expression " + tag.def().key_expr;
    code4errorCode(d->c4, 0);
    return {};
  }
  EXPR4* filter = tag.def().filter.empty() ? nullptr : expr4parse(d, tag.def().filter.c_str());
  // A key of a nullable tag is null when a field it reads is null.
  std::vector<FIELD4*> read;
  const std::string expr = lower(tag.def().key_expr);
  for (int j = 1; j <= d4numFields(d); ++j)
    if (expr.find(lower(f4name(d4fieldJ(d, j)))) != std::string::npos)
      read.push_back(d4fieldJ(d, j));
  code4errorCode(d->c4, 0);
  const int type = expr4type(key);
  const bool text = type == 'C';
  std::vector<Row> rows;
  for (int32_t r = 1; r <= d4recCount(d); ++r) {
    d4go(d, r);
    if (filter && expr4true(filter) != 1) continue;
    Row row;
    row.rec = r;
    row.null = tag.shape().nullable &&
               std::any_of(read.begin(), read.end(), [](FIELD4* f) { return f4null(f) == 1; });
    if (text) {
      row.text.assign(expr4str(key), static_cast<size_t>(expr4len(key)));
      if (tag.def().collation == xbase::index::Collation::kGeneral) row.text = folded(row.text);
    } else {
      row.number = type == 'L' ? expr4true(key) : expr4double(key);
    }
    rows.push_back(row);
  }
  expr4free(key);
  if (filter) expr4free(filter);
  std::stable_sort(rows.begin(), rows.end(),
                   [&](const Row& a, const Row& b) { return compare_rows(a, b, text) < 0; });
  if (tag.unique_mode() != 0)
    rows.erase(
        std::unique(rows.begin(), rows.end(),
                    [&](const Row& a, const Row& b) { return compare_rows(a, b, text) == 0; }),
        rows.end());
  if (tag.descending()) std::reverse(rows.begin(), rows.end());
  std::vector<int32_t> out;
  for (const Row& r : rows) out.push_back(r.rec);
  return out;
}

class IndexSamples : public ::testing::Test {
 protected:
  void SetUp() override {
    c4_ = code4initP();
    code4errOff(c4_, 1);
    code4readOnly(c4_, 1);
    code4autoOpen(c4_, 0);
  }
  void TearDown() override { code4initUndo(c4_); }
  CODE4* c4_ = nullptr;
};

// Sample files whose index no longer matches its table (the table changed
// without it): the verifier must say so.
bool stale(const Sample& s) {
  return lower(fs::path(s.index).filename().string()) == "issue115.cdx";
}

// Tags whose keys this engine cannot compute: bitmap indexes, and a key
// made with a function it does not have.
const char* const kNotComputed[] = {"fb2p_dbf.cdx/NOTDELETED", "fb2p_free.cdx/LOGICO",
                                    "orditems.cdx/PRODUCT_ID"};

TEST_F(IndexSamples, EveryTagListsItsRecordsInOrder) {
  const std::vector<Sample> all = samples();
  ASSERT_GE(all.size(), 55u);
  size_t tags_compared = 0, tags_total = 0, not_computed = 0;
  for (const Sample& s : all) {
    SCOPED_TRACE(s.index);
    DATA4* d = d4open(c4_, s.table.c_str());
    ASSERT_NE(d, nullptr) << code4errorCode(c4_, 0);
    INDEX4* ix = i4open(d, s.index.c_str());
    ASSERT_NE(ix, nullptr) << code4errorCode(c4_, 0);
    auto* file = static_cast<xbase::index::IndexFile*>(ix);
    for (auto& tag : file->tags()) {
      SCOPED_TRACE(tag->name());
      ++tags_total;
      ASSERT_EQ(d4tagSelectP(d, tag.get()), 0);
      if (!tag->readable()) {
        EXPECT_LT(d4top(d), 0);  // a kind of tag this engine does not read
        code4errorCode(c4_, 0);
        continue;
      }
      std::vector<int32_t> walked;
      for (int rc = d4top(d); rc == 0; rc = d4skip(d, 1)) walked.push_back(d4recNoLow(d));
      EXPECT_EQ(code4errorCode(c4_, 0), 0);
      std::vector<int32_t> back;
      for (int rc = d4bottom(d); rc == 0; rc = d4skip(d, -1)) back.push_back(d4recNoLow(d));
      std::reverse(back.begin(), back.end());
      EXPECT_EQ(back, walked);
      std::string why;
      d4tagSelectP(d, nullptr);
      std::vector<int32_t> want = expected_order(d, *tag, &why);
      if (!why.empty()) {
        EXPECT_FALSE(tag->maintainable());
        continue;
      }
      if (stale(s)) continue;
      EXPECT_EQ(walked, want);
      ++tags_compared;
    }
    for (auto& tag : file->tags())
      if (!tag->maintainable()) {
        const std::string id = lower(fs::path(s.index).filename().string()) + "/" + tag->name();
        EXPECT_TRUE(std::any_of(std::begin(kNotComputed), std::end(kNotComputed),
                                [&](const char* k) { return lower(k) == lower(id); }))
            << id << ": " << tag->unusable_reason();
        ++not_computed;
      }
    xbase::index::FileVerdict verdict;
    ASSERT_TRUE(xbase::index::verify_file(*d->table->indexes(), *file, &verdict));
    if (stale(s))
      EXPECT_NE(verdict.first_problem().find("it lacks record"), std::string::npos);
    else
      EXPECT_TRUE(verdict.ok()) << verdict.first_problem();
    d4close(d);
  }
  EXPECT_EQ(not_computed, std::size(kNotComputed));
  EXPECT_GE(tags_compared, 145u);
  RecordProperty("tags", std::to_string(tags_total));
}

TEST_F(IndexSamples, SeekingEachRecordsKeyFindsIt) {
  for (const Sample& s : samples()) {
    if (stale(s)) continue;
    SCOPED_TRACE(s.index);
    DATA4* d = d4open(c4_, s.table.c_str());
    ASSERT_NE(d, nullptr);
    INDEX4* ix = i4open(d, s.index.c_str());
    ASSERT_NE(ix, nullptr);
    for (auto& tag : static_cast<xbase::index::IndexFile*>(ix)->tags()) {
      if (!tag->maintainable() || tag->shape().nullable || !tag->def().filter.empty()) continue;
      SCOPED_TRACE(tag->name());
      EXPR4* key = expr4parse(d, tag->def().key_expr.c_str());
      ASSERT_NE(key, nullptr);
      const int type = expr4type(key);
      for (int32_t r = 1; r <= d4recCount(d) && r <= 40; ++r) {
        d4tagSelectP(d, nullptr);
        d4go(d, r);
        std::string value;
        char num[64];
        const bool general = tag->def().collation == xbase::index::Collation::kGeneral;
        if (type == 'C' || type == 'D') {
          value.assign(expr4str(key), static_cast<size_t>(expr4len(key)));
          // General keys of accented text carry more than the weights a
          // seek value gives; the text without its blanks finds them.
          if (general) value = folded(value);
        } else if (type == 'N' || type == 'n') {
          std::snprintf(num, sizeof num, "%.17g", expr4double(key));
          value = num;
        } else {
          continue;
        }
        d4tagSelectP(d, tag.get());
        ASSERT_EQ(d4seekN(d, value.data(), static_cast<int>(value.size())), r4success)
            << "record " << r;
        std::string found(expr4str(key), static_cast<size_t>(expr4len(key)));
        d4go(d, r);
        std::string own(expr4str(key), static_cast<size_t>(expr4len(key)));
        if (general) {
          found = folded(found);
          own = folded(own);
        }
        EXPECT_EQ(found, own);
      }
      expr4free(key);
    }
    d4close(d);
  }
}

}  // namespace
