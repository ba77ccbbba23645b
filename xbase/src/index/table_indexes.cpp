#include "index/table_indexes.h"

#include <strings.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <thread>

#include "index/btree_cursor.h"
#include "index/sorted_keys.h"

namespace xbase::index {

namespace {

// Removes `rec` from a tag whose stored key is not the one computed for it
// (a file written by a program whose keys differ in a detail): a walk over
// the whole tag finds it.
Status remove_by_walk(Tag& tag, uint32_t rec) {
  BTreeCursor cursor(tag.tree());
  XB_TRY(cursor.first());
  while (cursor.valid()) {
    if (cursor.rec() == rec) {
      std::vector<uint8_t> key(cursor.key(), cursor.key() + tag.key_len());
      bool found = false;
      return tag.tree().remove(key.data(), rec, &found);
    }
    XB_TRY(cursor.next());
  }
  return Status::ok();
}

}  // namespace

TableIndexes::TableIndexes(Context& context, table::TableFile& table)
    : context_(context), table_(table), keys_(context, table) {}

TableIndexes::~TableIndexes() {
  // Files go before the key source their expressions are bound to.
  files_.clear();
}

Status TableIndexes::format_for(const std::string& path, const IndexFormat** out) const {
  *out = index_format_of(path);
  return *out != nullptr ? Status::ok() : require_index_format(context_.settings.format, out);
}

namespace {

IndexOptions options_for(const Context& context, const table::TableFile& table) {
  IndexOptions o;
  o.exclusive = table.exclusive();
  o.read_only = table.read_only();
  o.default_unique = context.settings.err_default_unique;
  o.fs = &table.file_system();
  return o;
}

}  // namespace

IndexFile* TableIndexes::find(std::string_view name) const {
  const std::string want = io::path_base_name(std::string(name));
  for (const auto& f : files_)
    if (strcasecmp(io::path_base_name(f->path()).c_str(), want.c_str()) == 0) return f.get();
  return nullptr;
}

bool TableIndexes::owns(const Tag* tag) const {
  for (const auto& f : files_)
    for (const auto& t : f->tags())
      if (t.get() == tag) return true;
  return false;
}

Status TableIndexes::open(const std::string& path, IndexFile** out) {
  for (const auto& f : files_)
    if (f->path() == path) {
      *out = f.get();
      return Status::ok();
    }
  const IndexFormat* format = nullptr;
  XB_TRY(format_for(path, &format));
  std::unique_ptr<IndexFile> file;
  XB_TRY(format->open(path, options_for(context_, table_), &file));
  for (auto& tag : file->tags()) {
    tag->bind(keys_);
    file->tag_bound(tag.get());
  }
  file->owner = this;
  *out = file.get();
  files_.push_back(std::move(file));
  return Status::ok();
}

Status TableIndexes::create(const std::string& path, const std::vector<TagDefinition>& defs,
                            bool safety, IndexFile** out) {
  if (table_.read_only())
    return Status(e4access, "table " + table_.path() + " is open read-only");
  if (defs.empty()) return Status(e4index, "an index file needs at least one tag");
  const IndexFormat* format = nullptr;
  XB_TRY(format_for(path, &format));
  std::vector<KeyShape> shapes(defs.size());
  for (size_t i = 0; i < defs.size(); ++i) {
    XB_TRY(shape_for(defs[i], keys_, &shapes[i]));
    for (size_t j = 0; j < i; ++j)
      if (strcasecmp(defs[i].name.c_str(), defs[j].name.c_str()) == 0)
        return Status(e4index, "two tags are named " + defs[i].name);
  }
  for (const auto& f : files_)
    if (table_.file_system().resolve_case(f->path()) == table_.file_system().resolve_case(path))
      return Status(e4index, "index " + path + " is open: close it before creating it anew");
  std::unique_ptr<IndexFile> file;
  XB_TRY(format->create(path, safety, options_for(context_, table_), &file));
  for (size_t i = 0; i < defs.size(); ++i) {
    Tag* tag = nullptr;
    XB_TRY(file->add_tag(defs[i], shapes[i], &tag));
    tag->bind(keys_);
    file->tag_bound(tag);
    if (!tag->maintainable())
      return Status(e4index, "tag " + tag->name() + ": " + tag->unusable_reason());
  }
  IndexFile* raw = file.get();
  XB_TRY(raw->begin_write(retry()));
  Status st = build_files({raw});
  Status end = raw->end_write();
  if (!st) return st;
  XB_TRY(end);
  raw->owner = this;
  *out = raw;
  files_.push_back(std::move(file));
  return Status::ok();
}

Status TableIndexes::add_tags(IndexFile* file, const std::vector<TagDefinition>& defs) {
  std::vector<Tag*> added;
  Status st;
  for (const TagDefinition& def : defs) {
    KeyShape shape;
    st = shape_for(def, keys_, &shape);
    if (!st) break;
    Tag* tag = nullptr;
    st = file->add_tag(def, shape, &tag);
    if (!st) break;
    added.push_back(tag);
    tag->bind(keys_);
    file->tag_bound(tag);
  }
  if (st) st = rebuild(file);
  if (!st)
    for (Tag* t : added) file->drop_tag(t);
  return st;
}

Status TableIndexes::close(IndexFile* file) {
  auto it =
      std::find_if(files_.begin(), files_.end(), [file](const auto& f) { return f.get() == file; });
  if (it == files_.end()) return Status(e4parm, "the index is not open on this table");
  Status st = file->flush();
  files_.erase(it);
  return st;
}

Status TableIndexes::flush() {
  Status first;
  for (auto& f : files_) {
    Status st = f->flush();
    if (!st && first) first = st;
  }
  return first;
}


namespace {

// Large builds sort their tags' keys on the processors there are: each
// tag's keys are apart from every other's.
void sort_all(const std::vector<Tag*>& tags, std::vector<std::unique_ptr<SortedKeys>>& keys) {
  constexpr size_t kWorthThreads = 200000;
  size_t total = 0;
  for (auto& k : keys) total += k->size();
  const size_t threads =
      std::min<size_t>(tags.size(), std::max(1u, std::thread::hardware_concurrency()));
  if (threads < 2 || total < kWorthThreads) {
    for (size_t i = 0; i < tags.size(); ++i) keys[i]->sort(tags[i]->def().unique != 0);
    return;
  }
  std::atomic<size_t> next{0};
  auto work = [&] {
    for (size_t i = next++; i < tags.size(); i = next++) keys[i]->sort(tags[i]->def().unique != 0);
  };
  std::vector<std::thread> pool;
  for (size_t t = 1; t < threads; ++t) pool.emplace_back(work);
  work();
  for (auto& t : pool) t.join();
}

}  // namespace

Status TableIndexes::build_files(const std::vector<IndexFile*>& files) {
  std::vector<Tag*> tags;
  for (IndexFile* f : files)
    for (auto& t : f->tags()) {
      if (!t->maintainable())
        return Status(e4index, "tag " + t->name() + " of " + f->path() +
                                   " cannot be rebuilt: " + t->unusable_reason());
      tags.push_back(t.get());
    }
  int32_t count = 0;
  XB_TRY(table_.count(true, &count));
  std::vector<std::unique_ptr<SortedKeys>> keys;
  for (Tag* t : tags) {
    keys.push_back(std::make_unique<SortedKeys>(t->key_len()));
    keys.back()->reserve(static_cast<size_t>(count));
  }
  for (int32_t rec = 1; rec <= count; ++rec) {
    XB_TRY(load_record(rec));
    for (size_t i = 0; i < tags.size(); ++i) {
      bool included = false;
      uint8_t* slot = keys[i]->add(static_cast<uint32_t>(rec));
      tags[i]->evaluate(slot, &included);
      if (!included) keys[i]->drop_last();
    }
  }
  sort_all(tags, keys);
  size_t at = 0;
  for (IndexFile* f : files) {
    std::vector<TagBuild> builds;
    for (auto& t : f->tags()) {
      builds.push_back({t.get(), keys[at].get()});
      ++at;
    }
    XB_TRY(f->rewrite(builds));
  }
  return Status::ok();
}

Status TableIndexes::rebuild(IndexFile* only) {
  if (files_.empty()) return Status::ok();
  std::vector<IndexFile*> files;
  for (auto& f : files_)
    if (only == nullptr || f.get() == only) files.push_back(f.get());
  std::vector<IndexFile*> locked;
  Status st;
  for (IndexFile* f : files) {
    st = f->begin_write(retry());
    if (!st) break;
    locked.push_back(f);
  }
  if (st) st = build_files(files);
  for (IndexFile* f : locked) {
    Status end = f->end_write();
    if (st && !end) st = end;
  }
  return st;
}

Status TableIndexes::unlock_all(bool write_out) {
  Status first;
  for (IndexFile* f : locked_) {
    Status st = f->end_write();
    if (write_out && !st && first) first = st;
  }
  locked_.clear();
  updating_ = false;
  return first;
}

void TableIndexes::abandon_update() { (void)unlock_all(false); }

Status TableIndexes::begin_update(const expr::RecordSource& source, int32_t rec, bool append) {
  for (auto& f : files_)
    for (auto& t : f->tags())
      if (!t->maintainable())
        return Status(e4index, "tag " + t->name() + " of " + f->path() +
                                   " cannot be kept up to date: " + t->unusable_reason());
  if (updating_) abandon_update();
  updating_ = true;
  for (auto& f : files_) {
    Status st = f->begin_write(retry());
    if (!st) {
      abandon_update();
      return st;
    }
    locked_.push_back(f.get());
  }
  int32_t key_rec = rec;
  if (!append) {
    Status st = load_record(rec);
    if (!st) {
      abandon_update();
      return st;
    }
    for (auto& f : files_)
      for (auto& t : f->tags()) t->evaluate(t->old_key.data(), &t->old_in);
  } else {
    int32_t count = 0;
    Status st = table_.count(true, &count);
    if (!st) {
      abandon_update();
      return st;
    }
    key_rec = count + 1;
    for (auto& f : files_)
      for (auto& t : f->tags()) t->old_in = false;
  }
  load_from(source, key_rec);
  for (auto& f : files_)
    for (auto& t : f->tags()) {
      t->evaluate(t->new_key.data(), &t->new_in);
      t->skip_new = false;
      if (t->unique_mode() == 0 || !t->new_in) continue;
      if (t->old_in && std::memcmp(t->old_key.data(), t->new_key.data(), t->key_len()) == 0)
        continue;
      bool taken = false;
      Status st =
          t->tree().has_key(t->new_key.data(), append ? 0 : static_cast<uint32_t>(rec), &taken);
      if (!st) {
        abandon_update();
        return st;
      }
      if (!taken) continue;
      if (t->unique_mode() == r4unique) {
        abandon_update();
        return Status(r4unique, "tag " + t->name() + " holds this key already");
      }
      t->skip_new = true;
    }
  return Status::ok();
}

Status TableIndexes::finish_update(int32_t rec, bool* left_out) {
  *left_out = false;
  Status st;
  const uint32_t r = static_cast<uint32_t>(rec);
  for (auto& f : files_) {
    for (auto& t : f->tags()) {
      if (!st) break;
      if (t->skip_new) *left_out = true;
      const bool same = t->old_in && t->new_in &&
                        std::memcmp(t->old_key.data(), t->new_key.data(), t->key_len()) == 0;
      if (same) continue;
      if (t->old_in) {
        bool found = false;
        st = t->tree().remove(t->old_key.data(), r, &found);
        if (st && !found && t->unique_mode() == 0) st = remove_by_walk(*t, r);
      }
      if (st && t->new_in && !t->skip_new) st = t->tree().insert(t->new_key.data(), r);
    }
  }
  Status end = unlock_all(true);
  return st ? end : st;
}

}  // namespace xbase::index
