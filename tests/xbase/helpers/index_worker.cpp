// A process of the multi-process index tests: it opens a shared table with
// its production index (UNIQ on KEY, NAME on UPPER(NAME), AGE on AGE) and
// changes it through the C header, as an application would.
//
//   index_worker append table=T worker=W count=N
//       appends N records: KEY = W * 1000000 + seq, NAME and AGE from seq.
//   index_worker update table=T worker=W iterations=N
//       N times: locks a record, re-reads it, gives it a new NAME and AGE
//       (its keys move), writes it and unlocks.
//   Both wait for the file start=PATH to exist before they begin, when given,
//   and open the table under the index format format=F (1 unless told).
// Refused locks are retried; any other failure ends the worker with status 1.
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>
#include <string>

#include "vgxbase/xbase.h"

namespace {

using Args = std::map<std::string, std::string>;

Args parse_args(int argc, char** argv) {
  Args args;
  for (int i = 2; i < argc; ++i)
    if (const char* eq = std::strchr(argv[i], '='))
      args[std::string(argv[i], static_cast<size_t>(eq - argv[i]))] = eq + 1;
  return args;
}

int arg_int(const Args& args, const char* key, int fallback) {
  auto it = args.find(key);
  return it == args.end() ? fallback : std::atoi(it->second.c_str());
}

int fail(CODE4* c4, const char* what, int rc) {
  std::fprintf(stderr, "index_worker: %s answered %d (error %d)\n", what, rc,
               code4errorCode(c4, r4check));
  code4initUndo(c4);
  return 1;
}

void name_for(int worker, int seq, char* out, size_t n) {
  static const char* const kNames[] = {"delta",   "Alpha",   "echo", "Bravo",
                                       "charlie", "foxtrot", "Golf", "hotel"};
  std::snprintf(out, n, "%s %d-%d", kNames[(seq * 7 + worker) % 8], seq % 13, worker);
}

int append(CODE4* c4, DATA4* d, const Args& args) {
  const int worker = arg_int(args, "worker", 1), count = arg_int(args, "count", 100);
  for (int seq = 1; seq <= count; ++seq) {
    char name[32];
    name_for(worker, seq, name, sizeof name);
    int rc;
    do {
      d4appendStart(d, 0);
      f4assignLong(d4field(d, "KEY"), worker * 1000000 + seq);
      f4assign(d4field(d, "NAME"), name);
      f4assignLong(d4field(d, "AGE"), (seq * 31 + worker) % 90);
      rc = d4append(d);
      if (rc == r4locked) usleep(1000);
    } while (rc == r4locked);
    if (rc != 0) return fail(c4, "d4append", rc);
  }
  return 0;
}

int update(CODE4* c4, DATA4* d, const Args& args) {
  const int worker = arg_int(args, "worker", 1), iterations = arg_int(args, "iterations", 100);
  unsigned seed = static_cast<unsigned>(worker) * 2654435761u;
  for (int i = 0; i < iterations; ++i) {
    seed = seed * 1103515245u + 12345u;
    const int32_t count = d4recCount(d);
    if (count < 1) {
      usleep(1000);
      continue;
    }
    const int32_t rec = 1 + static_cast<int32_t>((seed >> 8) % static_cast<unsigned>(count));
    int rc;
    while ((rc = d4lock(d, rec)) == r4locked) usleep(500);
    if (rc != 0) return fail(c4, "d4lock", rc);
    if ((rc = d4go(d, rec)) != 0) return fail(c4, "d4go", rc);
    char name[32];
    name_for(worker + 50, i, name, sizeof name);
    f4assign(d4field(d, "NAME"), name);
    f4assignLong(d4field(d, "AGE"), (i * 17 + worker) % 90);
    while ((rc = d4write(d, rec)) == r4locked) usleep(500);
    if (rc != 0) return fail(c4, "d4write", rc);
    if ((rc = d4unlock(d)) != 0) return fail(c4, "d4unlock", rc);
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  const std::string command = argv[1];
  const Args args = parse_args(argc, argv);
  if (auto it = args.find("start"); it != args.end())
    while (access(it->second.c_str(), F_OK) != 0) usleep(1000);
  CODE4* c4 = code4initP();
  if (c4 == nullptr) return 1;
  code4indexFormat(c4, arg_int(args, "format", 1));
  code4lockAttemptsSingle(c4, 50);
  code4lockDelay(c4, 2);
  DATA4* d = d4open(c4, args.count("table") ? args.at("table").c_str() : "");
  if (d == nullptr) return fail(c4, "d4open", 0);
  const int rc = command == "append"   ? append(c4, d, args)
                 : command == "update" ? update(c4, d, args)
                                       : 2;
  if (rc != 0) return rc;  // the context is gone already
  if (d4close(d) != 0) return fail(c4, "d4close", 0);
  code4initUndo(c4);
  return 0;
}
