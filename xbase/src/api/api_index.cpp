// Index file and tag functions: argument checks and translation to the
// table's index set.
#include <strings.h>

#include <cstdlib>
#include <cstring>

#include "api/api_index_support.h"
#include "api/guard.h"
#include "index/index_formats.h"
#include "index/table_indexes.h"
#include "io/companion.h"

using xbase::Status;
using xbase::api::guarded;
using xbase::index::IndexFile;
using xbase::index::Tag;

namespace {

IndexFile* as_file(INDEX4* i) { return static_cast<IndexFile*>(i); }
Tag* as_tag(TAG4* t) { return static_cast<Tag*>(t); }
CODE4* context_of(IndexFile* f) { return f && f->owner ? static_cast<CODE4*>(&f->owner->context()) : nullptr; }

}  // namespace

namespace xbase::api {

std::string index_path(DATA4* d, const char* name) {
  std::string p(name, strnlen(name, 4096));
  if (io::path_extension(p).empty()) {
    p += ".";
    p += code4indexExtension(d->c4);
  }
  std::string found = io::resolve_case(p);
  if (io::file_exists(found) || p.find('/') != std::string::npos) return found;
  // A bare name is looked for beside the table too.
  const std::string& table = d->table().path();
  const size_t slash = table.rfind('/');
  if (slash == std::string::npos) return found;
  std::string beside = io::resolve_case(table.substr(0, slash + 1) + p);
  return io::file_exists(beside) ? beside : found;
}

bool tag_definitions(CODE4* c4, const TAG4INFO* tags, std::vector<index::TagDefinition>* out) {
  for (const TAG4INFO* t = tags; t->name != nullptr; ++t) {
    if (t->expression == nullptr) {
      c4->fail(e4parm, std::string("tag ") + t->name + " has no key expression");
      return false;
    }
    index::TagDefinition def;
    def.name.assign(t->name, strnlen(t->name, 64));
    for (char& c : def.name) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    def.key_expr.assign(t->expression, strnlen(t->expression, 4096));
    if (t->filter) def.filter.assign(t->filter, strnlen(t->filter, 4096));
    while (!def.filter.empty() && def.filter.back() == ' ') def.filter.pop_back();
    if (t->unique != 0 && t->unique != r4unique && t->unique != r4uniqueContinue) {
      c4->fail(e4parm, "tag " + def.name + ": unique must be 0, r4unique or r4uniqueContinue");
      return false;
    }
    def.unique = t->unique;
    def.descending = t->descending != 0;
    def.collation =
        c4->settings.collating == 1 ? index::Collation::kGeneral : index::Collation::kMachine;
    out->push_back(std::move(def));
  }
  if (out->empty()) {
    c4->fail(e4parm, "an index needs at least one tag");
    return false;
  }
  return true;
}

bool supports_index_format(CODE4* c4) {
  const index::IndexFormat* format = nullptr;
  Status st = index::require_index_format(c4->settings.format, &format);
  if (!st) c4->fail(st);
  return st.is_ok();
}

IndexFile* create_index(DATA4* d, const char* name, const TAG4INFO* tags) {
  CODE4* c4 = d->c4;
  std::vector<index::TagDefinition> defs;
  if (!supports_index_format(c4) || !tag_definitions(c4, tags, &defs)) return nullptr;
  const bool production = name == nullptr || *name == 0;
  const std::string path =
      production ? io::companion_path(d->table().path(), code4indexExtension(c4)) : index_path(d, name);
  if (int rc = d->write_pending(); rc != 0) return nullptr;
  IndexFile* file = nullptr;
  Status st = d->table().make_indexes().create(path, defs, c4->settings.safety != 0, &file);
  if (st && production) st = d->file().set_table_flags(table::kTableHasIndex, true);
  if (!st) {
    c4->fail(st);
    return nullptr;
  }
  return file;
}

}  // namespace xbase::api

extern "C" {

INDEX4* i4open(DATA4* d, const char* name) {
  if (d == nullptr) return nullptr;
  CODE4* c4 = d->c4;
  if (name == nullptr || *name == 0) {
    c4->fail(e4parm, "i4open needs an index file name");
    return nullptr;
  }
  return guarded<INDEX4*>(c4, nullptr, [&]() -> INDEX4* {
    if (!xbase::api::supports_index_format(c4)) return nullptr;
    IndexFile* file = nullptr;
    Status st = d->table().make_indexes().open(xbase::api::index_path(d, name), &file);
    if (!st) {
      c4->fail(st);
      return nullptr;
    }
    return file;
  });
}

INDEX4* i4create(DATA4* d, const char* name, const TAG4INFO* tags) {
  if (d == nullptr) return nullptr;
  CODE4* c4 = d->c4;
  if (tags == nullptr) {
    c4->fail(e4parm, "i4create needs a tag list");
    return nullptr;
  }
  return guarded<INDEX4*>(c4, nullptr,
                          [&]() -> INDEX4* { return xbase::api::create_index(d, name, tags); });
}

int i4close(INDEX4* i) {
  IndexFile* f = as_file(i);
  CODE4* c4 = context_of(f);
  if (c4 == nullptr) return e4parm;
  return guarded<int>(c4, e4close, [&] {
    xbase::index::TableIndexes* owner = f->owner;
    for (auto& h : c4->handles)
      if (h->selected_tag() != nullptr && &h->selected_tag()->file() == f) h->select_tag(nullptr);
    Status st = owner->close(f);
    return st ? 0 : c4->fail(st);
  });
}

TAG4INFO* i4tagInfo(INDEX4* i) {
  IndexFile* f = as_file(i);
  CODE4* c4 = context_of(f);
  if (c4 == nullptr) return nullptr;
  return guarded<TAG4INFO*>(c4, nullptr, [&]() -> TAG4INFO* {
    // One allocation: the entries, then their strings, so that
    // u4freeDefault frees it all.
    const auto& tags = f->tags();
    size_t bytes = (tags.size() + 1) * sizeof(TAG4INFO);
    for (const auto& t : tags)
      bytes += t->name().size() + t->def().key_expr.size() + t->def().filter.size() + 3;
    auto* info = static_cast<TAG4INFO*>(std::calloc(1, bytes));
    if (info == nullptr) {
      c4->fail(e4memory, "out of memory");
      return nullptr;
    }
    char* text = reinterpret_cast<char*>(info + tags.size() + 1);
    auto put = [&](const std::string& s) {
      char* at = text;
      std::memcpy(text, s.c_str(), s.size() + 1);
      text += s.size() + 1;
      return at;
    };
    for (size_t k = 0; k < tags.size(); ++k) {
      const Tag& t = *tags[k];
      info[k].name = put(t.name());
      info[k].expression = put(t.def().key_expr);
      info[k].filter = put(t.def().filter);
      info[k].unique = static_cast<int16_t>(t.unique_mode());
      info[k].descending = t.descending() ? r4descending : 0;
    }
    return info;
  });
}

TAG4* i4tag(INDEX4* i, const char* name) {
  IndexFile* f = as_file(i);
  CODE4* c4 = context_of(f);
  if (c4 == nullptr) return nullptr;
  Tag* t = name ? f->find_tag(name) : nullptr;
  if (t == nullptr && c4->settings.err_tag_name)
    c4->fail(e4tagName, "index " + f->path() + " has no tag " +
                            (name ? std::string(name) : std::string("(none)")));
  return t;
}

const char* t4alias(TAG4* t) { return t ? as_tag(t)->name().c_str() : nullptr; }

int t4unique(TAG4* t) { return t ? as_tag(t)->unique_mode() : e4parm; }

int t4uniqueSet(TAG4* t, int mode) {
  if (t == nullptr) return e4parm;
  Tag* tag = as_tag(t);
  const int old = tag->unique_mode();
  if (mode == r4check) return old;
  CODE4* c4 = context_of(&tag->file());
  if (old == 0 || (mode != r4unique && mode != r4uniqueContinue)) {
    if (c4)
      c4->fail(e4parm, "tag " + tag->name() + ": only a unique tag's mode can be set, to 20 or 25");
    return e4parm;
  }
  tag->set_unique_mode(mode);
  return old;
}

}  // extern "C"
