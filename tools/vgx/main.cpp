// vgx: the command-line program of the xBase engine. This file only dispatches.
#include <iostream>
#include <string>
#include <vector>

#include "commands.h"
#include "report.h"

namespace vgx {

void print_usage(std::ostream& out) {
  out << "Usage: vgx COMMAND [ARGUMENTS]\n"
         "\n"
         "Commands:\n"
         "  info FILE                  what a table is: format, code page, counts, fields, memo\n"
         "  dump FILE [--csv] [--deleted] [--filter EXPR]\n"
         "                             every record in record order, as an aligned table or as\n"
         "                             CSV; --deleted adds deleted records and a _deleted column;\n"
         "                             --filter keeps the records for which EXPR is true\n"
         "  dump FILE --tag NAME [--seek KEY]\n"
         "                             the records in the order of a tag of the table's index,\n"
         "                             from the first key not below KEY\n"
         "  eval FILE EXPR [--recno N]  an expression's type, width and value on record N\n"
         "                             (default: the first record)\n"
         "  tags FILE                  the tags of the table's production index\n"
         "  index FILE --tag NAME --key EXPR [--for EXPR] [--unique] [--descending]\n"
         "                             adds a tag to the table's production index (made when\n"
         "                             there is none) and builds it\n"
         "  reindex FILE               rebuilds the table's index from its records\n"
         "  check FILE                 checks the index: its structure, and that each tag holds\n"
         "                             every record's key exactly once\n"
         "  demo [--format fox|vfp|dbase|clipper] [--dir DIR]\n"
         "                             writes a sample database (default: ./vgx-demo, FoxPro)\n"
         "                             and shows what the other commands print for it\n"
         "\n"
         "  vgx --help                 this text\n"
         "\n"
         "Exit codes: 0 done, 1 bad command line, 2 a file or the engine failed.\n";
}

}  // namespace vgx

int main(int argc, char** argv) {
  if (argc < 2) {
    vgx::print_usage(std::cerr);
    return vgx::kExitUsage;
  }
  const std::string command = argv[1];
  std::vector<std::string> args(argv + 2, argv + argc);
  if (command == "--help" || command == "-h" || command == "help") {
    vgx::print_usage(std::cout);
    return vgx::kExitOk;
  }
  for (const auto& arg : args) {
    if (arg == "--help" || arg == "-h") {
      vgx::print_usage(std::cout);
      return vgx::kExitOk;
    }
  }
  if (command == "info") return vgx::run_info(args);
  if (command == "dump") return vgx::run_dump(args);
  if (command == "demo") return vgx::run_demo(args);
  if (command == "eval") return vgx::run_eval(args);
  if (command == "tags") return vgx::run_tags(args);
  if (command == "index") return vgx::run_index(args);
  if (command == "reindex") return vgx::run_reindex(args);
  if (command == "check") return vgx::run_check(args);
  return vgx::usage_error("unknown command '" + command + "'");
}
