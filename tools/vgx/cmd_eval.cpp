// vgx eval: an expression's type, width and value on one record.
#include <cstdlib>
#include <iostream>

#include "commands.h"
#include "report.h"
#include "table_open.h"

namespace vgx {

int run_eval(const std::vector<std::string>& args) {
  std::string file, expression;
  long recno = 0;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& arg = args[i];
    if (arg == "--recno") {
      if (i + 1 >= args.size()) return usage_error("eval: --recno needs a record number");
      char* end = nullptr;
      recno = std::strtol(args[++i].c_str(), &end, 10);
      if (end == nullptr || *end != '\0' || recno < 1 || recno > 2147483647L)
        return usage_error("eval: record number '" + args[i] + "' is not a number from 1 up");
    } else if (file.empty()) {
      file = arg;
    } else if (expression.empty()) {
      expression = arg;
    } else {
      return usage_error("eval takes one table file and one expression");
    }
  }
  if (file.empty() || expression.empty())
    return usage_error("eval needs a table and an expression: vgx eval FILE EXPR [--recno N]");
  Engine engine;
  if (!engine.ok()) return fail("the engine could not start");
  const auto opened = open_for_reading(engine, file);
  if (!opened) return kExitFailure;
  Table& table = *opened->table;
  const bool on_record = recno > 0 ? table.go(static_cast<int32_t>(recno)) : table.first();
  if (!on_record && (recno > 0 || table.failed()))
    return fail("record " + std::to_string(recno) + " of '" + opened->path + "': " + engine.take_error());
  Evaluation result;
  if (!table.evaluate(expression, &result))
    return fail("expression '" + expression + "': " + engine.take_error());
  std::cout << "type:   " << result.type << "\n"
            << "length: " << result.length << "\n"
            << "value:  [" << result.value << "]\n";
  return kExitOk;
}

}  // namespace vgx
