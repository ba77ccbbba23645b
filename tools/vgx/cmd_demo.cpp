// vgx demo: writes a small customer and order database with the engine, then shows a newcomer
// what the other commands print for it. All output is the same on every run.
#include <cmath>
#include <iostream>
#include <map>
#include <optional>

#include "commands.h"
#include "demo_data.h"
#include "demo_folder.h"
#include "engine_index.h"
#include "report.h"
#include "table_open.h"
#include "value_format.h"

namespace vgx {
namespace {

constexpr int kCustomerCount = 300;
constexpr int kOrderCount = 900;
constexpr std::size_t kShownCustomers = 10;
constexpr std::size_t kShownCities = 5;
constexpr std::size_t kDemoCellWidth = 28;
constexpr const char* kDefaultFolder = "vgx-demo";
constexpr const char* kCustomerFile = "CUSTOMER.DBF";
constexpr const char* kOrderFile = "ORDERS.DBF";

struct DemoFormat {
  TableFormat format;
  const char* label;
  int code_page_mark;
};

std::optional<DemoFormat> parse_format(const std::string& name) {
  if (name == "fox") return DemoFormat{TableFormat::fox, "FoxPro 2.x", 3};
  if (name == "vfp") return DemoFormat{TableFormat::vfp, "Visual FoxPro", 3};
  if (name == "dbase") return DemoFormat{TableFormat::dbase, "dBASE IV", 0};
  if (name == "clipper") return DemoFormat{TableFormat::clipper, "Clipper", 0};
  return std::nullopt;
}

// Field positions as created below.
enum CustomerField { kId, kName, kCity, kBirth, kActive, kBalance, kNotes, kVisits, kCredit };
enum OrderField { kOrderNo, kCustId, kOrdered, kAmount, kShipped, kRemarks };

std::vector<FieldDesc> customer_fields(TableFormat format) {
  const bool vfp = format == TableFormat::vfp;
  std::vector<FieldDesc> fields = {
      {"ID", 'N', 6, 0, false},     {"NAME", 'C', 30, 0, false},
      {"CITY", 'C', 20, 0, false},  {"BIRTH", 'D', 8, 0, false},
      {"ACTIVE", 'L', 1, 0, false}, {"BALANCE", 'N', 12, 2, false},
      {"NOTES", 'M', vfp ? 4 : 10, 0, false}};
  if (vfp) {
    fields.push_back({"VISITS", 'I', 4, 0, false});
    fields.push_back({"CREDIT", 'Y', 8, 4, false});
  }
  return fields;
}

std::vector<FieldDesc> order_fields(TableFormat format) {
  return {{"ORDER_NO", 'N', 8, 0, false}, {"CUST_ID", 'N', 6, 0, false},
          {"ORDERED", 'D', 8, 0, false},  {"AMOUNT", 'N', 10, 2, false},
          {"SHIPPED", 'L', 1, 0, false},
          {"REMARKS", 'M', format == TableFormat::vfp ? 4 : 10, 0, false}};
}

// The FoxPro formats get production indexes: what applications seek by.
bool indexed(TableFormat format) { return format == TableFormat::fox || format == TableFormat::vfp; }

std::vector<TagPlan> customer_tags() {
  return {{"ID", "ID", "", true, false},
          {"NAME", "UPPER(NAME)", "", false, false},
          {"CITY", "UPPER(CITY)+UPPER(NAME)", "", false, false},
          {"YOUNGEST", "DTOS(BIRTH)", "ACTIVE", false, true}};
}

std::vector<TagPlan> order_tags() {
  return {{"ORDER_NO", "ORDER_NO", "", true, false},
          {"CUST_ID", "STR(CUST_ID,6)+DTOS(ORDERED)", "", false, false},
          {"OPEN", "DTOS(ORDERED)", ".NOT. SHIPPED .AND. .NOT. DELETED()", false, false}};
}

double money(int64_t cents) { return static_cast<double>(cents) / 100.0; }

std::string money_text(int64_t cents) {
  const int64_t rest = cents % 100;
  return group_thousands(cents / 100) + (rest < 10 ? ".0" : ".") + std::to_string(rest);
}

std::string quoted_if_needed(const std::string& path) {
  return path.find(' ') == std::string::npos ? path : "'" + path + "'";
}

// Creates the table, lets `fill` assign one record's fields per call, and closes it.
template <typename Row, typename Fill>
bool write_table(Engine& engine, const std::string& path, const std::vector<FieldDesc>& fields,
                 const std::vector<Row>& rows, Fill fill) {
  auto table = Table::create(engine, path, fields);
  if (!table) {
    fail("cannot create '" + path + "': " + engine.take_error());
    return false;
  }
  for (std::size_t i = 0; i < rows.size(); ++i) {
    if (!table->append_start()) {
      fail("cannot append to '" + path + "': " + engine.take_error());
      return false;
    }
    fill(*table, rows[i]);
    if (!table->append()) {
      fail("writing record " + std::to_string(i + 1) + " of '" + path +
           "' failed: " + engine.take_error());
      return false;
    }
  }
  if (!table->close()) {
    fail("closing '" + path + "' failed: " + engine.take_error());
    return false;
  }
  return true;
}

bool write_customers(Engine& engine, const std::string& path, TableFormat format) {
  const bool vfp = format == TableFormat::vfp;
  return write_table(engine, path, customer_fields(format), make_demo_customers(kCustomerCount),
                     [vfp](Table& t, const DemoCustomer& c) {
                       t.assign_long(kId, c.id);
                       t.assign_text(kName, c.name);
                       t.assign_text(kCity, c.city);
                       t.assign_text(kBirth, c.birth);
                       t.assign_text(kActive, c.active ? "T" : "F");
                       t.assign_double(kBalance, money(c.balance_cents));
                       if (!c.notes.empty()) t.assign_memo(kNotes, c.notes);
                       if (vfp) {
                         t.assign_long(kVisits, c.visits);
                         t.assign_double(kCredit, money(c.credit_cents));
                       }
                     });
}

bool write_orders(Engine& engine, const std::string& path, TableFormat format) {
  return write_table(engine, path, order_fields(format),
                     make_demo_orders(kOrderCount, kCustomerCount),
                     [](Table& t, const DemoOrder& o) {
                       t.assign_long(kOrderNo, o.order_no);
                       t.assign_long(kCustId, o.cust_id);
                       t.assign_text(kOrdered, o.ordered);
                       t.assign_double(kAmount, money(o.amount_cents));
                       t.assign_text(kShipped, o.shipped ? "T" : "F");
                       if (!o.remarks.empty()) t.assign_memo(kRemarks, o.remarks);
                       if (o.cancelled) t.mark_deleted();
                     });
}

struct Summary {
  std::map<std::string, int> customers_per_city;
  int customers = 0;
  int active = 0;
  int orders = 0;
  int deleted_orders = 0;
  int shipped = 0;
  int64_t total_cents = 0;
};

// Walks both tables in record order, the way any program would read them with the engine.
bool compute_summary(const std::string& customers, const std::string& orders, Summary& sum) {
  Engine engine;
  {
    const auto opened = open_for_reading(engine, customers);
    if (!opened) return false;
    Table& t = *opened->table;
    const int city = t.field_index("CITY");
    const int active = t.field_index("ACTIVE");
    for (bool on = t.first(); on; on = t.next()) {
      if (t.deleted()) continue;
      ++sum.customers;
      ++sum.customers_per_city[t.text(city)];
      if (t.cell(active).text == "T") ++sum.active;
    }
    if (t.failed()) {
      fail("reading '" + customers + "' failed: " + engine.take_error());
      return false;
    }
  }
  const auto opened = open_for_reading(engine, orders);
  if (!opened) return false;
  Table& t = *opened->table;
  const int amount = t.field_index("AMOUNT");
  const int shipped = t.field_index("SHIPPED");
  for (bool on = t.first(); on; on = t.next()) {
    if (t.deleted()) {
      ++sum.deleted_orders;
      continue;
    }
    ++sum.orders;
    sum.total_cents += std::llround(t.number(amount) * 100.0);
    if (t.cell(shipped).text == "T") ++sum.shipped;
  }
  if (t.failed()) {
    fail("reading '" + orders + "' failed: " + engine.take_error());
    return false;
  }
  return true;
}

void print_summary(const Summary& sum, std::ostream& out) {
  out << "Summary, computed by walking the tables through the engine\n";
  out << "  Customers per city (the first " << kShownCities << " cities by name):\n";
  std::size_t shown = 0;
  for (const auto& [city, count] : sum.customers_per_city) {
    if (shown++ == kShownCities) break;
    std::string label = city + ":";
    label.resize(std::max<std::size_t>(label.size(), 16), ' ');
    out << "    " << label << count << '\n';
  }
  out << "  Active customers: " << sum.active << " of " << sum.customers << '\n';
  out << "  Orders: " << sum.orders << ", " << sum.shipped << " shipped, total amount "
      << money_text(sum.total_cents) << "\n";
  out << "  Cancelled orders kept as deleted records: " << sum.deleted_orders << "\n\n";
}

std::string spaced_letters(const std::string& letters) {
  std::string text;
  for (char c : letters) {
    if (!text.empty()) text += ' ';
    text += c;
  }
  return text;
}

void print_engine_settings(const EngineSettings& settings, std::ostream& out) {
  out << "Engine settings, as the engine component that wrote the tables answers them\n";
  out << "  Table format:       " << settings.table_format << '\n';
  out << "  Index extension:    " << settings.index_extension << '\n';
  out << "  Valid field types:  " << spaced_letters(settings.valid_field_types) << '\n';
  out << "  Memo field types:   " << spaced_letters(settings.memo_field_types) << '\n';
  out << "  Null flags:         " << (settings.null_fields ? "yes" : "no") << "\n\n";
}

void print_files(const std::filesystem::path& folder, std::ostream& out) {
  const std::vector<FileEntry> files = list_demo_files(folder);
  std::size_t name_width = 0;
  std::size_t size_width = 0;
  for (const auto& file : files) {
    name_width = std::max(name_width, file.name.size());
    size_width = std::max(size_width, group_thousands(static_cast<long long>(file.size)).size());
  }
  out << "Files\n";
  for (const auto& file : files) {
    const std::string size = group_thousands(static_cast<long long>(file.size));
    out << "  " << file.name << std::string(name_width - file.name.size() + 2, ' ')
        << std::string(size_width - size.size(), ' ') << size << " bytes\n";
  }
  out << '\n';
}

void print_hints(const std::string& customers, const std::string& orders, TableFormat format,
                 std::ostream& out) {
  const bool dbase = format == TableFormat::dbase;
  const std::string other = dbase ? "clipper" : "dbase";
  const std::vector<std::pair<std::string, std::string>> hints = {
      {"vgx info " + quoted_if_needed(orders), "describe a table: format, fields, memo file"},
      {"vgx dump " + quoted_if_needed(orders), "every record as an aligned table"},
      {"vgx dump --csv " + quoted_if_needed(customers), "every record as CSV, for a spreadsheet"},
      {"vgx dump --deleted " + quoted_if_needed(orders), "deleted records too, marked with *"},
      {"vgx dump " + quoted_if_needed(orders) + " --tag OPEN", "open orders, oldest first (FoxPro formats)"},
      {"vgx check " + quoted_if_needed(customers), "verify the index against the table (FoxPro formats)"},
      {"vgx demo --format " + other + " --dir demo-" + other,
       dbase ? "the same data as Clipper tables" : "the same data as dBASE IV tables"},
  };
  std::size_t width = 0;
  for (const auto& hint : hints) width = std::max(width, hint.first.size());
  out << "Try next\n";
  for (const auto& [command, what] : hints) {
    out << "  " << command << std::string(width - command.size() + 2, ' ') << what << '\n';
  }
}

}  // namespace

int run_demo(const std::vector<std::string>& args) {
  std::string format_name = "fox";
  std::string folder_name = kDefaultFolder;
  for (std::size_t i = 0; i < args.size(); ++i) {
    const std::string& arg = args[i];
    const bool has_value = i + 1 < args.size();
    if ((arg == "--format" || arg == "--dir") && !has_value) {
      return usage_error("demo: " + arg + " needs a value");
    }
    if (arg == "--format") {
      format_name = args[++i];
    } else if (arg == "--dir") {
      folder_name = args[++i];
    } else {
      return usage_error("demo: unknown argument '" + arg + "'");
    }
  }
  const auto format = parse_format(format_name);
  if (!format) {
    return usage_error("demo: unknown format '" + format_name +
                       "' (use fox, vfp, dbase or clipper)");
  }
  if (folder_name.empty()) return usage_error("demo: --dir needs a folder name");

  const std::filesystem::path folder(folder_name);
  std::string error;
  if (!prepare_demo_folder(folder, error)) return fail(error);
  const std::string customers = (folder / kCustomerFile).string();
  const std::string orders = (folder / kOrderFile).string();
  EngineSettings settings;
  {
    Engine writer;
    if (!writer.ok()) return fail("the engine could not start");
    writer.set_format(format->format);
    writer.set_code_page_mark(format->code_page_mark);
    settings = writer.settings();
    if (!write_customers(writer, customers, format->format)) return kExitFailure;
    if (!write_orders(writer, orders, format->format)) return kExitFailure;
    if (indexed(format->format) && (!index_new_table(writer, customers, customer_tags()) ||
                                    !index_new_table(writer, orders, order_tags())))
      return kExitFailure;
  }

  std::ostream& out = std::cout;
  out << "vgx demo: a small " << format->label << " database in " << folder_name << "/\n\n";
  print_engine_settings(settings, out);
  print_files(folder, out);

  Engine reader;
  if (!reader.ok()) return fail("the engine could not start");
  InfoOptions info;
  info.show_update_date = false;  // the one value that changes from day to day
  for (const std::string& table : {customers, orders}) {
    out << "What 'vgx info " << quoted_if_needed(table) << "' shows\n";
    if (const int rc = print_table_info(reader, table, info, out); rc != kExitOk) return rc;
    out << '\n';
  }

  out << "The first " << kShownCustomers << " customers ('vgx dump " << quoted_if_needed(customers)
      << "' shows all " << kCustomerCount << ")\n";
  DumpOptions dump;
  dump.max_records = kShownCustomers;
  dump.max_cell_width = kDemoCellWidth;
  if (const int rc = dump_table(reader, customers, dump, out); rc != kExitOk) return rc;
  out << '\n';

  if (indexed(format->format)) {
    out << "What 'vgx tags " << quoted_if_needed(customers) << "' shows\n";
    if (const int rc = print_tags(reader, customers, out); rc != kExitOk) return rc;
    out << '\n';
    out << "The first " << kShownCustomers << " customers by name ('vgx dump "
        << quoted_if_needed(customers) << " --tag NAME')\n";
    DumpOptions by_name = dump;
    by_name.tag = "NAME";
    if (const int rc = dump_table(reader, customers, by_name, out); rc != kExitOk) return rc;
    out << '\n';
  }

  Summary sum;
  if (!compute_summary(customers, orders, sum)) return kExitFailure;
  print_summary(sum, out);
  print_hints(customers, orders, format->format, out);
  return kExitOk;
}

}  // namespace vgx
