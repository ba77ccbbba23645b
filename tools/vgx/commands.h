// The tool's commands. Each takes the arguments after its name and returns the exit code.
#pragma once

#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

#include "engine_index.h"
#include "engine_table.h"

namespace vgx {

int run_info(const std::vector<std::string>& args);
int run_dump(const std::vector<std::string>& args);
int run_demo(const std::vector<std::string>& args);
int run_eval(const std::vector<std::string>& args);
int run_tags(const std::vector<std::string>& args);
int run_reindex(const std::vector<std::string>& args);
int run_check(const std::vector<std::string>& args);
int run_index(const std::vector<std::string>& args);
void print_usage(std::ostream& out);

struct InfoOptions {
  bool show_update_date = true;  // off where output must not change from day to day
};

// Describes the table `name`; on failure reports on stderr, writes nothing and returns the code.
int print_table_info(Engine& engine, const std::string& name, const InfoOptions& options,
                     std::ostream& out);

struct DumpOptions {
  bool csv = false;
  bool with_deleted = false;        // include deleted records, with a leading _deleted column
  std::size_t max_records = 0;      // 0: all
  std::size_t max_cell_width = 40;  // plain tables only; 0: no limit
  std::string filter;               // a logical expression records must pass; "" for all
  std::string tag;                  // walk in this tag's order (of the production index)
  std::string seek;                 // with a tag: start at the first key not below this one
  bool has_seek = false;
};

int dump_table(Engine& engine, const std::string& name, const DumpOptions& options,
               std::ostream& out);

// Lists the tags of the table's production index (as `vgx tags`).
int print_tags(Engine& engine, const std::string& name, std::ostream& out);
// Gives a table just written its production index with these tags.
bool index_new_table(Engine& engine, const std::string& path, const std::vector<TagPlan>& tags);

}  // namespace vgx
