// vgx dump: every record in record order (or a tag's order), as an aligned table or as CSV.
#include <iostream>

#include "commands.h"
#include "csv.h"
#include "engine_index.h"
#include "report.h"
#include "table_open.h"
#include "table_printer.h"

namespace vgx {
namespace {

constexpr const char* kDeletedColumn = "_deleted";
constexpr const char* kPlainNull = ".NULL.";

// Emits rows either straight to CSV or into an aligned table printed at the end.
class RowSink {
 public:
  RowSink(const DumpOptions& options, std::vector<Column> columns, std::ostream& out)
      : csv_(options.csv), out_(out), printer_(columns, options.max_cell_width) {
    if (csv_) {
      std::vector<std::string> titles;
      for (const auto& column : columns) titles.push_back(column.title);
      write_csv_row(out_, titles);
    }
  }

  void add(const std::vector<std::string>& cells) {
    if (csv_) {
      write_csv_row(out_, cells);
    } else {
      printer_.add_row(cells);
    }
  }

  void finish() {
    if (!csv_) printer_.print(out_);
    out_.flush();
  }

 private:
  bool csv_;
  std::ostream& out_;
  TablePrinter printer_;
};

}  // namespace

int dump_table(Engine& engine, const std::string& name, const DumpOptions& options,
               std::ostream& out) {
  const auto opened = open_for_reading(engine, name);
  if (!opened) return kExitFailure;
  Table& table = *opened->table;

  std::vector<Column> columns;
  if (options.with_deleted) columns.push_back({kDeletedColumn});
  for (int i = 0; i < table.field_count(); ++i) {
    const FieldDesc desc = table.field_desc(i);
    columns.push_back({desc.name, is_numeric_type(desc.type, desc.len) ? Align::right
                                                                        : Align::left});
  }

  if (!options.filter.empty() && !table.set_filter(options.filter))
    return fail("filter '" + options.filter + "': " + engine.take_error());
  if (!options.tag.empty()) {
    if (!open_production_index(table, nullptr))
      return fail("cannot open the index of '" + opened->path + "': " + engine.take_error());
    if (!select_tag(table, options.tag))
      return fail("no tag " + options.tag + " in the index of '" + opened->path + "'");
  }
  bool start = true;
  if (options.has_seek) {
    const int rc = seek(table, options.seek);
    if (rc < 0) return fail("seek '" + options.seek + "' failed: " + engine.take_error());
    start = rc == 0 || rc == 2;  // on the key, or on the next greater one
  } else {
    start = table.first();
  }
  // Nothing is written before the filter, the tag and the seek have worked.
  RowSink sink(options, columns, out);
  std::size_t shown = 0;
  std::vector<std::string> cells;
  for (bool on = start; on; on = table.next()) {
    const bool deleted = table.deleted();
    if (deleted && !options.with_deleted) continue;
    if (!table.passes()) {
      if (table.failed()) break;
      continue;
    }
    cells.clear();
    if (options.with_deleted) cells.push_back(deleted ? "*" : "");
    for (int i = 0; i < table.field_count(); ++i) {
      CellValue value = table.cell(i);
      cells.push_back(value.null && !options.csv ? kPlainNull : std::move(value.text));
    }
    if (table.failed()) break;
    sink.add(cells);
    if (options.max_records != 0 && ++shown >= options.max_records) break;
  }
  if (table.failed()) {
    sink.finish();
    return fail("reading '" + opened->path + "' failed: " + engine.take_error());
  }
  sink.finish();
  return kExitOk;
}

int run_dump(const std::vector<std::string>& args) {
  DumpOptions options;
  std::string file;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& arg = args[i];
    if (arg == "--filter") {
      if (i + 1 >= args.size()) return usage_error("dump: --filter needs an expression");
      options.filter = args[++i];
    } else if (arg == "--tag" || arg == "--seek") {
      if (i + 1 >= args.size()) return usage_error("dump: " + arg + " needs a value");
      if (arg == "--tag") {
        options.tag = args[++i];
      } else {
        options.seek = args[++i];
        options.has_seek = true;
      }
    } else if (arg == "--csv") {
      options.csv = true;
    } else if (arg == "--deleted") {
      options.with_deleted = true;
    } else if (!arg.empty() && arg[0] == '-') {
      return usage_error("dump: unknown option '" + arg + "'");
    } else if (file.empty()) {
      file = arg;
    } else {
      return usage_error("dump takes one table file");
    }
  }
  if (file.empty()) {
    return usage_error("dump needs a table file: vgx dump FILE [--csv] [--deleted] [--filter EXPR] "
                       "[--tag NAME [--seek KEY]]");
  }
  if (options.has_seek && options.tag.empty()) return usage_error("dump: --seek needs --tag");
  Engine engine;
  if (!engine.ok()) return fail("the engine could not start");
  return dump_table(engine, file, options, std::cout);
}

}  // namespace vgx
