// vgx tags, reindex, check and index: a table's production index.
#include <iostream>

#include "commands.h"
#include "engine_index.h"
#include "report.h"
#include "table_open.h"
#include "table_printer.h"

namespace vgx {
namespace {

// One file argument and nothing else.
bool single_file(const std::vector<std::string>& args, const char* command, std::string* file) {
  if (args.size() != 1 || args[0].empty() || args[0][0] == '-') {
    usage_error(std::string(command) + " takes one table file: vgx " + command + " FILE");
    return false;
  }
  *file = args[0];
  return true;
}

int with_index(Engine& engine, OpenedTable& opened, std::string* index_path) {
  if (open_production_index(*opened.table, index_path)) return kExitOk;
  return fail("cannot open the index of '" + opened.path + "': " + engine.take_error());
}

}  // namespace

int print_tags(Engine& engine, const std::string& file, std::ostream& out) {
  const auto opened = open_for_reading(engine, file);
  if (!opened) return kExitFailure;
  std::string index;
  if (const int rc = with_index(engine, *opened, &index); rc != kExitOk) return rc;
  out << "Tags of " << index << "\n";
  TablePrinter printer({{"TAG"}, {"KEY"}, {"FOR"}, {"UNIQUE"}, {"ORDER"}, {"NOTE"}}, 50);
  for (const TagListing& t : list_tags(*opened->table))
    printer.add_row({t.plan.name, t.plan.key, t.plan.filter, t.plan.unique ? "yes" : "",
                     t.plan.descending ? "descending" : "ascending", t.note});
  printer.print(out);
  return kExitOk;
}

bool index_new_table(Engine& engine, const std::string& path, const std::vector<TagPlan>& tags) {
  engine.set_changing();
  auto table = Table::open(engine, path);
  if (!table || !create_production_index(*table, tags) || !table->close()) {
    fail("indexing '" + path + "' failed: " + engine.take_error());
    return false;
  }
  return true;
}

int run_tags(const std::vector<std::string>& args) {
  std::string file;
  if (!single_file(args, "tags", &file)) return kExitUsage;
  Engine engine;
  if (!engine.ok()) return fail("the engine could not start");
  return print_tags(engine, file, std::cout);
}

int run_reindex(const std::vector<std::string>& args) {
  std::string file;
  if (!single_file(args, "reindex", &file)) return kExitUsage;
  Engine engine;
  if (!engine.ok()) return fail("the engine could not start");
  const auto opened = open_table(engine, file, Access::change);
  if (!opened) return kExitFailure;
  std::string index;
  if (const int rc = with_index(engine, *opened, &index); rc != kExitOk) return rc;
  if (!reindex(*opened->table))
    return fail("reindexing '" + index + "' failed: " + engine.take_error());
  const size_t tags = list_tags(*opened->table).size();
  if (!opened->table->close())
    return fail("closing '" + opened->path + "' failed: " + engine.take_error());
  std::cout << "Rebuilt " << tags << (tags == 1 ? " tag" : " tags") << " of " << index << " from "
            << opened->path << "\n";
  return kExitOk;
}

int run_check(const std::vector<std::string>& args) {
  std::string file;
  if (!single_file(args, "check", &file)) return kExitUsage;
  Engine engine;
  if (!engine.ok()) return fail("the engine could not start");
  const auto opened = open_for_reading(engine, file);
  if (!opened) return kExitFailure;
  std::string index;
  if (const int rc = with_index(engine, *opened, &index); rc != kExitOk) return rc;
  std::string file_problem;
  std::vector<TagCheck> tags;
  if (!check_index(*opened->table, &file_problem, &tags))
    return fail("checking '" + index + "' failed: " + engine.take_error());
  bool right = file_problem.empty();
  std::cout << "Index " << index << ": "
            << (file_problem.empty() ? "the tag directory is right" : "DAMAGED: " + file_problem)
            << "\n";
  TablePrinter printer({{"TAG"}, {"ENTRIES", Align::right}, {"DEPTH", Align::right}, {"VERDICT"}},
                       90);
  for (const TagCheck& t : tags) {
    std::string verdict = !t.problem.empty() ? "WRONG: " + t.problem
                          : t.keys_checked   ? "right: every record's key exactly once"
                          : t.depth == 0     ? "not checked: " + t.note
                                             : "structure right; " + t.note;
    if (!t.problem.empty()) right = false;
    printer.add_row({t.name, std::to_string(t.entries), std::to_string(t.depth), verdict});
  }
  printer.print(std::cout);
  if (!right) {
    std::cout << "Run 'vgx reindex " << opened->path << "' to rebuild the index from the table.\n";
    return kExitFailure;
  }
  return kExitOk;
}

int run_index(const std::vector<std::string>& args) {
  std::string file;
  TagPlan tag;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& arg = args[i];
    const bool takes_value = arg == "--tag" || arg == "--key" || arg == "--for";
    if (takes_value && i + 1 >= args.size()) return usage_error("index: " + arg + " needs a value");
    if (arg == "--tag")
      tag.name = args[++i];
    else if (arg == "--key")
      tag.key = args[++i];
    else if (arg == "--for")
      tag.filter = args[++i];
    else if (arg == "--unique")
      tag.unique = true;
    else if (arg == "--descending")
      tag.descending = true;
    else if (!arg.empty() && arg[0] == '-')
      return usage_error("index: unknown option '" + arg + "'");
    else if (file.empty())
      file = arg;
    else
      return usage_error("index takes one table file");
  }
  if (file.empty() || tag.name.empty() || tag.key.empty())
    return usage_error(
        "index needs a table, a tag name and a key: "
        "vgx index FILE --tag NAME --key EXPR [--for EXPR] [--unique] [--descending]");
  Engine engine;
  if (!engine.ok()) return fail("the engine could not start");
  const auto opened = open_table(engine, file, Access::change);
  if (!opened) return kExitFailure;
  if (!add_tag(*opened->table, tag))
    return fail("adding tag " + tag.name + " failed: " + engine.take_error());
  std::string index;
  if (const int rc = with_index(engine, *opened, &index); rc != kExitOk) return rc;
  if (!opened->table->close())
    return fail("closing '" + opened->path + "' failed: " + engine.take_error());
  std::cout << "Added tag " << tag.name << " (" << tag.key << ") to " << index << "\n";
  return kExitOk;
}

}  // namespace vgx
