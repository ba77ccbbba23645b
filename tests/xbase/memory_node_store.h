// An in-memory NodeStore for tree tests: nodes are kept decoded, and every
// change is also encoded and decoded again through the codec, so a codec
// that cannot carry what the tree put in a node fails the test.
#pragma once

#include <map>
#include <memory>
#include <vector>

#include "index/node_store.h"
#include "vgxbase/xbase.h"

class MemoryNodeStore final : public xbase::index::NodeStore {
 public:
  explicit MemoryNodeStore(const xbase::index::PageCodec& codec) : codec_(codec) {
    xbase::index::Node* root = nullptr;
    (void)create(true, &root);
    root->root = true;
    root_ = root->page;
  }

  const xbase::index::PageCodec& codec() const override { return codec_; }
  uint32_t root() const override { return root_; }
  xbase::Status set_root(uint32_t page) override {
    root_ = page;
    ++version_;
    return {};
  }
  uint64_t version() const override { return version_; }
  uint64_t extent() const override { return next_; }
  xbase::Status load(uint32_t page, xbase::index::Node** out) override {
    auto it = nodes_.find(page);
    if (it == nodes_.end()) return xbase::Status(e4data, "no node at " + std::to_string(page));
    *out = it->second.get();
    return {};
  }
  xbase::Status create(bool leaf, xbase::index::Node** out) override {
    uint32_t page = 0;
    (void)allocate(&page);
    auto node = std::make_unique<xbase::index::Node>();
    node->page = page;
    node->leaf = leaf;
    node->key_len = codec_.key_len();
    *out = node.get();
    nodes_[page] = std::move(node);
    ++version_;
    return {};
  }
  void changed(xbase::index::Node* node) override {
    ++version_;
    dirty_.push_back(node->page);
  }
  void release(xbase::index::Node* node) override {
    ++version_;
    nodes_.erase(node->page);
  }
  xbase::Status allocate(uint32_t* page) override {
    *page = next_;
    next_ += codec_.page_size();
    return {};
  }
  xbase::Status write_direct(const xbase::index::Node& node) override {
    std::vector<uint8_t> page(codec_.page_size());
    codec_.encode(node, page);
    auto copy = std::make_unique<xbase::index::Node>();
    xbase::Status st = codec_.decode(page, node.page, copy.get());
    if (!st) return st;
    nodes_[node.page] = std::move(copy);
    ++version_;
    return {};
  }

  // Encodes every changed node and decodes it back in place, as a file
  // would between two operations.
  xbase::Status round_trip() {
    std::vector<uint8_t> page(codec_.page_size());
    for (uint32_t p : dirty_) {
      auto it = nodes_.find(p);
      if (it == nodes_.end()) continue;
      if (!codec_.fits(*it->second))
        return xbase::Status(e4data, "node " + std::to_string(p) + " overflows");
      // What the tree worked out step by step must be what the codec counts.
      if (it->second->space_hint >= 0 &&
          static_cast<size_t>(it->second->space_hint) != codec_.space_used(*it->second))
        return xbase::Status(e4data, "node " + std::to_string(p) + ": its space is known wrongly");
      codec_.encode(*it->second, page);
      auto copy = std::make_unique<xbase::index::Node>();
      xbase::Status st = codec_.decode(page, p, copy.get());
      if (!st) return st;
      it->second = std::move(copy);
    }
    dirty_.clear();
    ++version_;
    return {};
  }
  size_t node_count() const { return nodes_.size(); }

 private:
  const xbase::index::PageCodec& codec_;
  std::map<uint32_t, std::unique_ptr<xbase::index::Node>> nodes_;
  std::vector<uint32_t> dirty_;
  uint32_t root_ = 0;
  uint32_t next_ = 1024;
  uint64_t version_ = 1;
};
