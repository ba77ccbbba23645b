// The engine's own extensions (see the header's last section): the files
// behind open handles, tags added to an open index file, and the index
// verifier with its report in one block the caller frees.
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "api/api_index_support.h"
#include "api/guard.h"
#include "index/table_indexes.h"
#include "index/verify.h"

using xbase::api::guarded;
using xbase::index::IndexFile;

namespace {

IndexFile* as_file(INDEX4* i) { return static_cast<IndexFile*>(i); }
CODE4* context_of(IndexFile* f) { return f && f->owner ? static_cast<CODE4*>(&f->owner->context()) : nullptr; }

// Bytes for a report of `verdict`: the head, the tag entries, then every
// string, so that one free releases it all.
size_t report_bytes(const xbase::index::FileVerdict& verdict) {
  size_t bytes = sizeof(INDEX4CHECK) + verdict.tags.size() * sizeof(TAG4CHECK);
  bytes += verdict.problem.size() + 1;
  for (const auto& t : verdict.tags)
    bytes += t.name.size() + t.problem.size() + t.note.size() + 3;
  return bytes;
}

INDEX4CHECK* make_report(const xbase::index::FileVerdict& verdict) {
  static_assert(sizeof(INDEX4CHECK) % alignof(TAG4CHECK) == 0);
  auto* report = static_cast<INDEX4CHECK*>(std::calloc(1, report_bytes(verdict)));
  if (report == nullptr) return nullptr;
  auto* tags = reinterpret_cast<TAG4CHECK*>(report + 1);
  char* text = reinterpret_cast<char*>(tags + verdict.tags.size());
  auto put = [&](const std::string& s) {
    char* at = text;
    std::memcpy(text, s.c_str(), s.size() + 1);
    text += s.size() + 1;
    return at;
  };
  report->problem = put(verdict.problem);
  report->numTags = static_cast<int32_t>(verdict.tags.size());
  report->tags = tags;
  for (size_t k = 0; k < verdict.tags.size(); ++k) {
    const auto& v = verdict.tags[k];
    tags[k].name = put(v.name);
    tags[k].entries = v.entries;
    tags[k].leaves = v.leaves;
    tags[k].interiors = v.interiors;
    tags[k].depth = v.depth;
    tags[k].keysChecked = v.keys_checked ? 1 : 0;
    tags[k].problem = put(v.problem);
    tags[k].note = put(v.note);
  }
  return report;
}

}  // namespace

extern "C" {

const char* d4fileName(DATA4* d) { return d ? d->table().path().c_str() : nullptr; }

const char* d4memoFileName(DATA4* d) {
  if (d == nullptr) return nullptr;
  xbase::memo::MemoFile* memo = d->file().memo();
  return memo ? memo->file().path().c_str() : "";
}

const char* i4fileName(INDEX4* i) { return i ? as_file(i)->path().c_str() : nullptr; }

int i4tagAdd(INDEX4* i, const TAG4INFO* tags) {
  IndexFile* f = as_file(i);
  CODE4* c4 = context_of(f);
  if (c4 == nullptr) return e4parm;
  if (tags == nullptr) return c4->fail(e4parm, "i4tagAdd needs a tag list");
  return guarded<int>(c4, e4index, [&] {
    std::vector<xbase::index::TagDefinition> defs;
    if (!xbase::api::tag_definitions(c4, tags, &defs)) return c4->error_code;
    xbase::Status st = f->owner->add_tags(f, defs);
    return st ? 0 : c4->fail(st);
  });
}

const char* t4unusableReason(TAG4* t) {
  return t ? static_cast<xbase::index::Tag*>(t)->unusable_reason().c_str() : nullptr;
}

INDEX4CHECK* i4verify(INDEX4* i) {
  IndexFile* f = as_file(i);
  CODE4* c4 = context_of(f);
  if (c4 == nullptr) return nullptr;
  return guarded<INDEX4CHECK*>(c4, nullptr, [&]() -> INDEX4CHECK* {
    xbase::index::FileVerdict verdict;
    xbase::Status st = xbase::index::verify_file(*f->owner, *f, &verdict);
    if (!st) {
      c4->fail(st);
      return nullptr;
    }
    INDEX4CHECK* report = make_report(verdict);
    if (report == nullptr) c4->fail(e4memory, "out of memory");
    return report;
  });
}

}  // extern "C"
