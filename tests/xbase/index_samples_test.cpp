// Every index among the sample files, in each index format, opens, and every
// tag lists exactly the records, in exactly the order, that its expression,
// filter, direction and collation give: the order is worked out here from
// the table's records. Then the engine's verifier passes each file, and a
// seek for each record's key finds a record with that key.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <filesystem>
#include <string>
#include <vector>

#include "index/tag.h"  // a tag's collation and null mark: the C interface does not tell them
#include "index_fixture.h"
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

// The sample indexes of a format, each with the table beside it.
std::vector<Sample> samples(const formats::Index& format) {
  std::vector<Sample> out;
  for (const auto& e : fs::recursive_directory_iterator(VGX_SAMPLES_DIR)) {
    const std::string ext = lower(e.path().extension().string());
    if (std::find(format.sample_exts.begin(), format.sample_exts.end(), ext) == format.sample_exts.end())
      continue;
    const std::string want = ext == ".dcx" ? ".dbc" : ".dbf";
    for (const auto& t : fs::directory_iterator(e.path().parent_path()))
      if (lower(t.path().stem().string()) == lower(e.path().stem().string()) &&
          lower(t.path().extension().string()) == want)
        out.push_back({e.path().string(), t.path().string()});
  }
  std::sort(out.begin(), out.end(), [](const Sample& a, const Sample& b) { return a.index < b.index; });
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

// A tag as the C interface describes it, with the two facts only the engine's
// tag object tells: its collation and whether its keys carry a null mark.
struct TagFacts {
  TAG4* tag;
  std::string name, key, filter, unusable;
  bool unique, descending, general, nullable;
};

std::vector<TagFacts> tags_of(INDEX4* ix) {
  std::vector<TagFacts> out;
  TAG4INFO* info = i4tagInfo(ix);
  for (TAG4INFO* t = info; t && t->name; ++t) {
    TAG4* tag = i4tag(ix, t->name);
    const auto* object = static_cast<const xbase::index::Tag*>(tag);
    out.push_back({tag, t->name, t->expression, t->filter ? t->filter : "", t4unusableReason(tag),
                   t->unique != 0, t->descending != 0,
                   object->def().collation == xbase::index::Collation::kGeneral,
                   object->shape().nullable});
  }
  u4freeDefault(info);
  return out;
}

// The order a tag must have, from the records; empty with *why set when
// the expression is one this check cannot evaluate.
std::vector<int32_t> expected_order(CODE4* c4, DATA4* d, const TagFacts& tag, std::string* why) {
  EXPR4* key = expr4parse(d, tag.key.c_str());
  if (key == nullptr) {
    *why = "expression " + tag.key;
    code4errorCode(c4, 0);
    return {};
  }
  EXPR4* filter = tag.filter.empty() ? nullptr : expr4parse(d, tag.filter.c_str());
  // A key of a nullable tag is null when a field it reads is null.
  std::vector<FIELD4*> read;
  for (int j = 1; j <= d4numFields(d); ++j)
    if (lower(tag.key).find(lower(f4name(d4fieldJ(d, j)))) != std::string::npos) read.push_back(d4fieldJ(d, j));
  code4errorCode(c4, 0);
  const int type = expr4type(key);
  const bool text = type == 'C';
  std::vector<Row> rows;
  for (int32_t r = 1; r <= d4recCount(d); ++r) {
    d4go(d, r);
    if (filter && expr4true(filter) != 1) continue;
    Row row;
    row.rec = r;
    row.null = tag.nullable && std::any_of(read.begin(), read.end(), [](FIELD4* f) { return f4null(f) == 1; });
    if (text) {
      row.text.assign(expr4str(key), size_t(expr4len(key)));
      if (tag.general) row.text = folded(row.text);
    } else {
      row.number = type == 'L' ? expr4true(key) : expr4double(key);
    }
    rows.push_back(row);
  }
  expr4free(key);
  if (filter) expr4free(filter);
  auto less = [&](const Row& a, const Row& b) { return compare_rows(a, b, text) < 0; };
  std::stable_sort(rows.begin(), rows.end(), less);
  if (tag.unique)
    rows.erase(std::unique(rows.begin(), rows.end(),
                           [&](const Row& a, const Row& b) { return compare_rows(a, b, text) == 0; }),
               rows.end());
  if (tag.descending) std::reverse(rows.begin(), rows.end());
  std::vector<int32_t> out;
  for (const Row& r : rows) out.push_back(r.rec);
  return out;
}

class IndexSamples : public ::testing::TestWithParam<formats::Index> {
 protected:
  void SetUp() override {
    code4readOnly(cx_.c4, 1);
    code4indexFormat(cx_.c4, GetParam().format);
  }
  test_files::Context cx_{1};
  CODE4* c4_ = cx_.c4;
};

// Sample files whose index no longer matches its table (the table changed
// without it): the verifier must say so.
bool stale(const Sample& s) { return lower(fs::path(s.index).filename().string()) == "issue115.cdx"; }

// Tags whose keys this engine cannot compute: bitmap indexes, and a key
// made with a function it does not have.
const char* const kNotComputed[] = {"fb2p_dbf.cdx/NOTDELETED", "fb2p_free.cdx/LOGICO",
                                    "orditems.cdx/PRODUCT_ID"};

TEST_P(IndexSamples, EveryTagListsItsRecordsInOrder) {
  const std::vector<Sample> all = samples(GetParam());
  ASSERT_GE(all.size(), 55u);
  size_t tags_compared = 0, not_computed = 0;
  for (const Sample& s : all) {
    SCOPED_TRACE(s.index);
    DATA4* d = d4open(c4_, s.table.c_str());
    ASSERT_NE(d, nullptr) << code4errorCode(c4_, 0);
    INDEX4* ix = i4open(d, s.index.c_str());
    ASSERT_NE(ix, nullptr) << code4errorCode(c4_, 0);
    for (const TagFacts& tag : tags_of(ix)) {
      SCOPED_TRACE(tag.name);
      if (!tag.unusable.empty()) {
        const std::string id = lower(fs::path(s.index).filename().string()) + "/" + tag.name;
        EXPECT_TRUE(std::any_of(std::begin(kNotComputed), std::end(kNotComputed),
                                [&](const char* k) { return lower(k) == lower(id); }))
            << id << ": " << tag.unusable;
        ++not_computed;
      }
      ASSERT_EQ(d4tagSelectP(d, tag.tag), 0);
      std::vector<int32_t> walked;
      int rc = d4top(d);
      if (rc < 0) {  // a kind of tag this engine does not read
        EXPECT_NE(tag.unusable, "");
        code4errorCode(c4_, 0);
        continue;
      }
      for (; rc == 0; rc = d4skip(d, 1)) walked.push_back(d4recNoLow(d));
      EXPECT_EQ(code4errorCode(c4_, 0), 0);
      std::vector<int32_t> back;
      for (rc = d4bottom(d); rc == 0; rc = d4skip(d, -1)) back.insert(back.begin(), d4recNoLow(d));
      EXPECT_EQ(back, walked);
      std::string why;
      d4tagSelectP(d, nullptr);
      const std::vector<int32_t> want = expected_order(c4_, d, tag, &why);
      if (!why.empty()) {
        EXPECT_NE(tag.unusable, "");
        continue;
      }
      if (stale(s)) continue;
      EXPECT_EQ(walked, want);
      ++tags_compared;
    }
    const std::string problem = index_test::first_problem(ix);
    if (stale(s))
      EXPECT_NE(problem.find("it lacks record"), std::string::npos) << problem;
    else
      EXPECT_EQ(problem, "");
    d4close(d);
  }
  EXPECT_EQ(not_computed, std::size(kNotComputed));
  EXPECT_GE(tags_compared, 145u);
}

TEST_P(IndexSamples, SeekingEachRecordsKeyFindsIt) {
  for (const Sample& s : samples(GetParam())) {
    if (stale(s)) continue;
    SCOPED_TRACE(s.index);
    DATA4* d = d4open(c4_, s.table.c_str());
    ASSERT_NE(d, nullptr);
    INDEX4* ix = i4open(d, s.index.c_str());
    ASSERT_NE(ix, nullptr);
    for (const TagFacts& tag : tags_of(ix)) {
      if (!tag.unusable.empty() || tag.nullable || !tag.filter.empty()) continue;
      SCOPED_TRACE(tag.name);
      EXPR4* key = expr4parse(d, tag.key.c_str());
      ASSERT_NE(key, nullptr);
      const int type = expr4type(key);
      auto value_of = [&] {
        std::string v(expr4str(key), size_t(expr4len(key)));
        // General keys of accented text carry more than the weights a seek
        // value gives; the text without its blanks finds them.
        return tag.general ? folded(v) : v;
      };
      for (int32_t r = 1; r <= d4recCount(d) && r <= 40; ++r) {
        d4tagSelectP(d, nullptr);
        d4go(d, r);
        std::string value;
        if (type == 'C' || type == 'D') {
          value = value_of();
        } else if (type == 'N' || type == 'n') {
          char num[64];
          std::snprintf(num, sizeof num, "%.17g", expr4double(key));
          value = num;
        } else {
          continue;
        }
        d4tagSelectP(d, tag.tag);
        ASSERT_EQ(d4seekN(d, value.data(), int(value.size())), r4success) << "record " << r;
        const std::string found = value_of();
        d4go(d, r);
        EXPECT_EQ(found, value_of());
      }
      expr4free(key);
    }
    d4close(d);
  }
}

INSTANTIATE_TEST_SUITE_P(Formats, IndexSamples, ::testing::ValuesIn(formats::indexes()),
                         formats::Named());

}  // namespace
