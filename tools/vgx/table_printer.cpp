#include "table_printer.h"

#include <algorithm>
#include <utility>

#include "value_format.h"

namespace vgx {
namespace {

void print_line(std::ostream& out, std::size_t indent, const std::vector<Column>& columns,
                const std::vector<std::size_t>& widths, const std::vector<std::string>& cells) {
  std::string line(indent, ' ');
  for (std::size_t i = 0; i < columns.size(); ++i) {
    if (i > 0) line += "  ";
    const std::string& cell = cells[i];
    const std::size_t pad = widths[i] - std::min(widths[i], cell.size());
    if (columns[i].align == Align::right) line.append(pad, ' ');
    line += cell;
    if (columns[i].align == Align::left) line.append(pad, ' ');
  }
  while (!line.empty() && line.back() == ' ') line.pop_back();
  out << line << '\n';
}

}  // namespace

TablePrinter::TablePrinter(std::vector<Column> columns, std::size_t max_cell_width)
    : columns_(std::move(columns)), max_cell_width_(max_cell_width) {}

void TablePrinter::add_row(const std::vector<std::string>& cells) {
  std::vector<std::string> row(columns_.size());
  for (std::size_t i = 0; i < row.size() && i < cells.size(); ++i) {
    row[i] = plain_cell(cells[i], max_cell_width_);
  }
  rows_.push_back(std::move(row));
}

void TablePrinter::print(std::ostream& out, std::size_t indent) const {
  std::vector<std::size_t> widths(columns_.size());
  std::vector<std::string> titles(columns_.size());
  for (std::size_t i = 0; i < columns_.size(); ++i) {
    titles[i] = plain_cell(columns_[i].title, 0);
    widths[i] = titles[i].size();
  }
  for (const auto& row : rows_) {
    for (std::size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], row[i].size());
  }
  print_line(out, indent, columns_, widths, titles);
  std::vector<std::string> rule(columns_.size());
  for (std::size_t i = 0; i < columns_.size(); ++i) rule[i] = std::string(widths[i], '-');
  print_line(out, indent, columns_, widths, rule);
  for (const auto& row : rows_) print_line(out, indent, columns_, widths, row);
}

}  // namespace vgx
