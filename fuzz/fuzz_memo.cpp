// Memo file reader: the input is a whole memo file. It is opened as each of
// the three layouts and blocks 0..64, plus the blocks named by its first u32
// words, are read; damaged input must end in a status, never a fault.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "fuzz_files.h"
#include "io/endian.h"
#include "io/file.h"
#include "memo/memo_file.h"

namespace {

constexpr uint32_t kLowBlocks = 64;
constexpr size_t kNamedBlocks = 8;

// One scratch file in a private folder, removed at exit.
struct Scratch {
  Scratch() {
    const char* tmp = std::getenv("TMPDIR");
    dir = std::string(tmp && *tmp ? tmp : "/tmp") + "/fuzz_memo_XXXXXX";
    if (!mkdtemp(dir.data())) std::abort();
    path = dir + "/memo";
  }
  ~Scratch() {
    unlink(path.c_str());
    rmdir(dir.c_str());
  }
  std::string dir, path;
};

const std::string& scratch_path() {
  static Scratch scratch;
  return scratch.path;
}

void read_all(const std::string& path, xbase::memo::MemoKind kind, const uint8_t* data,
              size_t size, bool cached) {
  std::unique_ptr<xbase::io::File> f;
  if (!xbase::io::FileSystem::posix().open(path, xbase::io::OpenMode::kReadOnly, &f)) return;
  std::unique_ptr<xbase::memo::MemoFile> memo;
  if (!xbase::memo::MemoFile::open(std::move(f), kind, &memo)) return;
  memo->file().set_caching(cached, false);
  std::string value;
  uint32_t type = 0;
  uint32_t next = 0;
  (void)memo->next_free(&next);
  for (uint32_t block = 0; block <= kLowBlocks; ++block) (void)memo->read(block, &value, &type);
  for (size_t i = 0; i < kNamedBlocks && (i + 1) * 4 <= size; ++i)
    (void)memo->read(xbase::io::load_u32le(data + i * 4), &value, &type);
  (void)memo->read(next, &value, &type);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string& path = scratch_path();
  if (!vgx_fuzz::write_whole(path, data, size)) return 0;
  using xbase::memo::MemoKind;
  for (MemoKind kind : {MemoKind::kDbt3, MemoKind::kDbt4, MemoKind::kFpt})
    read_all(path, kind, data, size, kind == MemoKind::kDbt4);
  return 0;
}
