#include "index/cdx/cdx_tag_store.h"

#include "index/cdx/cdx_file.h"

namespace xbase::index::cdx {

Status CdxTagStore::set_root(uint32_t page) {
  root_ = page;
  root_dirty_ = true;
  ++changes_;
  return Status::ok();
}

uint64_t CdxTagStore::version() const { return file_->epoch() + changes_; }

uint64_t CdxTagStore::extent() const { return file_->extent(); }

Status CdxTagStore::load(uint32_t page, Node** out) {
  XB_TRY(file_->load_node(page, codec_, out));
  if ((*out)->key_len != codec_.key_len())
    return Status(e4data,
                  "index node at offset " + std::to_string(page) + " belongs to another tag");
  return Status::ok();
}

Status CdxTagStore::create(bool leaf, Node** out) {
  ++changes_;
  return file_->create_node(codec_, leaf, out);
}

void CdxTagStore::changed(Node* node) {
  ++changes_;
  file_->mark_dirty(node);
}

void CdxTagStore::release(Node* node) {
  ++changes_;
  file_->release_node(node);
}

Status CdxTagStore::allocate(uint32_t* page) { return file_->allocate_page(page); }

Status CdxTagStore::write_direct(const Node& node) {
  return file_->write_node_direct(node, codec_);
}

}  // namespace xbase::index::cdx
