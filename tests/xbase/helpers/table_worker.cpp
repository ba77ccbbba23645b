// A second (third, fourth) process for the multi-process tests. It uses the
// engine only through its C header, as an application would.
//
//   table_worker append  table=T format=F worker=W count=N memo_every=M
//       appends N records (WORKER=W, SEQ=1..N; every M-th with a memo) with
//       d4appendStart/d4append, retrying an append the append lock refused.
//   table_worker update  table=T format=F lock=record|file iterations=N records=R
//       N times: go to a record, lock it (or the file), re-read it, add one to
//       COUNTER, write it and unlock.
//   Both wait for the file start=PATH to exist before they begin, when given.
//   table_worker serve
//       answers one command per line on standard input with one line on
//       standard output ("<rc> [value]"); standard input closing ends it.
//
// The tables are laid out as worker_table.h says.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <sstream>
#include <string>

#include "vgxbase/xbase.h"
#include "worker_table.h"

namespace {

using Args = std::map<std::string, std::string>;

Args parse_args(int argc, char** argv) {
  Args args;
  for (int i = 2; i < argc; ++i) {
    const char* eq = std::strchr(argv[i], '=');
    if (eq) args[std::string(argv[i], static_cast<size_t>(eq - argv[i]))] = eq + 1;
  }
  return args;
}

int arg_int(const Args& args, const std::string& key, int fallback) {
  auto it = args.find(key);
  return it == args.end() ? fallback : std::atoi(it->second.c_str());
}

CODE4* open_context(int format) {
  CODE4* c4 = code4initP();
  if (c4 == nullptr) return nullptr;
  code4indexFormat(c4, format);
  code4autoOpen(c4, 0);
  return c4;
}

int fail(CODE4* c4, const char* what) {
  std::fprintf(stderr, "table_worker: %s failed, error %d\n", what,
               c4 ? code4errorCode(c4, r4check) : 0);
  if (c4) code4initUndo(c4);
  return 1;
}

int run_append(const Args& args) {
  CODE4* c4 = open_context(arg_int(args, "format", 1));
  if (c4 == nullptr) return 1;
  DATA4* d = d4open(c4, args.at("table").c_str());
  if (d == nullptr) return fail(c4, "d4open");
  const int worker = arg_int(args, "worker", 0);
  const int count = arg_int(args, "count", 0);
  const int memo_every = arg_int(args, "memo_every", 0);
  FIELD4* f_worker = d4field(d, "WORKER");
  FIELD4* f_seq = d4field(d, "SEQ");
  FIELD4* f_txt = d4field(d, "TXT");
  FIELD4* f_note = d4field(d, "NOTE");
  int refused = 0;
  for (int seq = 1; seq <= count; ++seq) {
    if (d4appendStart(d, 0) != 0) return fail(c4, "d4appendStart");
    d4blank(d);
    f4assignLong(f_worker, worker);
    f4assignLong(f_seq, seq);
    f4assign(f_txt, ("w" + std::to_string(worker) + "s" + std::to_string(seq)).c_str());
    if (memo_every > 0 && seq % memo_every == 0)
      f4memoAssign(f_note, worker_table::memo_text(worker, seq).c_str());
    int rc;
    // The default is one attempt at the short internal locks: an application
    // retries a refused append, which stays pending with its buffer.
    while ((rc = d4append(d)) == r4locked) {
      ++refused;
      usleep(200);
    }
    if (rc != 0) return fail(c4, "d4append");
  }
  if (refused > 0 && arg_int(args, "verbose", 0)) std::printf("appends refused: %d\n", refused);
  return code4initUndo(c4) == 0 ? 0 : 1;
}

int run_update(const Args& args) {
  CODE4* c4 = open_context(arg_int(args, "format", 1));
  if (c4 == nullptr) return 1;
  code4lockAttempts(c4, -1);
  code4lockDelay(c4, 1);
  DATA4* d = d4open(c4, args.at("table").c_str());
  if (d == nullptr) return fail(c4, "d4open");
  const bool file_lock = args.count("lock") && args.at("lock") == "file";
  const int iterations = arg_int(args, "iterations", 0);
  const int records = arg_int(args, "records", 1);
  FIELD4* counter = d4field(d, "COUNTER");
  for (int i = 0; i < iterations; ++i) {
    // Every worker walks the records in the same order, a few visits to each,
    // so that the workers meet on the same record.
    const int32_t rec = 1 + (i / 4) % records;
    if (d4go(d, rec) != 0) return fail(c4, "d4go");
    if ((file_lock ? d4lockFile(d) : d4lock(d, rec)) != 0) return fail(c4, "lock");
    // The buffer was read before the lock: read it again under the lock.
    if (d4refreshRecord(d) != 0) return fail(c4, "d4refreshRecord");
    f4assignLong(counter, f4long(counter) + 1);
    if (d4write(d, rec) != 0) return fail(c4, "d4write");
    if (d4unlock(d) != 0) return fail(c4, "d4unlock");
  }
  return code4initUndo(c4) == 0 ? 0 : 1;
}

// ---- serve ---------------------------------------------------------------

struct Server {
  CODE4* c4 = nullptr;
  DATA4* d = nullptr;

  // Answers "<rc> [value]".
  std::string run(const std::string& line) {
    std::istringstream in(line);
    std::string cmd;
    in >> cmd;
    auto rc = [](long v) { return std::to_string(v); };
    if (cmd == "set") {
      std::string what;
      int v = 0;
      in >> what >> v;
      if (what == "access") return rc(code4accessMode(c4, v));
      if (what == "readonly") return rc(code4readOnly(c4, v));
      if (what == "attempts") return rc(code4lockAttempts(c4, v));
      if (what == "delay") return rc(code4lockDelay(c4, v));
      return "-160 unknown setting";
    }
    if (cmd == "open") {
      std::string path;
      in >> path;
      code4errorCode(c4, 0);
      d = d4open(c4, path.c_str());
      return d ? "0" : rc(code4errorCode(c4, r4check));
    }
    if (d == nullptr) return "-160 no table open";
    int32_t n = 0;
    if (cmd == "close") {
      int r = d4close(d);
      d = nullptr;
      return rc(r);
    }
    if (cmd == "lock") {
      in >> n;
      return rc(d4lock(d, n));
    }
    if (cmd == "lockfile") return rc(d4lockFile(d));
    if (cmd == "unlock") return rc(d4unlock(d));
    if (cmd == "count") return "0 " + rc(d4recCount(d));
    if (cmd == "go") {
      in >> n;
      return rc(d4go(d, n));
    }
    if (cmd == "write") {
      in >> n;
      return rc(d4write(d, n));
    }
    if (cmd == "assign") {
      // assign FIELD VALUE: the value is the rest of the line.
      std::string field, value;
      in >> field;
      std::getline(in >> std::ws, value);
      FIELD4* f = d4field(d, field.c_str());
      if (f == nullptr) return rc(e4fieldName);
      code4errorCode(c4, 0);
      if (f4type(f) == 'M')
        f4memoAssign(f, value.c_str());
      else
        f4assign(f, value.c_str());
      return rc(code4errorCode(c4, r4check));
    }
    if (cmd == "append") {
      // append WORKER SEQ [MEMO]
      int worker = 0, seq = 0;
      std::string memo;
      in >> worker >> seq;
      std::getline(in >> std::ws, memo);
      int r = d4appendStart(d, 0);
      if (r != 0) return rc(r);
      d4blank(d);
      f4assignLong(d4field(d, "WORKER"), worker);
      f4assignLong(d4field(d, "SEQ"), seq);
      if (!memo.empty()) f4memoAssign(d4field(d, "NOTE"), memo.c_str());
      r = d4append(d);
      return rc(r) + " " + rc(d4recNoLow(d));
    }
    return "-160 unknown command";
  }
};

int run_serve(const Args& args) {
  Server s;
  s.c4 = open_context(arg_int(args, "format", 1));
  if (s.c4 == nullptr) return 1;
  code4errOff(s.c4, 1);
  char buf[4096];
  std::setvbuf(stdout, nullptr, _IOLBF, 0);
  while (std::fgets(buf, sizeof buf, stdin)) {
    std::string line(buf);
    while (!line.empty() && (line.back() == '\n' || line.back() == '\r')) line.pop_back();
    if (line == "quit") break;
    std::printf("%s\n", s.run(line).c_str());
    std::fflush(stdout);
  }
  return code4initUndo(s.c4) == 0 ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) {
    std::fprintf(stderr, "usage: table_worker append|update|serve key=value...\n");
    return 2;
  }
  const std::string cmd = argv[1];
  const Args args = parse_args(argc, argv);
  if ((cmd == "append" || cmd == "update") && !args.count("table")) {
    std::fprintf(stderr, "table_worker: table= is missing\n");
    return 2;
  }
  if (args.count("start")) {
    // Workers of one run start together when the test creates this file.
    for (int i = 0; i < 30000 && access(args.at("start").c_str(), F_OK) != 0; ++i) usleep(1000);
  }
  if (cmd == "append") return run_append(args);
  if (cmd == "update") return run_update(args);
  if (cmd == "serve") return run_serve(args);
  std::fprintf(stderr, "table_worker: unknown command %s\n", cmd.c_str());
  return 2;
}
