// The C interface's handles. CODE4 is a context: settings, the open tables,
// the error state. DATA4 is a cursor on a shared table with the FIELD4
// handles of its user fields; FIELD4 holds the buffer f4str hands out.
#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "cursor/cursor.h"
#include "util/context.h"
#include "vgxbase/xbase.h"

struct DATA4;

struct FIELD4 {
  DATA4* data = nullptr;
  size_t index = 0;  // in the table header's field list
  std::string text;  // f4str / f4dateTime result

  const xbase::table::FieldDesc& desc() const;
};

struct LockRequest {
  DATA4* data;
  enum Kind { kRecord, kFile, kAll } kind;
  int32_t rec;
};

struct CODE4 final : xbase::Context {
  int error_code = 0;
  std::string error_message;
  std::vector<std::unique_ptr<DATA4>> handles;  // in open order
  std::vector<std::shared_ptr<xbase::cursor::SharedTable>> tables;
  std::vector<LockRequest> lock_queue;

  int fail(const xbase::Status& st) override;
  using Context::fail;
  xbase::expr::RecordSource* source_named(std::string_view alias) override;

  DATA4* find_alias(std::string_view alias) const;
  int close_all();
  void forget(DATA4* d);
  // Releases locks before a new lock, as code4unlockAutoSetCB says.
  void auto_unlock(DATA4* requester);
};

struct DATA4 final : xbase::cursor::Cursor {
  DATA4(CODE4* context, std::shared_ptr<xbase::cursor::SharedTable> table, std::string alias, bool read_only);

  CODE4* const c4;
  std::vector<std::unique_ptr<FIELD4>> fields;  // user fields in order
};

// Inline: every field read and assignment passes here, several times per record.
inline const xbase::table::FieldDesc& FIELD4::desc() const { return data->header().fields[index]; }
