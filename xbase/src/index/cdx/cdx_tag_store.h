// CdxTagStore: one tree of a CDX file (a tag's, or the tag directory's) as
// a NodeStore over the file's node cache.
#pragma once

#include <string>

#include "index/cdx/cdx_node_codec.h"
#include "index/node_store.h"

namespace xbase::index::cdx {

class CdxFile;

class CdxTagStore final : public NodeStore {
 public:
  CdxTagStore(CdxFile* file, uint32_t key_len, uint8_t pad, uint32_t header_offset, uint32_t root)
      : file_(file), codec_(key_len, pad), header_offset_(header_offset), root_(root) {}

  const PageCodec& codec() const override { return codec_; }
  const CdxNodeCodec& cdx_codec() const { return codec_; }
  uint32_t root() const override { return root_; }
  Status set_root(uint32_t page) override;
  uint64_t version() const override;
  uint64_t extent() const override;
  Status load(uint32_t page, Node** out) override;
  Status create(bool leaf, Node** out) override;
  void changed(Node* node) override;
  void release(Node* node) override;
  Status allocate(uint32_t* page) override;
  Status write_direct(const Node& node) override;

  // Where the tag's header lies, and whether its root word must be written.
  uint32_t header_offset() const { return header_offset_; }
  void place(uint32_t header_offset, uint32_t root) {
    header_offset_ = header_offset;
    root_ = root;
    root_dirty_ = false;
    ++changes_;
  }
  bool root_dirty() const { return root_dirty_; }
  void root_written() { root_dirty_ = false; }
  // Changes the pad byte once the key kind is known (before any page of
  // the tree is read).
  void set_pad(uint8_t pad) { codec_ = CdxNodeCodec(codec_.key_len(), pad); }

  // Header details of a tag read from a file, kept through rewrites.
  uint8_t kept_options = 0;  // the candidate bit
  uint8_t signature = 1;
  std::string collation_name;

 private:
  CdxFile* file_;
  CdxNodeCodec codec_;
  uint32_t header_offset_;
  uint32_t root_;
  bool root_dirty_ = false;
  uint64_t changes_ = 0;
};

}  // namespace xbase::index::cdx
