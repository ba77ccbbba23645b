// Aligned text tables: a title line, a rule, then the rows, columns two blanks apart. Cells go
// through plain_cell, so line breaks never split a row and long values are cut to the column cap.
#pragma once

#include <cstddef>
#include <ostream>
#include <string>
#include <vector>

namespace vgx {

enum class Align { left, right };

struct Column {
  std::string title;
  Align align = Align::left;
};

class TablePrinter {
 public:
  // max_cell_width 0 leaves cells uncut.
  explicit TablePrinter(std::vector<Column> columns, std::size_t max_cell_width = 0);

  // A row with fewer cells than columns is padded with empty cells; extra cells are dropped.
  void add_row(const std::vector<std::string>& cells);
  std::size_t row_count() const { return rows_.size(); }

  // Lines carry no trailing blanks; `indent` blanks start every line.
  void print(std::ostream& out, std::size_t indent = 0) const;

 private:
  std::vector<Column> columns_;
  std::size_t max_cell_width_;
  std::vector<std::vector<std::string>> rows_;
};

}  // namespace vgx
