#include "io/cached_file.h"

#include <algorithm>
#include <cstring>
#include <sys/mman.h>
#include <sys/uio.h>

#include <cstdlib>
#include <new>

#include "vgxbase/xbase.h"

namespace xbase::io {

void CachedFile::set_caching(bool read_cache, bool write_cache) {
  read_cache_ = read_cache || write_cache;
  write_cache_ = write_cache;
  size_known_ = false;
}

// Pages come out of 2 MiB chunks that the kernel may back with huge pages:
// a cold scan of a large table then takes hundreds of page faults instead
// of tens of thousands.
uint8_t* CachedFile::new_page_memory() {
  constexpr size_t kPagesPerChunk = kChunkSize / kPageSize;
  if (chunks_.empty() || pages_in_last_chunk_ == kPagesPerChunk) {
    void* p = std::aligned_alloc(kChunkSize, kChunkSize);
    if (p == nullptr) throw std::bad_alloc();
    madvise(p, kChunkSize, MADV_HUGEPAGE);
    chunks_.emplace_back(static_cast<uint8_t*>(p));
    pages_in_last_chunk_ = 0;
  }
  return chunks_.back().get() + kPageSize * pages_in_last_chunk_++;
}

void CachedFile::set_budget(size_t bytes) {
  max_pages_ = std::max<size_t>(4, bytes / kPageSize);
}

Status CachedFile::refresh_size() {
  XB_TRY(file_->size(&size_));
  size_known_ = true;
  return Status::ok();
}

Status CachedFile::size(uint64_t* out) {
  if (!read_cache_ || !size_known_) XB_TRY(refresh_size());
  *out = size_;
  return Status::ok();
}

Status CachedFile::claim_slot(size_t* slot) {
  if (pages_.size() < max_pages_) {
    pages_.emplace_back();
    pages_.back().data = new_page_memory();
    *slot = pages_.size() - 1;
    return Status::ok();
  }
  for (;;) {
    Page& p = pages_[clock_hand_];
    size_t here = clock_hand_;
    clock_hand_ = (clock_hand_ + 1) % pages_.size();
    if (p.in_use && p.referenced) {
      p.referenced = false;
      continue;
    }
    if (p.in_use) {
      // A dirty victim sends every dirty page out, in ascending order: a
      // lone page written early could land a moved record before the one
      // that moved into its old place, and a crash would lose that one.
      if (p.dirty_hi != p.dirty_lo) XB_TRY(flush());
      page_table_[p.number] = -1;
      p.in_use = false;
    }
    *slot = here;
    return Status::ok();
  }
}

// A long run of pages read in ascending order is a scan: it reads each page
// once, and keeping them all would only fill the budget with fresh memory
// (whose first touch costs the kernel more than reading the page again
// from its own cache). Past kScanWindow pages, a scan's new page takes the
// slot of the clean page it read kScanWindow pages before.
bool CachedFile::recycle_behind_scan(uint64_t number, size_t* slot) {
  scan_run_ = number == scan_next_ ? scan_run_ + 1 : 0;
  scan_next_ = number + 1;
  if (scan_run_ < kScanWindow) return false;
  const uint64_t behind = number - kScanWindow;
  if (behind >= page_table_.size() || page_table_[behind] < 0) return false;
  Page& p = pages_[static_cast<size_t>(page_table_[behind])];
  if (p.dirty_hi != p.dirty_lo) return false;
  *slot = static_cast<size_t>(page_table_[behind]);
  page_table_[behind] = -1;
  p.in_use = false;
  return true;
}

Status CachedFile::load_page(uint64_t number, Page** out) {
  if (number < page_table_.size() && page_table_[number] >= 0) {
    Page& p = pages_[static_cast<size_t>(page_table_[number])];
    p.referenced = true;
    *out = &p;
    return Status::ok();
  }
  size_t slot;
  if (!recycle_behind_scan(number, &slot)) XB_TRY(claim_slot(&slot));
  Page& p = pages_[slot];
  size_t got = 0;
  XB_TRY(file_->read_at(number * kPageSize, p.data, kPageSize, &got));
  std::memset(p.data + got, 0, kPageSize - got);
  p.number = number;
  p.valid = static_cast<uint32_t>(got);
  p.dirty_lo = p.dirty_hi = 0;
  p.referenced = true;
  p.in_use = true;
  if (number >= page_table_.size()) page_table_.resize(number + 1, -1);
  page_table_[number] = static_cast<int32_t>(slot);
  *out = &p;
  return Status::ok();
}

Status CachedFile::read(uint64_t offset, void* buf, size_t len, size_t* got) {
  if (!read_cache_) return file_->read_at(offset, buf, len, got);
  if (read_cached(offset, buf, len)) {
    *got = len;
    return Status::ok();
  }
  if (!size_known_) XB_TRY(refresh_size());
  *got = 0;
  if (offset >= size_) return Status::ok();
  len = static_cast<size_t>(std::min<uint64_t>(len, size_ - offset));
  auto* dst = static_cast<uint8_t*>(buf);
  while (*got < len) {
    uint64_t pos = offset + *got;
    Page* p;
    XB_TRY(load_page(pos / kPageSize, &p));
    size_t in_page = static_cast<size_t>(pos % kPageSize);
    size_t n = std::min(len - *got, kPageSize - in_page);
    std::memcpy(dst + *got, p->data + in_page, n);
    *got += n;
  }
  return Status::ok();
}

Status CachedFile::read_exact(uint64_t offset, void* buf, size_t len) {
  size_t got = 0;
  XB_TRY(read(offset, buf, len, &got));
  return got == len ? Status::ok() : read_past_end(path(), offset, len);
}

Status CachedFile::write(uint64_t offset, const void* buf, size_t len) {
  if (!write_cache_) return write_through(offset, buf, len);
  if (!size_known_) XB_TRY(refresh_size());
  const auto* src = static_cast<const uint8_t*>(buf);
  size_t done = 0;
  while (done < len) {
    uint64_t pos = offset + done;
    Page* p;
    XB_TRY(load_page(pos / kPageSize, &p));
    auto in_page = static_cast<uint32_t>(pos % kPageSize);
    auto n = static_cast<uint32_t>(std::min<size_t>(len - done, kPageSize - in_page));
    std::memcpy(p->data + in_page, src + done, n);
    if (p->dirty_hi == p->dirty_lo) {
      p->dirty_lo = in_page;
      p->dirty_hi = in_page + n;
    } else {
      p->dirty_lo = std::min(p->dirty_lo, in_page);
      p->dirty_hi = std::max(p->dirty_hi, in_page + n);
    }
    p->valid = std::max(p->valid, in_page + n);
    done += n;
  }
  size_ = std::max(size_, offset + len);
  return Status::ok();
}

Status CachedFile::write_through(uint64_t offset, const void* buf, size_t len) {
  XB_TRY(file_->write_at(offset, buf, len));
  if (!read_cache_ || page_table_.empty()) {
    size_known_ = false;
    return Status::ok();
  }
  const auto* src = static_cast<const uint8_t*>(buf);
  for (uint64_t number = offset / kPageSize; number <= (offset + len - 1) / kPageSize; ++number) {
    if (number >= page_table_.size() || page_table_[number] < 0) continue;
    Page& p = pages_[static_cast<size_t>(page_table_[number])];
    uint64_t page_start = number * kPageSize;
    uint64_t lo = std::max(offset, page_start);
    uint64_t hi = std::min(offset + len, page_start + kPageSize);
    std::memcpy(p.data + (lo - page_start), src + (lo - offset), hi - lo);
    p.valid = std::max<uint32_t>(p.valid, static_cast<uint32_t>(hi - page_start));
  }
  if (size_known_) size_ = std::max(size_, offset + len);
  return Status::ok();
}

Status CachedFile::flush() {
  if (!write_cache_) return Status::ok();
  std::vector<Page*> dirty;
  for (Page& p : pages_)
    if (p.in_use && p.dirty_hi != p.dirty_lo) dirty.push_back(&p);
  if (dirty.empty()) return Status::ok();
  if (before_write_back_) XB_TRY(before_write_back_());
  // Ascending page order; a run of adjacent dirty ranges goes out in one
  // gathered write, straight from the pages.
  std::sort(dirty.begin(), dirty.end(), [](Page* a, Page* b) { return a->number < b->number; });
  std::vector<iovec> pieces;
  size_t i = 0;
  while (i < dirty.size()) {
    pieces.clear();
    const uint64_t start = dirty[i]->number * kPageSize + dirty[i]->dirty_lo;
    size_t j = i;
    do {
      Page* p = dirty[j];
      pieces.push_back({p->data + p->dirty_lo, size_t(p->dirty_hi - p->dirty_lo)});
      ++j;
    } while (j < dirty.size() && dirty[j - 1]->dirty_hi == kPageSize &&
             dirty[j]->number == dirty[j - 1]->number + 1 && dirty[j]->dirty_lo == 0);
    XB_TRY(file_->write_pieces_at(start, pieces.data(), static_cast<int>(pieces.size())));
    for (size_t k = i; k < j; ++k) dirty[k]->dirty_lo = dirty[k]->dirty_hi = 0;
    i = j;
  }
  return Status::ok();
}

Status CachedFile::invalidate() {
  XB_TRY(flush());
  for (Page& p : pages_) p.in_use = false;
  std::fill(page_table_.begin(), page_table_.end(), -1);
  size_known_ = false;
  return Status::ok();
}

Status CachedFile::truncate(uint64_t new_size) {
  XB_TRY(flush());
  XB_TRY(file_->truncate(new_size));
  // Pages at or past the cut are gone; the one that straddles it shrinks.
  for (Page& p : pages_) {
    if (!p.in_use) continue;
    uint64_t start = p.number * kPageSize;
    if (start >= new_size) {
      page_table_[p.number] = -1;
      p.in_use = false;
    } else if (start + p.valid > new_size) {
      auto keep = static_cast<uint32_t>(new_size - start);
      std::memset(p.data + keep, 0, kPageSize - keep);
      p.valid = keep;
    }
  }
  size_ = new_size;
  size_known_ = read_cache_;
  return Status::ok();
}

}  // namespace xbase::io
