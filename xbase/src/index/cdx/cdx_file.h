// CdxFile: an open compound index (.CDX): its tag directory, its tags, and
// the decoded nodes of every tree, cached by page.
//
// Change order, the rules a crash must never break:
//  1. changed nodes reach the file before the tag header words (roots)
//     that make them reachable, and those before the change counter;
//  2. a page freed by a change is reused only after that change is out;
//  3. rewrites (create, reindex, pack, zap) write every tree bottom up, the
//     tag headers after their trees and the file header last.
// Shared files are locked on byte 0x7FFFFFFE of the index file: shared
// while reading, exclusive while changing.
#pragma once

#include <memory>
#include <string>
#include <vector>

#include "index/cdx/cdx_tag_header.h"
#include "index/cdx/cdx_tag_store.h"
#include "index/index_file.h"
#include "io/cached_file.h"
#include "io/range_lock.h"

namespace xbase::index::cdx {

inline constexpr uint64_t kIndexLockByte = 0x7FFFFFFEull;

struct CdxOptions {
  bool exclusive = false;
  bool read_only = false;
  int default_unique = r4uniqueContinue;  // mode of tags marked unique
  io::FileSystem* fs = &io::FileSystem::posix();
};

class CdxFile final : public IndexFile {
 public:
  static Status open(const std::string& path, const CdxOptions& options,
                     std::unique_ptr<CdxFile>* out);
  // A new file without tags (safety refuses to replace one); rewrite()
  // writes its contents.
  static Status create(const std::string& path, bool safety, const CdxOptions& options,
                       std::unique_ptr<CdxFile>* out);
  ~CdxFile() override;

  Status begin_read(const table::RetryPolicy& retry) override;
  void end_read() override;
  Status begin_write(const table::RetryPolicy& retry) override;
  Status end_write() override;
  Status flush() override;
  Status add_tag(const TagDefinition& def, const KeyShape& shape, Tag** out) override;
  Status rewrite(std::span<const TagBuild> builds) override;
  Status check_file(FileCheck* out) override;

  // A tag's key kind became known: its pages decode with the right pad.
  void tag_bound(Tag* tag) override;
  uint32_t change_counter() const { return counter_; }
  void set_cache_budget(size_t bytes) { budget_ = bytes; }

  // For the tree stores.
  Status load_node(uint32_t page, const CdxNodeCodec& codec, Node** out);
  Status create_node(const CdxNodeCodec& codec, bool leaf, Node** out);
  void mark_dirty(Node* node);
  void release_node(Node* node);
  Status allocate_page(uint32_t* page);
  Status write_node_direct(const Node& node, const CdxNodeCodec& codec);
  uint64_t epoch() const { return epoch_; }
  uint64_t extent() const { return next_page_; }

 private:
  struct Slot {
    std::unique_ptr<Node> node;
    const CdxNodeCodec* codec = nullptr;
    bool dirty = false;
  };
  struct DirEntry {
    std::string name;
    uint32_t header = 0;
  };

  CdxFile(std::string path, const CdxOptions& options);
  Status read_header(uint32_t offset, CdxTagHeader* out);
  Status read_directory(std::vector<DirEntry>* out);
  Status load_tags();
  Status reload();
  Status check_counter();
  Status write_out();
  void drop_cache();
  Status maybe_trim();
  Status writable() const;
  // Waits for the index lock byte (shared or exclusive) and holds it in held_.
  Status take_lock(const table::RetryPolicy& retry, bool exclusive);
  void drop_lock();
  CdxTagHeader header_for(const Tag& tag, const CdxTagStore& store) const;
  Status write_directory(std::vector<DirEntry> entries, uint32_t reserved_page);

  io::CachedFile file_;
  CdxOptions options_;
  std::unique_ptr<CdxTagStore> dir_;
  uint32_t counter_ = 0;
  bool changed_ = false;
  std::vector<Slot> slots_;  // by page number
  std::vector<uint32_t> dirty_;
  size_t cached_bytes_ = 0;
  size_t budget_ = size_t(256) << 20;
  uint64_t epoch_ = 1;
  uint64_t next_page_ = 0;  // where the next new page goes
  std::vector<uint32_t> free_pages_, pending_free_;
  // The index lock while lock_depth_ > 0 (reads and changes nest).
  int lock_depth_ = 0;
  bool write_locked_ = false;
  io::RangeLock held_;
};

}  // namespace xbase::index::cdx
