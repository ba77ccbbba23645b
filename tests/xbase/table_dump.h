// A table as an independent reader sees it (tests/interop/dbfread_dump.py writes it), and
// its comparison with the engine's reading of the same file: every field's raw bytes, and
// the value the reader decodes against the engine's typed getters (the script describes
// the value forms). Numbers travel as the shortest text that reads back to the same
// double, so their comparison is exact.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <map>
#include <string>
#include <vector>

#include "python_oracle.h"
#include "vgxbase/xbase.h"

namespace vgx_test {

struct DumpField {
  std::string name;
  char type = 0;
  int len = 0;
  int dec = 0;
};

struct DumpTable {
  std::string error;   // why dbfread could not read it ("" when it could)
  std::string source;  // "dbfread", "dbf", "bytes" or "none" (then `why` says why)
  std::string why;
  std::string code_page;  // the reader's code page line
  std::vector<DumpField> fields;
  std::vector<std::vector<std::string>> live, deleted;  // per record: "raw|value" per field
};

inline std::map<std::string, DumpTable> parse_dump(const std::string& text) {
  std::map<std::string, DumpTable> out;
  DumpTable* t = nullptr;
  size_t pos = 0;
  while (pos < text.size()) {
    size_t end = text.find('\n', pos);
    if (end == std::string::npos) end = text.size();
    std::string_view line(text.data() + pos, end - pos);
    pos = end + 1;
    if (line.size() < 2) continue;
    std::vector<std::string> cols = split(line.substr(2), '\t');
    if (line[0] == 'T') {
      t = &out[cols[0]];
      continue;
    }
    if (t == nullptr) continue;
    switch (line[0]) {
      case 'E': t->error = cols[0]; break;
      case 'S':
        t->source = cols[0];
        if (cols.size() > 1) t->why = cols[1];
        break;
      case 'H': t->code_page = cols[0]; break;
      case 'F':
        if (cols.size() == 4)
          t->fields.push_back({from_hex(cols[0]), cols[1].empty() ? '?' : cols[1][0],
                               std::stoi(cols[2]), std::stoi(cols[3])});
        break;
      case 'R':
        if (!cols.empty()) {
          bool deleted = cols[0] == "D";
          cols.erase(cols.begin());
          (deleted ? t->deleted : t->live).push_back(std::move(cols));
        }
        break;
      default: break;
    }
  }
  return out;
}

// Runs dbfread_dump.py with `args` (already quoted) and parses what it prints.
inline std::map<std::string, DumpTable> run_dump(const std::string& args) {
  RunResult r = run_command(std::string(kPython) + " " +
                            shell_quote(interop_script("dbfread_dump.py").string()) + " " + args);
  EXPECT_EQ(r.status, 0) << "dbfread_dump.py " << args << " failed";
  return parse_dump(r.out);
}

// Splits a dump field "raw hex|value" into the raw bytes and the value.
inline std::pair<std::string, std::string> split_token(const std::string& token) {
  const size_t bar = token.find('|');
  return {from_hex(token.substr(0, bar)), bar == std::string::npos ? "" : token.substr(bar + 1)};
}

// Collects the mismatches of one table; after a few the rest only count.
class Mismatches {
 public:
  explicit Mismatches(std::string table) : table_(std::move(table)) {}
  ~Mismatches() {
    if (count_ > kShown)
      ADD_FAILURE() << table_ << ": " << count_ - kShown << " further mismatches";
  }
  Mismatches(const Mismatches&) = delete;
  Mismatches& operator=(const Mismatches&) = delete;

  void add(int32_t rec, const std::string& field, const std::string& what) {
    if (++count_ <= kShown)
      ADD_FAILURE() << table_ << " record " << rec << " field " << field << ": " << what;
  }
  void add_table(const std::string& what) {
    ++count_;
    ADD_FAILURE() << table_ << ": " << what;
  }
  int count() const { return count_; }

 private:
  static constexpr int kShown = 12;
  std::string table_;
  int count_ = 0;
};

inline bool same_name(const std::string& a, const std::string& b) {
  return a.size() == b.size() && std::equal(a.begin(), a.end(), b.begin(), [](char x, char y) {
           return std::toupper(static_cast<unsigned char>(x)) ==
                  std::toupper(static_cast<unsigned char>(y));
         });
}

// For a value the reader refused ("!<reason>"): what the engine must read instead, as
// number text ("" for the empty value), or null when the refusal is not an expected one.
using RefusalLookup = std::function<const char*(const std::string& reason)>;

inline bool memo_type(FIELD4* f) {
  const char t = static_cast<char>(f4type(f));
  return t == 'M' || t == 'G' || t == 'P' || t == 'W' || (t == 'B' && f4len(f) == 10);
}

// Compares the engine's typed reading of `f` with the reader's `value`; answers what
// differs, or "" when nothing does.
inline std::string value_mismatch(CODE4* c4, FIELD4* f, const std::string& value,
                                  const RefusalLookup& refused) {
  if (value.empty() || value == "-") return "";
  const char kind = value[0];
  const std::string v = value.substr(1);
  const std::string blank16(16, ' ');
  switch (kind) {
    case '0': return f4null(f) == 1 ? "" : "the reader says null, f4null says not";
    case 'n': {
      const double got = f4double(f);
      const double want = v == "null" ? 0.0 : std::strtod(v.c_str(), nullptr);
      if (!(got == want || (std::isnan(got) && std::isnan(want))))
        return "f4double " + std::to_string(got) + ", reader " + v;
      if (f4type(f) == 'I' && f4long(f) != static_cast<int32_t>(want))
        return "f4long " + std::to_string(f4long(f)) + ", reader " + v;
      return "";
    }
    case 'l': {
      const int want = v == "T" ? 1 : 0;
      return f4true(f) == want ? "" : "f4true " + std::to_string(f4true(f)) + ", reader " + v;
    }
    case 'd': {
      std::string got = std::string(f4dateTime(f)).substr(0, 8);
      return got == (v.empty() ? std::string(8, ' ') : v)
                 ? ""
                 : "date '" + got + "', reader '" + v + "'";
    }
    case 't': {
      std::string got = f4dateTime(f);
      return got == (v.empty() ? blank16 : v) ? "" : "f4dateTime '" + got + "', reader '" + v + "'";
    }
    case 'm': {
      code4errorCode(c4, 0);
      const char* s = f4memoStr(f);
      const uint32_t len = f4memoLen(f);
      if (int err = code4errorCode(c4, 0); err != 0)
        return "reading the memo failed with " + std::to_string(err);
      std::string got(s, len);
      std::string want = v == "null" ? std::string() : from_hex(v);
      if (got == want) return "";
      return "memo of " + std::to_string(got.size()) + " bytes '" + preview(got) + "', reader " +
             std::to_string(want.size()) + " bytes '" + preview(want) + "'";
    }
    case '!': {
      if (memo_type(f)) {
        // A reference the reader cannot follow: the engine must say why, e4open when the
        // memo file is missing, e4data when it is damaged.
        const int want = v.find("memo file is missing") != std::string::npos ? e4open : e4data;
        code4errorCode(c4, 0);
        (void)f4memoStr(f);
        const int err = code4errorCode(c4, 0);
        return err == want ? ""
                           : "reader: " + v + "; the engine gave " + std::to_string(err) +
                                 ", not " + std::to_string(want);
      }
      const char* engine = refused ? refused(v) : nullptr;
      if (engine == nullptr) return "the reader refused the value (" + v + "), not a listed case";
      if (*engine != 0) {
        return f4double(f) == std::strtod(engine, nullptr)
                   ? ""
                   : "f4double " + std::to_string(f4double(f)) + ", the bytes say " + engine;
      }
      if (f4double(f) != 0 || f4true(f) != 0 || std::string(f4dateTime(f)) != blank16)
        return "the reader refused the value (" + v + "); the engine must read it as empty";
      return "";
    }
    default: return "unknown value '" + value + "' in the dump";
  }
}

// Compares every field of every record the engine walks in `d` with the dump `t`.
// Deleted and live records are matched in file order within each kind (dbfread lists
// them apart).
inline void compare_table(CODE4* c4, DATA4* d, const std::string& name, const DumpTable& t,
                          const RefusalLookup& refused = nullptr) {
  Mismatches bad(name);
  // The dump lists every descriptor; the engine hides the null-flags field,
  // whose bytes are read from the record at its offset (fields lie end to end).
  std::vector<FIELD4*> by_dump;
  size_t null_flags_at = 0, null_flags_len = 0, offset = 1;
  int j = 0;
  for (const DumpField& df : t.fields) {
    offset += size_t(df.len);
    if (df.type == '0' && same_name(df.name, "_NullFlags")) {
      null_flags_at = offset - size_t(df.len);
      null_flags_len = size_t(df.len);
      by_dump.push_back(nullptr);
      continue;
    }
    FIELD4* f = d4fieldJ(d, ++j);
    if (f == nullptr) {
      bad.add_table("the reader has field " + df.name + " that the engine lacks");
      return;
    }
    if (!same_name(f4name(f), df.name) || f4type(f) != df.type || f4len(f) != df.len ||
        f4decimals(f) != df.dec)
      bad.add_table("field " + std::to_string(j) + ": engine " + f4name(f) + " " + char(f4type(f)) +
                    " " + std::to_string(f4len(f)) + "," + std::to_string(f4decimals(f)) +
                    ", reader " + df.name + " " + df.type + " " + std::to_string(df.len) + "," +
                    std::to_string(df.dec));
    by_dump.push_back(f);
  }
  if (j != d4numFields(d)) {
    bad.add_table("the engine has " + std::to_string(d4numFields(d)) + " fields, the reader " +
                  std::to_string(j));
    return;
  }

  size_t live = 0, deleted = 0;
  for (int rc = d4top(d); rc == 0; rc = d4skip(d, 1)) {
    const int32_t rec = d4recNoLow(d);
    const bool is_deleted = d4deleted(d) == 1;
    const auto& list = is_deleted ? t.deleted : t.live;
    size_t& at = is_deleted ? deleted : live;
    if (at >= list.size()) {
      bad.add(rec, "-",
              std::string("the reader has no further ") + (is_deleted ? "deleted" : "live") +
                  " record");
      ++at;
      continue;
    }
    const std::vector<std::string>& tokens = list[at++];
    if (tokens.size() != by_dump.size()) {
      bad.add(rec, "-", "the dump holds " + std::to_string(tokens.size()) + " fields");
      continue;
    }
    for (size_t i = 0; i < tokens.size(); ++i) {
      auto [raw, value] = split_token(tokens[i]);
      FIELD4* f = by_dump[i];
      if (f == nullptr) {
        std::string got(d4recordLow(d) + null_flags_at, null_flags_len);
        if (got != raw)
          bad.add(rec, "_NullFlags", "bytes " + to_hex(got) + ", reader " + to_hex(raw));
        continue;
      }
      std::string got(f4str(f), size_t(f4len(f)));
      if (got != raw) {
        bad.add(rec, f4name(f), "bytes '" + preview(got) + "', reader '" + preview(raw) + "'");
        continue;
      }
      std::string why = value_mismatch(c4, f, value, refused);
      if (!why.empty()) bad.add(rec, f4name(f), why);
    }
  }
  if (live != t.live.size() || deleted != t.deleted.size())
    bad.add_table("the engine walks " + std::to_string(live) + " live and " +
                  std::to_string(deleted) + " deleted records, the reader " +
                  std::to_string(t.live.size()) + " and " + std::to_string(t.deleted.size()));
}

}  // namespace vgx_test
