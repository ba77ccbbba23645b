#include "index/cdx/cdx_file.h"

#include <algorithm>
#include <cctype>
#include <cstring>

#include "index/btree_cursor.h"
#include "index/cdx/cdx_layout.h"
#include "index/sorted_keys.h"
#include "io/endian.h"

namespace xbase::index::cdx {

namespace {

uint64_t round_up(uint64_t v) { return (v + kPageSize - 1) / kPageSize * kPageSize; }

std::string padded_name(const std::string& name) {
  std::string n = name.substr(0, kTagNameLen);
  for (char& c : n) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  n.resize(kTagNameLen, ' ');
  return n;
}

// The tag directory's entries, in name order, as a bulk build's input.
class DirEntries final : public EntrySource {
 public:
  void add(const std::string& name, uint32_t header) {
    keys_.push_back(padded_name(name));
    recs_.push_back(header);
  }
  void sort() {
    std::vector<size_t> order(keys_.size());
    for (size_t i = 0; i < order.size(); ++i) order[i] = i;
    std::sort(order.begin(), order.end(), [&](size_t a, size_t b) { return keys_[a] < keys_[b]; });
    std::vector<std::string> k;
    std::vector<uint32_t> r;
    for (size_t i : order) {
      k.push_back(keys_[i]);
      r.push_back(recs_[i]);
    }
    keys_.swap(k);
    recs_.swap(r);
  }
  size_t size() const override { return keys_.size(); }
  const uint8_t* key(size_t i) const override {
    return reinterpret_cast<const uint8_t*>(keys_[i].data());
  }
  uint32_t rec(size_t i) const override { return recs_[i]; }

 private:
  std::vector<std::string> keys_;
  std::vector<uint32_t> recs_;
};

CdxTagStore& store_of(Tag& tag) { return static_cast<CdxTagStore&>(tag.store()); }

}  // namespace

CdxFile::CdxFile(std::string path, const CdxOptions& options)
    : IndexFile(std::move(path)), options_(options) {}

CdxFile::~CdxFile() {
  // Best effort: callers that care about a failed write flushed already.
  if (!options_.read_only) (void)write_out();
}

Status CdxFile::writable() const {
  if (options_.read_only) return Status(e4access, "index " + path_ + " is open read-only");
  return Status::ok();
}

Status CdxFile::open(const std::string& path, const CdxOptions& options,
                     std::unique_ptr<CdxFile>* out) {
  std::unique_ptr<CdxFile> f(new CdxFile(path, options));
  std::unique_ptr<io::File> file;
  XB_TRY(options.fs->open(path, options.read_only ? io::OpenMode::kReadOnly : io::OpenMode::kReadWrite, &file));
  f->file_ = io::CachedFile(std::move(file));
  f->file_.set_caching(true, !options.read_only);
  // Another process changing the file ends its change soon enough for a
  // second look.
  if (!options.exclusive) XB_TRY(f->take_lock(table::RetryPolicy{20, 50}, false));
  // The size too is read under the lock: another process may be growing it.
  uint64_t size = 0;
  Status st = f->file_.size(&size);
  if (st && size < kHeaderSize + kPageSize)
    st = Status(e4open, "not a compound index: " + path + " is too short");
  f->next_page_ = round_up(size);
  if (st) st = f->load_tags();
  f->held_.reset();
  if (!st) return Status(st.code() == e4read ? e4data : st.code(), st.message());
  *out = std::move(f);
  return Status::ok();
}

Status CdxFile::create(const std::string& path, bool safety, const CdxOptions& options,
                       std::unique_ptr<CdxFile>* out) {
  if (options.read_only)
    return Status(e4access, "cannot create " + path + ": the table is read-only");
  const bool exists = options.fs->exists(path);
  if (exists && safety) return Status(e4create, "cannot create " + path + ": it exists");
  std::unique_ptr<CdxFile> f(new CdxFile(path, options));
  std::unique_ptr<io::File> file;
  XB_TRY(options.fs->open(path, exists ? io::OpenMode::kReadWrite : io::OpenMode::kCreateExclusive, &file));
  f->file_ = io::CachedFile(std::move(file));
  f->file_.set_caching(true, true);
  *out = std::move(f);
  return Status::ok();
}

Status CdxFile::read_header(uint32_t offset, CdxTagHeader* out) {
  if (offset % kPageSize != 0 || uint64_t{offset} + kHeaderSize > next_page_)
    return Status(e4data, "index " + path_ + ": a tag header at offset " + std::to_string(offset) +
                              " lies outside the file");
  uint8_t buf[kHeaderSize];
  XB_TRY(file_.read_exact(offset, buf, sizeof buf));
  Status st = parse_tag_header(buf, offset, out);
  if (!st) return Status(st.code(), "index " + path_ + ": " + st.message());
  return Status::ok();
}

Status CdxFile::read_directory(std::vector<DirEntry>* out) {
  CdxTagHeader dir;
  XB_TRY(read_header(0, &dir));
  if (dir.key_len != kTagNameLen || !(dir.options & kOptCompact))
    return Status(e4open, "not a compound index: " + path_ + " has no tag directory");
  counter_ = dir.counter;
  if (!dir_)
    dir_ = std::make_unique<CdxTagStore>(this, kTagNameLen, ' ', 0, dir.root);
  else
    dir_->place(0, dir.root);
  BTree tree(*dir_);
  BTreeCursor cursor(tree);
  XB_TRY(cursor.first());
  const size_t limit = next_page_ / kHeaderSize;
  while (cursor.valid()) {
    if (out->size() >= limit)
      return Status(e4data, "index " + path_ + ": its tag directory runs in a circle");
    DirEntry e;
    e.name.assign(reinterpret_cast<const char*>(cursor.key()), kTagNameLen);
    while (!e.name.empty() && (e.name.back() == ' ' || e.name.back() == 0)) e.name.pop_back();
    e.header = cursor.rec();
    out->push_back(std::move(e));
    XB_TRY(cursor.next());
  }
  std::sort(out->begin(), out->end(),
            [](const DirEntry& a, const DirEntry& b) { return a.header < b.header; });
  return Status::ok();
}

Status CdxFile::load_tags() {
  std::vector<DirEntry> entries;
  XB_TRY(read_directory(&entries));
  for (const DirEntry& e : entries) {
    if (e.name.empty()) return Status(e4data, "index " + path_ + ": a tag without a name");
    CdxTagHeader h;
    XB_TRY(read_header(e.header, &h));
    TagDefinition def;
    def.name = e.name;
    def.key_expr = h.key_expr;
    def.filter = h.filter;
    def.descending = h.descending;
    def.unique = (h.options & kOptCandidate) ? r4unique
                 : (h.options & kOptUnique)  ? options_.default_unique
                                             : 0;
    std::string unusable;
    if (h.collation == "GENERAL")
      def.collation = Collation::kGeneral;
    else if (!h.collation.empty() && h.collation != "MACHINE")
      unusable = "its collation " + h.collation + " is not one this engine implements";
    KeyShape shape;
    shape.len = h.key_len;
    shape.nullable = (h.options & kOptNullable) != 0;
    auto store = std::make_unique<CdxTagStore>(this, h.key_len, ' ', e.header, h.root);
    store->kept_options = h.options & kOptCandidate;
    store->signature = h.signature;
    store->collation_name = h.collation;
    auto tag = std::make_unique<Tag>(this, std::move(def), shape, std::move(store));
    if (h.signature == kSignatureBitmap || (h.options & kOptBitmap))
      tag->set_unreadable("it is a bitmap index, whose pages this engine does not read");
    else if (!unusable.empty())
      tag->set_unusable(unusable);
    tags_.push_back(std::move(tag));
  }
  return Status::ok();
}

Status CdxFile::reload() {
  XB_TRY(file_.invalidate());
  drop_cache();
  dirty_.clear();
  free_pages_.clear();
  pending_free_.clear();
  uint64_t size = 0;
  XB_TRY(file_.size(&size));
  next_page_ = round_up(size);
  std::vector<DirEntry> entries;
  XB_TRY(read_directory(&entries));
  for (auto& tag : tags_) {
    auto it = std::find_if(entries.begin(), entries.end(),
                           [&](const DirEntry& e) { return e.name == tag->name(); });
    if (it == entries.end()) {
      tag->set_unreadable("another program removed it from " + path_);
      store_of(*tag).place(0, kNone);
      continue;
    }
    CdxTagHeader h;
    XB_TRY(read_header(it->header, &h));
    if (h.key_len != tag->key_len()) {
      tag->set_unreadable("another program rebuilt it with other keys");
      store_of(*tag).place(0, kNone);
      continue;
    }
    store_of(*tag).place(it->header, h.root);
  }
  return Status::ok();
}

Status CdxFile::check_counter() {
  if (!dir_) return Status::ok();  // a new file, not written yet
  uint8_t b[4];
  XB_TRY(file_.file().read_exact(kHdrCounter, b, sizeof b));
  if (io::load_u32le(b) == counter_) return Status::ok();
  return reload();
}

void CdxFile::drop_cache() {
  slots_.clear();
  cached_bytes_ = 0;
  ++epoch_;
}

Status CdxFile::maybe_trim() {
  if (cached_bytes_ <= budget_) return Status::ok();
  XB_TRY(write_out());
  drop_cache();
  return Status::ok();
}

// ---- locking --------------------------------------------------------------

Status CdxFile::take_lock(const table::RetryPolicy& retry, bool exclusive) {
  io::File& file = file_.file();
  if (!table::wait_for_lock(retry, [&] { return file.try_lock(kIndexLockByte, 1, exclusive); }))
    return Status(r4locked, "index " + path_ + " is locked elsewhere");
  held_ = io::RangeLock::unlocking(file, kIndexLockByte, 1);
  return Status::ok();
}

void CdxFile::drop_lock() {
  lock_depth_ = 0;
  write_locked_ = false;
  held_.reset();
}

Status CdxFile::begin_read(const table::RetryPolicy& retry) {
  if (options_.exclusive) return maybe_trim();
  if (lock_depth_ > 0) {
    ++lock_depth_;
    return Status::ok();
  }
  XB_TRY(take_lock(retry, false));
  lock_depth_ = 1;
  Status st = check_counter();
  if (st) st = maybe_trim();
  if (!st) drop_lock();
  return st;
}

void CdxFile::end_read() {
  if (options_.exclusive || lock_depth_ == 0) return;
  if (--lock_depth_ == 0) drop_lock();
}

Status CdxFile::begin_write(const table::RetryPolicy& retry) {
  XB_TRY(writable());
  if (options_.exclusive) return maybe_trim();
  if (lock_depth_ > 0) {
    if (!write_locked_)
      return Status(e4index, "index " + path_ + ": a change was started during a read");
    ++lock_depth_;
    return Status::ok();
  }
  XB_TRY(take_lock(retry, true));
  lock_depth_ = 1;
  write_locked_ = true;
  Status st = check_counter();
  if (st) st = maybe_trim();
  if (!st) drop_lock();
  return st;
}

Status CdxFile::end_write() {
  if (options_.exclusive) return Status::ok();
  if (lock_depth_ == 0) return Status::ok();
  if (--lock_depth_ > 0) return Status::ok();
  Status st = write_out();
  drop_lock();
  if (!st) {
    // What reached the file is unknown: read it afresh next time.
    drop_cache();
    counter_ = ~counter_;
  }
  return st;
}

Status CdxFile::flush() {
  if (options_.read_only) return Status::ok();
  return write_out();
}

// ---- the node cache ---------------------------------------------------------

Status CdxFile::load_node(uint32_t page, const CdxNodeCodec& codec, Node** out) {
  if (page % kPageSize != 0 || page < kHeaderSize || uint64_t{page} + kPageSize > next_page_)
    return Status(e4data, "index " + path_ + ": a node offset " + std::to_string(page) +
                              " lies outside the file");
  const size_t idx = page / kPageSize;
  if (idx < slots_.size() && slots_[idx].node) {
    *out = slots_[idx].node.get();
    return Status::ok();
  }
  uint8_t buf[kPageSize];
  size_t got = 0;
  XB_TRY(file_.read(page, buf, sizeof buf, &got));
  if (got < kPageSize) std::memset(buf + got, 0, kPageSize - got);
  auto node = std::make_unique<Node>();
  Status st = codec.decode(buf, page, node.get());
  if (!st) return Status(st.code(), "index " + path_ + ": " + st.message());
  if (idx >= slots_.size()) slots_.resize(idx + 1);
  cached_bytes_ += node->memory();
  slots_[idx].node = std::move(node);
  slots_[idx].codec = &codec;
  slots_[idx].dirty = false;
  *out = slots_[idx].node.get();
  return Status::ok();
}

Status CdxFile::allocate_page(uint32_t* page) {
  XB_TRY(writable());
  if (!free_pages_.empty()) {
    *page = free_pages_.back();
    free_pages_.pop_back();
    return Status::ok();
  }
  if (next_page_ + kPageSize > 0xFFFFFE00ull) return Status(e4index, "index " + path_ + " is full");
  *page = static_cast<uint32_t>(next_page_);
  next_page_ += kPageSize;
  return Status::ok();
}

Status CdxFile::create_node(const CdxNodeCodec& codec, bool leaf, Node** out) {
  uint32_t page = 0;
  XB_TRY(allocate_page(&page));
  auto node = std::make_unique<Node>();
  node->page = page;
  node->leaf = leaf;
  node->key_len = codec.key_len();
  const size_t idx = page / kPageSize;
  if (idx >= slots_.size()) slots_.resize(idx + 1);
  slots_[idx].node = std::move(node);
  slots_[idx].codec = &codec;
  *out = slots_[idx].node.get();
  mark_dirty(*out);
  return Status::ok();
}

void CdxFile::mark_dirty(Node* node) {
  Slot& s = slots_[node->page / kPageSize];
  if (!s.dirty) {
    s.dirty = true;
    dirty_.push_back(node->page);
  }
  changed_ = true;
}

void CdxFile::release_node(Node* node) {
  const uint32_t page = node->page;
  Slot& s = slots_[page / kPageSize];
  s.node.reset();
  s.dirty = false;
  pending_free_.push_back(page);
  changed_ = true;
}

Status CdxFile::write_node_direct(const Node& node, const CdxNodeCodec& codec) {
  XB_TRY(writable());
  uint8_t buf[kPageSize];
  codec.encode(node, buf);
  const size_t idx = node.page / kPageSize;
  if (idx < slots_.size()) slots_[idx] = Slot{};
  changed_ = true;
  return file_.write(node.page, buf, sizeof buf);
}

Status CdxFile::write_out() {
  if (!changed_) return Status::ok();
  XB_TRY(writable());
  std::sort(dirty_.begin(), dirty_.end());
  uint8_t buf[kPageSize];
  for (uint32_t page : dirty_) {
    Slot& s = slots_[page / kPageSize];
    if (!s.node || !s.dirty) continue;
    s.codec->encode(*s.node, buf);
    XB_TRY(file_.write(page, buf, sizeof buf));
    s.dirty = false;
  }
  dirty_.clear();
  XB_TRY(file_.flush());
  bool roots = false;
  auto write_root = [&](CdxTagStore& st) -> Status {
    if (!st.root_dirty()) return Status::ok();
    uint8_t word[4];
    io::store_u32le(word, st.root());
    XB_TRY(file_.write(st.header_offset() + kHdrRoot, word, sizeof word));
    st.root_written();
    roots = true;
    return Status::ok();
  };
  if (dir_) XB_TRY(write_root(*dir_));
  for (auto& tag : tags_) XB_TRY(write_root(store_of(*tag)));
  if (roots) XB_TRY(file_.flush());
  ++counter_;
  uint8_t word[4];
  io::store_u32le(word, counter_);
  XB_TRY(file_.write(kHdrCounter, word, sizeof word));
  XB_TRY(file_.flush());
  free_pages_.insert(free_pages_.end(), pending_free_.begin(), pending_free_.end());
  pending_free_.clear();
  changed_ = false;
  return Status::ok();
}

// ---- tags and rewrites -------------------------------------------------------

void CdxFile::tag_bound(Tag* tag) {
  CdxTagStore& s = store_of(*tag);
  if (s.cdx_codec().pad() == tag->pad()) return;
  s.set_pad(tag->pad());
  (void)write_out();
  drop_cache();
}

Status CdxFile::add_tag(const TagDefinition& def, const KeyShape& shape, Tag** out) {
  XB_TRY(writable());
  if (find_tag(def.name))
    return Status(e4index, "index " + path_ + " has a tag " + def.name + " already");
  TagDefinition d = def;
  d.name = padded_name(def.name);
  while (!d.name.empty() && d.name.back() == ' ') d.name.pop_back();
  auto store =
      std::make_unique<CdxTagStore>(this, shape.len, pad_byte(shape.kind, def.collation), 0, kNone);
  if (def.collation == Collation::kGeneral) {
    store->collation_name = "GENERAL";
    store->signature = 2;
  }
  tags_.push_back(std::make_unique<Tag>(this, std::move(d), shape, std::move(store)));
  *out = tags_.back().get();
  return Status::ok();
}

CdxTagHeader CdxFile::header_for(const Tag& tag, const CdxTagStore& store) const {
  CdxTagHeader h;
  h.root = store.root();
  h.key_len = static_cast<uint16_t>(tag.key_len());
  h.options = kOptCompact | kOptCompound | store.kept_options;
  if (tag.def().unique && !(store.kept_options & kOptCandidate)) h.options |= kOptUnique;
  if (!tag.def().filter.empty()) h.options |= kOptFor;
  if (tag.shape().nullable) h.options |= kOptNullable;
  h.signature = store.signature;
  h.collation = store.collation_name;
  h.descending = tag.descending();
  h.key_expr = tag.def().key_expr;
  h.filter = tag.def().filter;
  return h;
}

Status CdxFile::write_directory(std::vector<DirEntry> entries, uint32_t reserved_page) {
  DirEntries dir;
  for (const DirEntry& e : entries) dir.add(e.name, e.header);
  dir.sort();
  // The directory's root goes to the page kept for it when one leaf holds
  // every name, as the products lay files out.
  PackState state;
  bool one_leaf = true;
  for (size_t i = 0; i < dir.size() && one_leaf; ++i) {
    one_leaf = dir_->codec().pack(state, dir.key(i), dir.rec(i), true);
    state.prev = dir.key(i);
  }
  Node leaf;
  leaf.page = reserved_page;
  leaf.root = one_leaf;
  leaf.key_len = kTagNameLen;
  if (one_leaf)
    for (size_t i = 0; i < dir.size(); ++i) leaf.append(dir.key(i), dir.rec(i));
  XB_TRY(write_node_direct(leaf, dir_->cdx_codec()));
  if (one_leaf) return dir_->set_root(reserved_page);
  BTree tree(*dir_);
  return tree.build(dir);
}

Status CdxFile::rewrite(std::span<const TagBuild> builds) {
  XB_TRY(writable());
  drop_cache();
  dirty_.clear();
  free_pages_.clear();
  pending_free_.clear();
  XB_TRY(file_.truncate(0));
  next_page_ = 0;
  if (!dir_) dir_ = std::make_unique<CdxTagStore>(this, kTagNameLen, ' ', 0, kNone);
  uint32_t header = 0, dir_page = 0, spare = 0;
  XB_TRY(allocate_page(&header));
  XB_TRY(allocate_page(&spare));
  XB_TRY(allocate_page(&dir_page));
  std::vector<std::unique_ptr<Tag>> ordered;
  std::vector<DirEntry> entries;
  uint8_t hbuf[kHeaderSize];
  for (const TagBuild& b : builds) {
    CdxTagStore& store = store_of(*b.tag);
    uint32_t at = 0;
    XB_TRY(allocate_page(&at));
    XB_TRY(allocate_page(&spare));
    store.place(at, kNone);
    XB_TRY(b.tag->tree().build(*b.keys));
    store.root_written();
    XB_TRY(write_tag_header(header_for(*b.tag, store), hbuf));
    XB_TRY(file_.write(at, hbuf, sizeof hbuf));
    entries.push_back({b.tag->name(), at});
    auto it =
        std::find_if(tags_.begin(), tags_.end(), [&](const auto& t) { return t.get() == b.tag; });
    if (it != tags_.end()) {
      ordered.push_back(std::move(*it));
      tags_.erase(it);
    }
  }
  tags_ = std::move(ordered);
  XB_TRY(write_directory(entries, dir_page));
  dir_->root_written();
  XB_TRY(file_.flush());
  CdxTagHeader h;
  h.root = dir_->root();
  h.counter = counter_ + 1;
  h.key_len = kTagNameLen;
  h.options = kOptCompact | kOptCompound | kOptDirectory;
  XB_TRY(write_tag_header(h, hbuf));
  XB_TRY(file_.write(0, hbuf, sizeof hbuf));
  XB_TRY(file_.flush());
  counter_ = h.counter;
  changed_ = false;
  ++epoch_;
  return Status::ok();
}

Status CdxFile::check_file(FileCheck* out) {
  if (!dir_) return Status(e4data, "index " + path_ + " has no tag directory");
  BTree tree(*dir_);
  TreeStats stats;
  Status st = tree.check(&stats);
  if (!st) return Status(st.code(), "index " + path_ + ", tag directory: " + st.message());
  if (stats.entries != tags_.size())
    return Status(e4data, "index " + path_ + ": the directory lists " +
                              std::to_string(stats.entries) + " tags, the file has " +
                              std::to_string(tags_.size()));
  std::vector<uint32_t> headers;
  for (auto& tag : tags_) {
    const CdxTagStore& s = store_of(*tag);
    headers.push_back(s.header_offset());
    if (!tag->readable())
      out->notes.push_back("tag " + tag->name() + " not checked: " + tag->unusable_reason());
  }
  std::sort(headers.begin(), headers.end());
  if (std::adjacent_find(headers.begin(), headers.end()) != headers.end())
    return Status(e4data, "index " + path_ + ": two tags share one header");
  return Status::ok();
}

}  // namespace xbase::index::cdx
