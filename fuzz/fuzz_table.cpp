// Table reader: the input is a table file and a memo file (layout in
// table_scan.h). Both are opened read-only under every index format and every
// field of every record is read, memos included; damaged input must end in a
// result code, never a fault or a hang.
#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "table_scan.h"

namespace {

// A private folder for T.DBF and its memo file, removed at exit.
struct Scratch {
  Scratch() {
    const char* tmp = std::getenv("TMPDIR");
    dir = std::string(tmp && *tmp ? tmp : "/tmp") + "/fuzz_table_XXXXXX";
    if (!mkdtemp(dir.data())) std::abort();
  }
  ~Scratch() {
    for (const char* name : {"/T.DBF", "/T.FPT", "/T.DBT"}) unlink((dir + name).c_str());
    rmdir(dir.c_str());
  }
  std::string dir;
};

const std::string& scratch_dir() {
  static Scratch scratch;
  return scratch.dir;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  vgx_fuzz::run_table_input(scratch_dir(), data, size);
  return 0;
}
