// Field functions over the current record buffer.
#include <cstring>

#include "api/guard.h"
#include "api/handles.h"
#include "table/field_codec.h"

using xbase::Status;
using xbase::api::guarded;
using xbase::table::FieldDesc;
using xbase::table::Storage;

namespace {

const uint8_t* rec_of(const FIELD4* f) { return f->data->record.data(); }

// Field widths are mostly under 32 bytes: overlapping word moves copy them
// without a library call, which costs more than the copy at these sizes.
void copy_field_bytes(char* dst, const uint8_t* src, size_t n) {
  auto move8 = [&](size_t at) {
    uint64_t w;
    std::memcpy(&w, src + at, sizeof w);
    std::memcpy(dst + at, &w, sizeof w);
  };
  if (n >= 8 && n <= 32) {
    move8(0);
    move8(n - 8);
    if (n > 16) {
      move8(8);
      move8(n - 16);
    }
  } else {
    std::memcpy(dst, src, n);
  }
}

// Every assignment passes here: refused changes leave the buffer as it was.
bool begin_change(FIELD4* f) {
  if (f == nullptr) return false;
  return f->data->may_change();
}

void end_change(FIELD4* f, bool keep_null = false) {
  const FieldDesc& fd = f->desc();
  if (!keep_null && fd.null_bit >= 0)
    xbase::table::set_null_bit(f->data->header(), fd.null_bit, f->data->record.data(), false);
  f->data->changed = true;
}

// Loads the memo of the current record unless a value is already known.
const std::string* memo_value(FIELD4* f) {
  DATA4* d = f->data;
  Status st = d->load_memo(f->index);
  if (!st) {
    d->c4->fail(st);
    return nullptr;
  }
  return &d->memo(f->index).value;
}

void assign_memo(FIELD4* f, const char* text, size_t len) {
  f->data->assign_memo(f->index, std::string_view(text ? text : "", text ? len : 0));
  end_change(f);
}

}  // namespace

extern "C" {

const char* f4name(FIELD4* f) { return f ? f->desc().name.c_str() : nullptr; }
int f4type(FIELD4* f) { return f ? static_cast<int>(static_cast<unsigned char>(f->desc().type)) : int(e4parm); }
int f4len(FIELD4* f) { return f ? static_cast<int>(f->desc().len) : e4parm; }
int f4decimals(FIELD4* f) { return f ? int(f->desc().dec) : int(e4parm); }

const char* f4str(FIELD4* f) {
  if (f == nullptr) return nullptr;
  const FieldDesc& fd = f->desc();
  copy_field_bytes(f->text.data(), rec_of(f) + fd.offset, fd.len);
  f->text[fd.len] = '\0';
  return f->text.data();
}

int32_t f4long(FIELD4* f) { return f ? xbase::table::field_long(f->desc(), rec_of(f)) : 0; }
double f4double(FIELD4* f) { return f ? xbase::table::field_double(f->desc(), rec_of(f)) : 0.0; }
int f4true(FIELD4* f) { return f ? (xbase::table::field_true(f->desc(), rec_of(f)) ? 1 : 0) : e4parm; }

const char* f4dateTime(FIELD4* f) {
  if (f == nullptr) return nullptr;
  if (f->text.size() < 17) f->text.resize(17);
  xbase::table::field_datetime(f->desc(), rec_of(f), f->text.data());
  f->text[16] = '\0';
  return f->text.data();
}

int f4null(FIELD4* f) {
  if (f == nullptr) return e4parm;
  return xbase::table::null_bit(f->data->header(), f->desc().null_bit, rec_of(f)) ? 1 : 0;
}

uint32_t f4memoLen(FIELD4* f) {
  if (f == nullptr) return 0;
  const FieldDesc& fd = f->desc();
  if (!fd.is_memo()) return xbase::table::field_data_len(f->data->header(), fd, rec_of(f));
  return guarded<uint32_t>(f->data->c4, 0u, [&] {
    const std::string* v = memo_value(f);
    return v ? static_cast<uint32_t>(v->size()) : 0u;
  });
}

const char* f4memoStr(FIELD4* f) {
  if (f == nullptr) return nullptr;
  if (!f->desc().is_memo()) {
    const char* s = f4str(f);
    f->text[xbase::table::field_data_len(f->data->header(), f->desc(), rec_of(f))] = '\0';
    return s;
  }
  return guarded<const char*>(f->data->c4, "", [&] {
    const std::string* v = memo_value(f);
    return v ? v->c_str() : "";
  });
}

void f4assignN(FIELD4* f, const char* text, unsigned len) {
  if (!begin_change(f)) return;
  if (text == nullptr) len = 0;
  if (f->desc().is_memo()) {
    guarded<int>(f->data->c4, 0, [&] {
      assign_memo(f, text, len);
      return 0;
    });
    return;
  }
  xbase::table::store_text(f->data->header(), f->desc(), f->data->record.data(), text ? text : "", len);
  end_change(f);
}

void f4assign(FIELD4* f, const char* text) {
  f4assignN(f, text, text ? static_cast<unsigned>(std::strlen(text)) : 0u);
}

void f4assignLong(FIELD4* f, int32_t value) {
  if (!begin_change(f)) return;
  xbase::table::store_long(f->data->header(), f->desc(), f->data->record.data(), value);
  end_change(f);
}

void f4assignDouble(FIELD4* f, double value) {
  if (!begin_change(f)) return;
  xbase::table::store_double(f->data->header(), f->desc(), f->data->record.data(), value);
  end_change(f);
}

void f4assignDateTime(FIELD4* f, const char* text) {
  if (!begin_change(f)) return;
  size_t len = text ? strnlen(text, 16) : 0;
  xbase::table::store_datetime(f->desc(), f->data->record.data(), text ? text : "", len);
  end_change(f);
}

void f4assignNull(FIELD4* f) {
  if (f == nullptr) return;
  const FieldDesc& fd = f->desc();
  if (fd.null_bit < 0) {
    f->data->c4->fail(e4parm, "field " + fd.name + " cannot hold null");
    return;
  }
  if (!begin_change(f)) return;
  xbase::table::set_null_bit(f->data->header(), fd.null_bit, f->data->record.data(), true);
  // FoxPro also sets a null variable-length field's length bit.
  xbase::table::set_null_bit(f->data->header(), fd.varlen_bit, f->data->record.data(), true);
  end_change(f, true);
}

void f4assignField(FIELD4* to, const FIELD4* from) {
  if (to == nullptr || from == nullptr) return;
  auto* src = const_cast<FIELD4*>(from);
  const FieldDesc& a = to->desc();
  const FieldDesc& b = from->desc();
  if (f4null(src) == 1 && a.null_bit >= 0) {
    f4assignNull(to);
    return;
  }
  if (a.is_memo() || b.is_memo()) {
    const char* s = f4memoStr(src);
    f4assignN(to, s, f4memoLen(src));
    return;
  }
  const bool numeric_to = a.storage != Storage::kText && a.storage != Storage::kRaw &&
                          a.storage != Storage::kDate && a.storage != Storage::kLogical;
  const bool numeric_from = b.storage != Storage::kText && b.storage != Storage::kRaw &&
                            b.storage != Storage::kDate && b.storage != Storage::kLogical;
  if (a.storage == b.storage && a.len == b.len && a.dec == b.dec) {
    if (!begin_change(to)) return;
    std::memcpy(to->data->record.data() + a.offset, rec_of(from) + b.offset, a.len);
    if (a.varlen_bit >= 0) {
      bool v = xbase::table::null_bit(from->data->header(), b.varlen_bit, rec_of(from));
      xbase::table::set_null_bit(to->data->header(), a.varlen_bit, to->data->record.data(), v);
    }
    end_change(to);
  } else if (numeric_to && (numeric_from || b.storage == Storage::kText)) {
    f4assignDouble(to, f4double(src));
  } else if ((a.storage == Storage::kDateTime || a.storage == Storage::kTimestamp7) ||
             (b.storage == Storage::kDateTime || b.storage == Storage::kTimestamp7)) {
    f4assignDateTime(to, f4dateTime(src));
  } else if (a.storage == Storage::kText && numeric_from) {
    // A number into text: its digits, without the padding.
    const char* s = f4str(src);
    size_t len = std::strlen(s);
    size_t i = 0;
    while (i < len && s[i] == ' ') ++i;
    if (b.storage == Storage::kNumber) {
      f4assignN(to, s + i, static_cast<unsigned>(len - i));
    } else {
      char tmp[32];
      xbase::table::format_number(f4double(src), 20, b.dec, tmp);
      size_t s0 = 0;
      while (s0 < 20 && tmp[s0] == ' ') ++s0;
      f4assignN(to, tmp + s0, static_cast<unsigned>(20 - s0));
    }
  } else {
    f4assignN(to, f4str(src), xbase::table::field_data_len(from->data->header(), b, rec_of(from)));
  }
}

int f4memoAssignN(FIELD4* f, const char* text, unsigned len) {
  if (f == nullptr) return e4parm;
  if (f == nullptr) return e4parm;
  if (int rc = f->data->check_change(); rc != 0) return rc;
  if (!f->desc().is_memo()) {
    xbase::table::store_text(f->data->header(), f->desc(), f->data->record.data(), text ? text : "",
                             text ? len : 0);
    end_change(f);
    return 0;
  }
  return guarded<int>(f->data->c4, e4memory, [&] {
    assign_memo(f, text, len);
    return 0;
  });
}

int f4memoAssign(FIELD4* f, const char* text) {
  return f4memoAssignN(f, text, text ? static_cast<unsigned>(strnlen(text, 1u << 30)) : 0u);
}

}  // extern "C"
