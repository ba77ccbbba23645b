#include "index/verify.h"

#include <algorithm>
#include <cstring>
#include <set>
#include <string>

#include "index/btree_cursor.h"
#include "index/sorted_keys.h"
#include "index/table_indexes.h"

namespace xbase::index {

namespace {

std::string entry_text(const Tag& tag, const uint8_t* key, uint32_t rec) {
  return "record " + std::to_string(rec) + " under key '" +
         describe_key(tag.shape().kind, tag.def().collation, tag.shape().nullable, key,
                      tag.key_len()) +
         "'";
}

// The expected entries of a tag, from the table.
Status expected_entries(TableIndexes& set, Tag& tag, int32_t count, SortedKeys* out) {
  out->reserve(static_cast<size_t>(count));
  for (int32_t rec = 1; rec <= count; ++rec) {
    XB_TRY(set.load_record(rec));
    bool included = false;
    uint8_t* slot = out->add(static_cast<uint32_t>(rec));
    tag.evaluate(slot, &included);
    if (!included) out->drop_last();
  }
  out->sort(false);
  return Status::ok();
}

// Keys of the general collation as this engine makes them: the weights and
// zero bytes after them. The FoxPro products append a diacritic part after
// the weights of accented text, which this engine leaves out.
void weights_only(uint8_t* key, size_t len) {
  const uint8_t* zero = static_cast<const uint8_t*>(std::memchr(key, 0, len));
  if (zero) std::memset(key + (zero - key), 0, len - static_cast<size_t>(zero - key));
}

// A general-collation tag: the same entries once the diacritic parts are
// set aside (their order among equal weights may then differ).
Status check_general_keys(Tag& tag, const SortedKeys& want, TagVerdict* v) {
  const size_t kl = tag.key_len();
  SortedKeys have(tag.key_len());
  BTreeCursor cur(tag.tree());
  XB_TRY(cur.first());
  while (cur.valid()) {
    uint8_t* k = have.add(cur.rec());
    std::memcpy(k, cur.key(), kl);
    weights_only(k, kl);
    XB_TRY(cur.next());
  }
  have.sort(false);
  if (tag.unique_mode() != 0) return Status::ok();  // accents may tell keys apart
  for (size_t i = 0; i < std::max(have.size(), want.size()); ++i) {
    if (i >= want.size()) {
      v->problem =
          "it holds " + entry_text(tag, have.key(i), have.rec(i)) + ", which no record has";
      return Status::ok();
    }
    if (i >= have.size() ||
        compare_entry(have.key(i), have.rec(i), want.key(i), want.rec(i), kl) != 0) {
      v->problem = "it lacks " + entry_text(tag, want.key(i), want.rec(i));
      return Status::ok();
    }
  }
  return Status::ok();
}

Status check_keys(TableIndexes& set, Tag& tag, int32_t count, TagVerdict* v) {
  SortedKeys want(tag.key_len());
  XB_TRY(expected_entries(set, tag, count, &want));
  if (tag.def().collation == Collation::kGeneral) return check_general_keys(tag, want, v);
  const size_t kl = tag.key_len();
  BTreeCursor cur(tag.tree());
  XB_TRY(cur.first());
  if (tag.unique_mode() == 0) {
    size_t i = 0;
    for (; cur.valid(); ++i) {
      if (i >= want.size()) {
        v->problem = "it holds " + entry_text(tag, cur.key(), cur.rec()) + ", which no record has";
        return Status::ok();
      }
      if (compare_entry(cur.key(), cur.rec(), want.key(i), want.rec(i), kl) != 0) {
        v->problem = compare_entry(cur.key(), cur.rec(), want.key(i), want.rec(i), kl) > 0
                         ? "it lacks " + entry_text(tag, want.key(i), want.rec(i))
                         : "it holds " + entry_text(tag, cur.key(), cur.rec()) +
                               ", which the record does not have";
        return Status::ok();
      }
      XB_TRY(cur.next());
    }
    if (i < want.size()) v->problem = "it lacks " + entry_text(tag, want.key(i), want.rec(i));
    return Status::ok();
  }
  // A unique tag: each distinct key once, on a record that has that key.
  std::set<std::pair<std::string, uint32_t>> have;
  for (size_t i = 0; i < want.size(); ++i)
    have.emplace(std::string(reinterpret_cast<const char*>(want.key(i)), kl), want.rec(i));
  std::string prev;
  size_t keys = 0;
  for (; cur.valid();) {
    std::string k(reinterpret_cast<const char*>(cur.key()), kl);
    if (keys > 0 && k == prev) {
      v->problem = "the unique tag holds its key twice: " + entry_text(tag, cur.key(), cur.rec());
      return Status::ok();
    }
    if (!have.count({k, cur.rec()})) {
      v->problem =
          "it holds " + entry_text(tag, cur.key(), cur.rec()) + ", which the record does not have";
      return Status::ok();
    }
    prev = std::move(k);
    ++keys;
    XB_TRY(cur.next());
  }
  std::set<std::string> distinct;
  for (const auto& e : have) distinct.insert(e.first);
  if (distinct.size() != keys)
    v->problem = "it holds " + std::to_string(keys) + " keys, the records have " +
                 std::to_string(distinct.size());
  return Status::ok();
}

}  // namespace

bool FileVerdict::ok() const { return first_problem().empty(); }

std::string FileVerdict::first_problem() const {
  if (!problem.empty()) return path + ": " + problem;
  for (const TagVerdict& t : tags)
    if (!t.problem.empty()) return path + ", tag " + t.name + ": " + t.problem;
  return {};
}

Status verify_file(TableIndexes& set, IndexFile& file, FileVerdict* out) {
  out->path = file.path();
  out->tags.clear();
  ReadScope scope(file, set.retry());
  XB_TRY(scope.status());
  FileCheck fc;
  Status st = file.check_file(&fc);
  if (!st) out->problem = st.message();
  int32_t count = 0;
  XB_TRY(set.table().count(true, &count));
  for (auto& tag : file.tags()) {
    TagVerdict v;
    v.name = tag->name();
    if (!tag->readable()) {
      v.note = "not read: " + tag->unusable_reason();
      out->tags.push_back(std::move(v));
      continue;
    }
    TreeStats stats;
    st = tag->tree().check(&stats);
    v.entries = stats.entries;
    v.leaves = stats.leaves;
    v.interiors = stats.interiors;
    v.depth = stats.depth;
    if (!st) {
      v.problem = st.message();
    } else {
      // Every entry must name a record of the table.
      BTreeCursor cur(tag->tree());
      XB_TRY(cur.first());
      while (cur.valid()) {
        if (cur.rec() < 1 || cur.rec() > static_cast<uint32_t>(count)) {
          v.problem = "it names record " + std::to_string(cur.rec()) + " of a table of " +
                      std::to_string(count);
          break;
        }
        XB_TRY(cur.next());
      }
      if (v.problem.empty() && tag->maintainable()) {
        XB_TRY(check_keys(set, *tag, count, &v));
        v.keys_checked = true;
      } else if (v.problem.empty()) {
        v.note = "keys not compared with the records: " + tag->unusable_reason();
      }
    }
    out->tags.push_back(std::move(v));
  }
  return Status::ok();
}

}  // namespace xbase::index
