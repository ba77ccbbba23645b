// Nodes that read a field of the current record of one of the expression's
// tables, by the field's storage.
#pragma once

#include "expr/program.h"

namespace xbase::expr {

// Sets `n` up to read field `fd` of table `table` (an index into
// p.tables); `index` is its place in that table's header.
void bind_field(Program& p, Node& n, uint32_t table, const table::FieldDesc& fd, size_t index);

// True when `n` reads a field whose bytes expr4str shows as they are: a
// numeric text field (type 'N') or a date field (type 'D').
bool is_bare_text_field(const Program& p, const Node& n);

}  // namespace xbase::expr
