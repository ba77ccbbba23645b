// The tool's only contact with the engine: a context (owned by an engine component), one open
// table, its fields and record values. Every C call of the engine is made in engine_table.cpp,
// so moving the tool onto another layer replaces this pair of files and nothing else.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

struct CODE4;
struct DATA4;
struct FIELD4;
struct EXPR4;

namespace vg {
class TVGEngine;
}

namespace vgx {

enum class TableFormat { fox, vfp, dbase, clipper };

struct FieldDesc {
  std::string name;
  char type = 'C';
  int len = 0;
  int dec = 0;
  bool nullable = false;
};

// What the started engine uses and supports, as its component answers.
struct EngineSettings {
  std::string table_format;       // "FoxPro", "Clipper", "dBASE IV" or "unknown"
  std::string index_extension;    // "CDX", "CGP" (Clipper's group files), "MDX"
  std::string valid_field_types;  // letters in character order
  std::string memo_field_types;
  bool null_fields = false;       // tables of this format carry null flags
};

// One field value of the current record, as the tool shows it.
struct CellValue {
  std::string text;      // "" for null, blank dates and logicals, empty memos
  bool numeric = false;  // right-aligned in tables
  bool null = false;
};

// An expression's result on one record, as the engine gives it.
struct Evaluation {
  char type = 'C';    // the engine's type letter: C D L N d n T
  int length = 0;     // the result width
  std::string value;  // expr4str's text, length bytes
};

// Whether the tool shows values of this field type as numbers (right-aligned).
bool is_numeric_type(char type, int length);

class Engine {
 public:
  Engine();
  ~Engine();
  Engine(const Engine&) = delete;
  Engine& operator=(const Engine&) = delete;

  // False when the engine could not start; nothing else may be called then.
  bool ok() const { return c4_ != nullptr; }

  // Tables opened from now on are read-only and without their indexes.
  void set_reading();
  // Tables opened from now on may be changed, are opened exclusively, and without their
  // indexes (the index commands open the production index themselves).
  void set_changing();
  // Tables created from now on have this format (and its memo and index kinds).
  void set_format(TableFormat format);
  // The code page mark written into tables created from now on (0 none, 1 code page 437,
  // 3 code page 1252).
  void set_code_page_mark(int mark);

  // The pending error as "text (error -30)", cleared afterwards; called after a failure, so a
  // missing code is reported as such rather than as "".
  std::string take_error();

  EngineSettings settings() const;

  CODE4* handle() const { return c4_; }

 private:
  std::unique_ptr<vg::TVGEngine> engine_;
  CODE4* c4_ = nullptr;
};

class Table {
 public:
  // Null on failure, the reason left in the engine's error.
  static std::unique_ptr<Table> open(Engine& engine, const std::string& path);
  static std::unique_ptr<Table> create(Engine& engine, const std::string& path,
                                       const std::vector<FieldDesc>& fields);
  ~Table();
  Table(const Table&) = delete;
  Table& operator=(const Table&) = delete;

  // Through the engine's field description array.
  std::vector<FieldDesc> field_info() const;
  int field_count() const { return static_cast<int>(fields_.size()); }
  // Name, type, width and decimals of field `index` (0-based), from the field handle.
  FieldDesc field_desc(int index) const;
  // 0-based field number, -1 when absent.
  int field_index(const std::string& name) const;
  int32_t record_count() const;

  // Record order walk: true while standing on a record. A false result with `failed()` set is an
  // engine error (in the engine's error), otherwise the end of the table.
  bool first();
  bool next();
  bool failed() const { return failed_; }
  bool deleted() const;
  // Stands on record `rec`; false (the reason in the engine's error) when it does not exist.
  bool go(int32_t rec);

  // A logical expression that records must pass; false when it does not parse or is not
  // logical (the reason in the engine's error).
  bool set_filter(const std::string& expression);
  // Whether the current record passes the filter (true without one).
  bool passes() const;
  // Evaluates `expression` on the current record; false when it does not parse.
  bool evaluate(const std::string& expression, Evaluation* out) const;

  // The value of field `index` (0-based) of the current record.
  CellValue cell(int index) const;
  double number(int index) const;
  std::string text(int index) const;  // trailing blanks removed

  // Appending: start, assign, then append. Assignments report failures through append().
  bool append_start();
  void assign_text(int index, const std::string& value);
  void assign_long(int index, int32_t value);
  void assign_double(int index, double value);
  void assign_memo(int index, const std::string& value);
  void mark_deleted();
  bool append();

  // Writes what is pending and closes; false on failure. The destructor closes too.
  bool close();

  // The files the engine opened, as found on disk (their real letter case): the table's, and
  // its memo file's ("" when the engine has none open: none needed, missing or refused).
  std::string file_name() const;
  std::string memo_file_name() const;

  // For the other thin engine files (engine_index.cpp).
  DATA4* handle() const { return data_; }
  CODE4* context() const { return engine_.handle(); }

 private:
  Table(Engine& engine, DATA4* data);
  bool moved(int rc);

  Engine& engine_;
  DATA4* data_;
  std::vector<FIELD4*> fields_;
  EXPR4* filter_ = nullptr;
  mutable bool failed_ = false;  // also set by a memo read that fails inside cell()
};

}  // namespace vgx
