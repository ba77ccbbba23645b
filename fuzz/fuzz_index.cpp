// Compound index reader: the input is a whole .CDX file, opened on a small
// fixed table. Every tag is walked forwards and backwards (capped), sought
// into, and the verifier runs over the file; damaged input must end in an
// error code, never a fault or a hang.
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "fuzz_files.h"
#include "index/table_indexes.h"
#include "index/verify.h"
#include "api/handles.h"
#include "vgxbase/xbase.h"

namespace {

constexpr int kMaxSteps = 4000;

// A private folder with the table (NAME C(10), AGE N(4), BIRTH D, 40
// records) and the index file the input becomes.
struct Scratch {
  Scratch() {
    const char* tmp = std::getenv("TMPDIR");
    dir = std::string(tmp && *tmp ? tmp : "/tmp") + "/fuzz_index_XXXXXX";
    if (!mkdtemp(dir.data())) std::abort();
    table = dir + "/T.DBF";
    index = dir + "/T.CDX";
    CODE4* c4 = code4initP();
    code4errOff(c4, 1);
    FIELD4INFO fields[] = {{const_cast<char*>("NAME"), 'C', 10, 0, 0},
                           {const_cast<char*>("AGE"), 'N', 4, 0, 0},
                           {const_cast<char*>("BIRTH"), 'D', 8, 0, 0},
                           {}};
    DATA4* d = d4create(c4, table.c_str(), fields, nullptr);
    if (d == nullptr) std::abort();
    for (int i = 0; i < 40; ++i) {
      d4appendStart(d, 0);
      f4assign(d4field(d, "NAME"), std::string(1, static_cast<char>('A' + i % 26)).c_str());
      f4assignLong(d4field(d, "AGE"), i * 7 % 50);
      f4assign(d4field(d, "BIRTH"), "20000101");
      d4append(d);
    }
    code4initUndo(c4);
  }
  ~Scratch() {
    unlink(index.c_str());
    unlink(table.c_str());
    rmdir(dir.c_str());
  }
  std::string dir, table, index;
};

const Scratch& scratch() {
  static Scratch s;
  return s;
}

void walk(DATA4* d, int first, int step) {
  int rc = first;
  for (int i = 0; rc == 0 && i < kMaxSteps; ++i) rc = d4skip(d, step);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const Scratch& s = scratch();
  if (!vgx_fuzz::write_whole(s.index, data, size)) return 0;
  CODE4* c4 = code4initP();
  code4errOff(c4, 1);
  code4readOnly(c4, 1);
  code4autoOpen(c4, 0);
  DATA4* d = d4open(c4, s.table.c_str());
  INDEX4* ix = d ? i4open(d, s.index.c_str()) : nullptr;
  if (ix != nullptr) {
    TAG4INFO* info = i4tagInfo(ix);
    for (TAG4INFO* t = info; t && t->name; ++t) {
      TAG4* tag = i4tag(ix, t->name);
      if (d4tagSelectP(d, tag) != 0) continue;
      walk(d, d4top(d), 1);
      walk(d, d4bottom(d), -1);
      d4seek(d, "M");
      d4seekNext(d, "M");
      d4seek(d, "20000101");
      d4go(d, 7);
      d4skip(d, 3);
      d4skip(d, -5);
    }
    u4freeDefault(info);
    xbase::index::FileVerdict verdict;
    (void)xbase::index::verify_file(*d->table().indexes(),
                                    *static_cast<xbase::index::IndexFile*>(ix), &verdict);
  }
  code4initUndo(c4);
  return 0;
}
