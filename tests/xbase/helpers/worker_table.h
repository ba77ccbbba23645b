// The table layout the multi-process tests and their helper process share,
// and the memo values both sides derive from a record's identity.
#pragma once

#include <string>

#include "vgxbase/xbase.h"

namespace worker_table {

// WORKER N(4), SEQ N(8), COUNTER N(10), TXT C(20), NOTE M.
inline const FIELD4INFO* fields() {
  static char worker[] = "WORKER", seq[] = "SEQ", counter[] = "COUNTER", txt[] = "TXT",
              note[] = "NOTE";
  static const FIELD4INFO info[] = {{worker, 'N', 4, 0, 0},   {seq, 'N', 8, 0, 0},
                                    {counter, 'N', 10, 0, 0}, {txt, 'C', 20, 0, 0},
                                    {note, 'M', 10, 0, 0},    {nullptr, 0, 0, 0, 0}};
  return info;
}

// The memo of (worker, seq): from a few bytes to several memo blocks.
inline std::string memo_text(int worker, int seq) {
  std::string s = "w" + std::to_string(worker) + "s" + std::to_string(seq) + ":";
  const size_t len = static_cast<size_t>((worker * 131 + seq * 37) % 1500);
  while (s.size() < len) s += static_cast<char>('a' + (s.size() + static_cast<size_t>(seq)) % 26);
  return s;
}

}  // namespace worker_table
