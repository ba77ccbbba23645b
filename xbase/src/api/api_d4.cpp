// Table functions: argument checks and translation to the cursor and the
// shared table file.
#include <sys/stat.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <strings.h>

#include "api/api_index_support.h"
#include "api/guard.h"
#include "index/index_formats.h"
#include "io/companion.h"
#include "table/field_codec.h"

using xbase::Status;
using xbase::api::guarded;
using xbase::cursor::SharedTable;
using xbase::table::TableFile;

namespace {

std::string text_arg(const char* s) { return s ? std::string(s, strnlen(s, 4096)) : std::string(); }

std::string table_path(const std::string& name) {
  std::string path = name;
  if (xbase::io::path_extension(path).empty()) {
    std::string upper = xbase::io::resolve_case(path + ".DBF");
    if (xbase::io::file_exists(upper)) return upper;
    std::string lower = xbase::io::resolve_case(path + ".dbf");
    return xbase::io::file_exists(lower) ? lower : path + ".DBF";
  }
  return xbase::io::resolve_case(path);
}

xbase::table::OpenOptions open_options(const CODE4* c4) {
  xbase::table::OpenOptions o;
  o.exclusive = c4->settings.access_mode != 0;
  o.read_only = c4->settings.read_only != 0;
  o.format = c4->settings.format;
  o.optimize = c4->settings.optimize;
  o.optimize_write = c4->settings.optimize_write;
  return o;
}

DATA4* make_handle(CODE4* c4, std::shared_ptr<SharedTable> table, const std::string& alias, bool read_only) {
  c4->handles.push_back(std::make_unique<DATA4>(c4, std::move(table), alias, read_only));
  return c4->handles.back().get();
}

std::shared_ptr<SharedTable> shared_table(CODE4* c4, const std::string& path, bool read_only) {
  struct stat st;
  if (::stat(path.c_str(), &st) != 0) return nullptr;
  for (const auto& t : c4->tables) {
    const TableFile& f = t->file();
    if (f.dev() == uint64_t(st.st_dev) && f.ino() == uint64_t(st.st_ino) && (read_only || !f.read_only())) return t;
  }
  return nullptr;
}

// With auto-open, a table whose header says it has a production index gets
// it when its file is first opened in the context.
bool open_production_index(DATA4* d) {
  CODE4* c4 = d->c4;
  const xbase::index::IndexFormat* format = xbase::index::index_format(c4->settings.format);
  if (!c4->settings.auto_open || format == nullptr) return true;
  if (!(d->header().table_flags & xbase::table::kTableHasIndex)) return true;
  if (d->table().open_indexes()) return true;
  const std::string path = xbase::io::companion_path(d->table().path(), format->extension);
  if (!xbase::io::file_exists(path)) return true;
  xbase::index::IndexFile* file = nullptr;
  Status st = d->table().make_indexes().open(path, &file);
  if (!st) {
    c4->fail(st.code() > 0 ? e4index : st.code(), st.message());
    return false;
  }
  return true;
}

xbase::table::Family family_for(const CODE4* c4) {
  switch (c4->settings.format) {
    case u4formatClipper: return xbase::table::Family::kDbase3;
    case u4formatDbase: return xbase::table::Family::kDbase4;
    default: return c4->settings.compatibility >= 30 ? xbase::table::Family::kVfp : xbase::table::Family::kFox2;
  }
}

}  // namespace

extern "C" {

DATA4* d4open(CODE4* c4, const char* name) {
  if (c4 == nullptr) return nullptr;
  if (name == nullptr || *name == 0) {
    c4->fail(e4parm, "d4open needs a table name");
    return nullptr;
  }
  return guarded<DATA4*>(c4, nullptr, [&]() -> DATA4* {
    std::string path = table_path(text_arg(name));
    std::string alias = xbase::expr::alias_for_path(path);
    if (c4->settings.single_open && c4->find_alias(alias.c_str())) {
      c4->fail(e4instance, "table " + alias + " is already open in this context");
      return nullptr;
    }
    const bool read_only = c4->settings.read_only != 0;
    std::shared_ptr<SharedTable> table = shared_table(c4, path, read_only);
    if (!table) {
      std::unique_ptr<TableFile> opened;
      Status st = TableFile::open(path, open_options(c4), &opened);
      if (!st) {
        c4->fail(st);
        return nullptr;
      }
      table = std::make_shared<SharedTable>(*c4, std::move(opened));
      c4->tables.push_back(table);
    }
    DATA4* d = make_handle(c4, table, alias, read_only);
    if (!open_production_index(d)) {
      const int code = c4->error_code;
      const std::string message = c4->error_message;
      table.reset();
      c4->forget(d);
      c4->error_code = code;
      c4->error_message = message;
      return nullptr;
    }
    d->top();
    return d;
  });
}

DATA4* d4openClone(DATA4* d) {
  if (d == nullptr) return nullptr;
  CODE4* c4 = d->c4;
  return guarded<DATA4*>(c4, nullptr, [&]() -> DATA4* {
    DATA4* clone = make_handle(c4, d->shared_table(), d->alias(), d->read_only);
    clone->top();
    return clone;
  });
}

int d4close(DATA4* d) {
  if (d == nullptr) return e4parm;
  CODE4* c4 = d->c4;
  return guarded<int>(c4, e4close, [&] {
    int rc = d->unlock();
    if (d->shared_table().use_count() <= 2) {
      Status st = d->table().flush();
      if (!st && rc == 0) rc = c4->fail(st);
    }
    c4->forget(d);
    return rc;
  });
}

DATA4* d4create(CODE4* c4, const char* name, const FIELD4INFO* fields, const TAG4INFO* tags) {
  if (c4 == nullptr) return nullptr;
  if (name == nullptr || *name == 0 || fields == nullptr) {
    c4->fail(e4parm, "d4create needs a name and a field list");
    return nullptr;
  }
  const bool with_tags = tags != nullptr && tags[0].name != nullptr;
  if (with_tags && !xbase::api::supports_index_format(c4)) return nullptr;
  return guarded<DATA4*>(c4, nullptr, [&]() -> DATA4* {
    std::vector<xbase::table::FieldDesc> descs;
    const xbase::table::Family family = family_for(c4);
    for (const FIELD4INFO* f = fields; f->name != nullptr; ++f) {
      xbase::table::FieldDesc fd;
      fd.name = text_arg(f->name);
      fd.type = static_cast<char>(f->type);
      fd.len = f->len;
      fd.dec = static_cast<uint8_t>(f->dec > 255 ? 255 : f->dec);
      if (f->nulls == r4null && family == xbase::table::Family::kVfp) fd.flags |= xbase::table::kFieldNullable;
      descs.push_back(std::move(fd));
    }
    xbase::table::CreateOptions opt;
    opt.family = family;
    opt.code_page = static_cast<uint8_t>(c4->settings.code_page);
    opt.clipper_terminator = c4->settings.format == u4formatClipper;
    xbase::table::TableHeader header;
    Status st = xbase::table::build_header(descs, opt, &header);
    std::string path = text_arg(name);
    if (xbase::io::path_extension(path).empty()) path += ".DBF";
    if (!st) {
      c4->fail(st.code(), path + ": " + st.message());
      return nullptr;
    }
    std::string alias = xbase::expr::alias_for_path(path);
    if (c4->find_alias(alias.c_str())) {
      c4->fail(e4instance, "table " + alias + " is open in this context: close it before creating it anew");
      return nullptr;
    }
    std::unique_ptr<TableFile> created;
    st = TableFile::create(path, header, c4->settings.safety != 0, open_options(c4), &created);
    if (!st) {
      c4->fail(st);
      return nullptr;
    }
    auto table = std::make_shared<SharedTable>(*c4, std::move(created));
    c4->tables.push_back(table);
    DATA4* d = make_handle(c4, table, alias, false);
    if (with_tags && xbase::api::create_index(d, nullptr, tags) == nullptr) {
      // A table without the index it was asked for is of no use: it goes.
      const int code = c4->error_code;
      const std::string message = c4->error_message;
      const std::string dbf = table->path();
      const std::string memo = table->file().memo() ? table->file().memo()->file().path() : std::string();
      table.reset();
      d4close(d);
      std::remove(dbf.c_str());
      if (!memo.empty()) std::remove(memo.c_str());
      c4->error_code = code;
      c4->error_message = message;
      return nullptr;
    }
    return d;
  });
}

const char* d4alias(DATA4* d) { return d ? d->alias().c_str() : nullptr; }

void d4aliasSet(DATA4* d, const char* alias) {
  if (d && alias) d->set_alias(std::string(alias, strnlen(alias, 255)));
}

INDEX4* d4index(DATA4* d, const char* name) {
  if (d == nullptr) return nullptr;
  xbase::index::TableIndexes* ix = d->table().open_indexes();
  if (ix == nullptr) return nullptr;
  if (name == nullptr || *name == 0) {
    // The production index: the open file named after the table.
    for (auto& f : ix->files())
      if (strcasecmp(xbase::io::path_base_name(f->path()).c_str(), xbase::io::path_base_name(d->table().path()).c_str()) == 0)
        return f.get();
    return nullptr;
  }
  return ix->find(std::string(name, strnlen(name, 4096)));
}

TAG4* d4tagSelected(DATA4* d) { return d ? d->selected_tag() : nullptr; }

// Whether `tag` is a tag of an index open on the handle's table.
static bool tag_of_table(DATA4* d, TAG4* tag) {
  xbase::index::TableIndexes* ix = d->table().indexes();
  return ix != nullptr && ix->owns(static_cast<xbase::index::Tag*>(tag));
}

int d4tagSelectP(DATA4* d, TAG4* tag) {
  if (d == nullptr) return e4parm;
  if (tag != nullptr && !tag_of_table(d, tag))
    return d->c4->fail(e4parm, "the tag is not one of the indexes open on " + d->alias());
  d->select_tag(static_cast<xbase::index::Tag*>(tag));
  return 0;
}

int d4tagSync(DATA4* d, TAG4* tag) {
  if (d == nullptr) return e4parm;
  if (tag != nullptr && !tag_of_table(d, tag))
    return d->c4->fail(e4parm, "the tag is not one of the indexes open on " + d->alias());
  // The position in a tag follows the current record on the next move.
  return 0;
}

int d4top(DATA4* d) { return d ? guarded<int>(d->c4, e4memory, [&] { return d->top(); }) : e4parm; }
int d4bottom(DATA4* d) { return d ? guarded<int>(d->c4, e4memory, [&] { return d->bottom(); }) : e4parm; }
int d4skip(DATA4* d, int32_t n) { return d ? guarded<int>(d->c4, e4memory, [&] { return d->skip(n); }) : e4parm; }
int d4go(DATA4* d, int32_t rec) { return d ? guarded<int>(d->c4, e4memory, [&] { return d->go(rec); }) : e4parm; }
int d4goEof(DATA4* d) { return d ? guarded<int>(d->c4, e4memory, [&] { return d->go_eof(); }) : e4parm; }
int d4bof(DATA4* d) { return d ? (d->bof ? 1 : 0) : e4parm; }
int d4eof(DATA4* d) { return d ? (d->eof ? 1 : 0) : e4parm; }

int32_t d4recNoLow(DATA4* d) {
  if (d == nullptr) return e4parm;
  return d->append_pending ? 0 : d->rec_no;
}

int32_t d4recCount(DATA4* d) {
  if (d == nullptr) return e4parm;
  return d->count(true);
}

int32_t d4recCountDo(DATA4* d) {
  if (d == nullptr) return e4parm;
  return d->count(true);
}

static int seek(DATA4* d, const char* key, int len, bool next) {
  if (d == nullptr) return e4parm;
  if (len < 0) return d->c4->fail(e4parm, "a seek key cannot have a negative length");
  return guarded<int>(d->c4, e4memory, [&] { return d->seek(key, static_cast<size_t>(len), next); });
}

int d4seek(DATA4* d, const char* key) { return seek(d, key, key ? static_cast<int>(strnlen(key, 4096)) : 0, false); }
int d4seekN(DATA4* d, const char* key, int len) { return seek(d, key, len, false); }
int d4seekNext(DATA4* d, const char* key) {
  return seek(d, key, key ? static_cast<int>(strnlen(key, 4096)) : 0, true);
}
int d4seekNextN(DATA4* d, const char* key, int len) { return seek(d, key, len, true); }

int d4deleted(DATA4* d) {
  if (d == nullptr) return e4parm;
  return d->record[0] == xbase::table::kDeletedMark ? 1 : 0;
}

int d4delete(DATA4* d) { return d ? d->set_deleted(true) : e4parm; }
int d4recall(DATA4* d) { return d ? d->set_deleted(false) : e4parm; }

int d4appendBlank(DATA4* d) { return d ? guarded<int>(d->c4, e4memory, [&] { return d->append_blank(); }) : e4parm; }
int d4appendStart(DATA4* d, int memo) {
  return d ? guarded<int>(d->c4, e4memory, [&] { return d->append_start(memo); }) : e4parm;
}
int d4append(DATA4* d) { return d ? guarded<int>(d->c4, e4memory, [&] { return d->append(); }) : e4parm; }
int d4blank(DATA4* d) { return d ? guarded<int>(d->c4, e4memory, [&] { return d->blank(); }) : e4parm; }

int d4changed(DATA4* d, int flag) {
  if (d == nullptr) return e4parm;
  int old = d->changed ? 1 : 0;
  if (flag >= 0) d->changed = flag != 0;
  return old;
}

int d4refreshRecord(DATA4* d) {
  return d ? guarded<int>(d->c4, e4memory, [&] { return d->refresh_record(); }) : e4parm;
}

int d4refresh(DATA4* d) {
  if (d == nullptr) return e4parm;
  return guarded<int>(d->c4, e4memory, [&] {
    Status st = d->table().refresh();
    return st ? 0 : d->c4->fail(st);
  });
}

int d4write(DATA4* d, int32_t rec) {
  return d ? guarded<int>(d->c4, e4memory, [&] { return d->write(rec); }) : e4parm;
}

int d4flush(DATA4* d) {
  if (d == nullptr) return e4parm;
  return guarded<int>(d->c4, e4memory, [&] {
    int rc = d->write_pending();
    if (rc != 0) return rc;
    Status st = d->table().flush();
    return st ? 0 : d->c4->fail(st);
  });
}

int d4lock(DATA4* d, int32_t rec) {
  if (d == nullptr) return e4parm;
  return guarded<int>(d->c4, e4memory, [&] {
    if (rec < 1) return d->c4->fail(e4parm, "cannot lock record " + std::to_string(rec));
    const auto& f = d->file();
    if (f.holds_record(d->lock_owner(), rec) || f.holds_file(d->lock_owner())) return 0;
    d->c4->auto_unlock(d);
    return d->lock_record(rec);
  });
}

int d4lockFile(DATA4* d) {
  if (d == nullptr) return e4parm;
  return guarded<int>(d->c4, e4memory, [&] {
    if (d->file().holds_file(d->lock_owner())) return 0;
    d->c4->auto_unlock(d);
    return d->lock_file();
  });
}
int d4unlock(DATA4* d) { return d ? guarded<int>(d->c4, e4memory, [&] { return d->unlock(); }) : e4parm; }

int d4lockAdd(DATA4* d, int32_t rec) {
  if (d == nullptr) return e4parm;
  if (rec < 1) return d->c4->fail(e4parm, "cannot lock record " + std::to_string(rec));
  d->c4->lock_queue.push_back({d, LockRequest::kRecord, rec});
  return 0;
}
int d4lockAddFile(DATA4* d) {
  if (d == nullptr) return e4parm;
  d->c4->lock_queue.push_back({d, LockRequest::kFile, 0});
  return 0;
}
int d4lockAddAll(DATA4* d) {
  if (d == nullptr) return e4parm;
  d->c4->lock_queue.push_back({d, LockRequest::kAll, 0});
  return 0;
}

FIELD4* d4field(DATA4* d, const char* name) {
  if (d == nullptr) return nullptr;
  if (name != nullptr)
    for (auto& f : d->fields)
      if (strcasecmp(f->desc().name.c_str(), name) == 0) return f.get();
  if (d->c4->settings.err_field_name)
    d->c4->fail(e4fieldName, "table " + d->alias() + " has no field " + text_arg(name));
  return nullptr;
}

FIELD4* d4fieldJ(DATA4* d, int j) {
  if (d == nullptr || j < 1 || j > static_cast<int>(d->fields.size())) return nullptr;
  return d->fields[static_cast<size_t>(j - 1)].get();
}

int d4fieldNumber(DATA4* d, const char* name) {
  if (d == nullptr) return e4parm;
  if (name != nullptr)
    for (size_t i = 0; i < d->fields.size(); ++i)
      if (strcasecmp(d->fields[i]->desc().name.c_str(), name) == 0) return static_cast<int>(i + 1);
  if (d->c4->settings.err_field_name)
    d->c4->fail(e4fieldName, "table " + d->alias() + " has no field " + text_arg(name));
  return -1;
}

int d4numFields(DATA4* d) { return d ? static_cast<int>(d->fields.size()) : e4parm; }

FIELD4INFO* d4fieldInfo(DATA4* d) {
  if (d == nullptr) return nullptr;
  // One allocation: the entries, then their names, so u4freeDefault frees it all.
  size_t n = d->fields.size();
  size_t bytes = (n + 1) * sizeof(FIELD4INFO);
  for (auto& f : d->fields) bytes += f->desc().name.size() + 1;
  auto* info = static_cast<FIELD4INFO*>(std::calloc(1, bytes));
  if (info == nullptr) {
    d->c4->fail(e4memory, "out of memory");
    return nullptr;
  }
  char* names = reinterpret_cast<char*>(info + n + 1);
  for (size_t i = 0; i < n; ++i) {
    const auto& fd = d->fields[i]->desc();
    std::memcpy(names, fd.name.c_str(), fd.name.size() + 1);
    info[i].name = names;
    names += fd.name.size() + 1;
    info[i].type = static_cast<int16_t>(static_cast<unsigned char>(fd.type));
    info[i].len = static_cast<uint16_t>(fd.len);
    info[i].dec = fd.dec;
    info[i].nulls = fd.null_bit >= 0 ? static_cast<uint16_t>(r4null) : 0;
  }
  return info;
}

char* d4recordLow(DATA4* d) { return d ? reinterpret_cast<char*>(d->record.data()) : nullptr; }

static int maintain(DATA4* d, const std::function<Status()>& op) {
  if (d == nullptr) return e4parm;
  return guarded<int>(d->c4, e4memory, [&] {
    int rc = d->write_pending();
    if (rc != 0) return rc;
    Status st = op();
    if (!st) return d->c4->fail(st);
    rc = d->top();
    return rc == r4eof ? 0 : rc;
  });
}

int d4pack(DATA4* d) { return maintain(d, [&] { return d->table().pack(); }); }
int d4zap(DATA4* d, int32_t first, int32_t last) {
  return maintain(d, [&] { return d->table().zap(first, last); });
}
int d4memoCompress(DATA4* d) { return maintain(d, [&] { return d->file().memo_compress(); }); }

int d4reindex(DATA4* d) {
  if (d == nullptr) return e4parm;
  return guarded<int>(d->c4, e4memory, [&] {
    int rc = d->write_pending();
    if (rc != 0) return rc;
    xbase::index::TableIndexes* ix = d->table().indexes();
    if (ix == nullptr) return 0;
    Status st = ix->rebuild(nullptr);
    return st ? 0 : (st.code() > 0 ? st.code() : d->c4->fail(st));
  });
}

}  // extern "C"
