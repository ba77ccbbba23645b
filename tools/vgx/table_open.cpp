#include "table_open.h"

#include "report.h"

namespace vgx {

TableFormat reading_format(uint8_t version) {
  if (is_fox_family(version)) return TableFormat::fox;
  if (version == 0x83) return TableFormat::clipper;
  if (is_dbase4_memo_family(version) || version == 0x04 || version == 0x05 || version == 0x43 ||
      version == 0x63) {
    return TableFormat::dbase;
  }
  return TableFormat::fox;
}

std::unique_ptr<OpenedTable> open_table(Engine& engine, const std::string& name, Access access) {
  auto opened = std::make_unique<OpenedTable>();
  // The engine finds the file (".DBF" added, any letter case); the tool reads the header of the
  // file it found, then opens that file with the format its version byte calls for.
  engine.set_reading();
  if (auto probe = Table::open(engine, name)) {
    opened->path = probe->file_name();
  } else {
    fail("cannot open '" + name + "': " + engine.take_error());
    return nullptr;
  }
  std::string error;
  auto prefix = read_file_prefix(opened->path, kDbfHeaderPrefix, error);
  if (!prefix) {
    fail("cannot read '" + opened->path + "': " + error);
    return nullptr;
  }
  opened->prefix = std::move(*prefix);
  const auto header = parse_dbf_header(opened->prefix.bytes);
  if (!header) {
    fail("'" + opened->path + "' is not a table: it holds only " +
         std::to_string(opened->prefix.file_size) + " bytes");
    return nullptr;
  }
  opened->header = *header;
  if (access == Access::change) engine.set_changing();
  engine.set_format(reading_format(header->version));
  opened->table = Table::open(engine, opened->path);
  if (!opened->table) {
    fail("cannot open '" + opened->path + "': " + engine.take_error());
    return nullptr;
  }
  return opened;
}

}  // namespace vgx
