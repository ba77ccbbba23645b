#include "table/dbf_header.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <ctime>

#include "io/endian.h"
#include "util/damage.h"
#include "vgxbase/xbase.h"

namespace xbase::table {

namespace {

constexpr size_t kLevel5Header = 32;
constexpr size_t kLevel5Desc = 32;
constexpr size_t kLevel7Header = 68;
constexpr size_t kLevel7Desc = 48;

constexpr std::string_view kHeader = "damaged table header";

bool family_of(uint8_t version, Family* family, int* level) {
  *level = 5;
  switch (version) {
    case 0x02: case 0xFB: case 0xF5: *family = Family::kFox2; return true;
    case 0x03: case 0x83: *family = Family::kDbase3; return true;
    case 0x05: case 0x43: case 0x63: case 0x7B: case 0x8B: case 0x8E: case 0xCB:
      *family = Family::kDbase4; return true;
    case 0x04: case 0x8C: *family = Family::kDbase7; *level = 7; return true;
    case 0x30: case 0x31: case 0x32: *family = Family::kVfp; return true;
    default: return false;
  }
}

// Fixed widths of the binary storages; a descriptor that disagrees is
// kept as raw bytes rather than misread.
uint32_t fixed_width(Storage s) {
  switch (s) {
    case Storage::kInt32: case Storage::kLong7: case Storage::kMemoBinary: return 4;
    case Storage::kDouble: case Storage::kCurrency: case Storage::kDateTime:
    case Storage::kDouble7: case Storage::kTimestamp7: return 8;
    default: return 0;
  }
}

Storage storage_for(char type, uint32_t len, Family family) {
  const bool vfp = family == Family::kVfp;
  switch (type) {
    case 'C': case 'V': return Storage::kText;
    case 'N': case 'F': return Storage::kNumber;
    // Some writers make D fields wider; the date is in the first eight bytes.
    case 'D': return len >= 8 ? Storage::kDate : Storage::kRaw;
    case 'L': return Storage::kLogical;
    case 'M': case 'G': case 'P': case 'W':
      return len == 4 && vfp ? Storage::kMemoBinary : Storage::kMemoText;
    case 'B': return vfp ? Storage::kDouble : Storage::kMemoText;
    case 'I': return family == Family::kDbase7 ? Storage::kLong7 : Storage::kInt32;
    case '+': return Storage::kLong7;
    case 'Y': return Storage::kCurrency;
    case 'T': return Storage::kDateTime;
    case 'O': return Storage::kDouble7;
    case '@': return Storage::kTimestamp7;
    case '0': return Storage::kNullFlags;
    default: return Storage::kRaw;
  }
}

void settle_storage(FieldDesc& f, Family family) {
  f.storage = storage_for(f.type, f.len, family);
  uint32_t w = fixed_width(f.storage);
  if (w != 0 && w != f.len) f.storage = Storage::kRaw;
  if (f.storage == Storage::kMemoText && (f.len < 4 || f.len > 10)) f.storage = Storage::kRaw;
  // A field of width 0 holds no byte, not even the one a logical reads; it
  // may sit just past the record's last byte. (Null flags are checked
  // against the bits they must hold.)
  if (f.len == 0 && f.storage != Storage::kNullFlags) f.storage = Storage::kRaw;
}

// Assigns null and varlength bits in field order (FoxPro rules).
Status assign_null_bits(TableHeader* h) {
  if (h->family != Family::kVfp) return Status::ok();
  int bit = 0;
  for (FieldDesc& f : h->fields) {
    if (f.storage == Storage::kNullFlags) continue;
    if (f.type == 'V' || f.type == 'Q') f.varlen_bit = bit++;
    if (f.flags & kFieldNullable) f.null_bit = bit++;
  }
  if (bit == 0) return Status::ok();
  if (h->null_flags_field < 0) {
    // Nullable or variable-length fields without the flags field: treat
    // them as plain fields, as a reader without null support would.
    for (FieldDesc& f : h->fields) f.null_bit = f.varlen_bit = -1;
    return Status::ok();
  }
  if (uint32_t(bit) > h->fields[size_t(h->null_flags_field)].len * 8)
    return damaged(kHeader, "the null-flags field is too short for its fields");
  return Status::ok();
}

std::string field_name(const uint8_t* p, size_t max) {
  size_t n = 0;
  while (n < max && p[n] != 0) ++n;
  std::string name(reinterpret_cast<const char*>(p), n);
  while (!name.empty() && name.back() == ' ') name.pop_back();
  for (char& c : name) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  return name;
}

}  // namespace

bool FieldDesc::is_binary() const {
  switch (storage) {
    case Storage::kText: case Storage::kNumber: case Storage::kDate: case Storage::kLogical:
    case Storage::kMemoText:
      return false;
    case Storage::kRaw: return type == 'Q';
    default: return true;
  }
}

uint16_t header_length_of(const uint8_t* data, size_t size) {
  return size < 32 ? 0 : io::load_u16le(data + 8);
}

Status parse_header(const uint8_t* data, size_t size, uint64_t file_size, TableHeader* out) {
  TableHeader h;
  if (size < kLevel5Header) return Status(e4open, "not a table: the file is shorter than a header");
  h.version = data[0];
  if (!family_of(h.version, &h.family, &h.level))
    return Status(e4open, "not a table of a known kind (version byte " + std::to_string(h.version) + ")");
  h.update_yy = data[1];
  h.update_mm = data[2];
  h.update_dd = data[3];
  h.record_count = io::load_u32le(data + 4);
  h.header_len = io::load_u16le(data + 8);
  h.record_len = io::load_u16le(data + 10);
  h.table_flags = data[28];
  h.code_page = data[29];
  const size_t first = h.level == 7 ? kLevel7Header : kLevel5Header;
  const size_t slot = h.level == 7 ? kLevel7Desc : kLevel5Desc;
  if (h.header_len < first + 1)
    return damaged(kHeader, "header length " + std::to_string(h.header_len) + " is too small");
  if (size < h.header_len) return damaged(kHeader, "the file ends inside its header");
  if (h.record_len < 1) return damaged(kHeader, "record length 0 leaves no room for the deletion flag");

  std::vector<uint8_t> byte17;  // raw decimals bytes, for the Clipper long-C rule
  for (size_t pos = first; pos + slot <= h.header_len; pos += slot) {
    const uint8_t* d = data + pos;
    if (d[0] == kTerminator || d[0] == 0) break;
    FieldDesc f;
    if (h.level == 7) {
      f.name = field_name(d, 32);
      f.type = static_cast<char>(d[32]);
      f.len = d[33];
      f.dec = d[34];
      f.autoinc_next = io::load_u32le(d + 40);
      byte17.push_back(0);
    } else {
      f.name = field_name(d, 11);
      f.type = static_cast<char>(d[11]);
      f.offset = io::load_u32le(d + 12);
      f.len = d[16];
      f.dec = d[17];
      byte17.push_back(d[17]);
      if (h.family == Family::kVfp) {
        f.flags = d[18];
        f.autoinc_next = io::load_u32le(d + 19);
        f.autoinc_step = d[23];
      }
    }
    if (f.name.empty()) return damaged(kHeader, "field " + std::to_string(h.fields.size() + 1) + " has no name");
    if (f.type < 0x20 || f.type > 0x7E) return damaged(kHeader, "field " + f.name + " has an unreadable type");
    h.fields.push_back(std::move(f));
  }
  // A table without fields, and fields of width 0, exist in the wild: they
  // hold nothing, and reading them costs nothing.

  // Clipper stores long character widths with the decimals byte as the high
  // byte; take that reading only when it makes the fields fill the record.
  uint64_t sum = 1;
  for (const FieldDesc& f : h.fields) sum += f.len;
  if (sum != h.record_len && h.level == 5) {
    // A high byte that would make its field longer than the record is
    // garbage, not a length, even when another field's is a length.
    auto wide_len = [&](size_t i) -> uint32_t {
      uint32_t w = h.fields[i].len + 256u * byte17[i];
      return h.fields[i].type == 'C' && w < h.record_len ? w : h.fields[i].len;
    };
    uint64_t wide = 1;
    for (size_t i = 0; i < h.fields.size(); ++i) wide += wide_len(i);
    if (wide == h.record_len) {
      for (size_t i = 0; i < h.fields.size(); ++i)
        if (wide_len(i) != h.fields[i].len) {
          h.fields[i].len = wide_len(i);
          h.fields[i].dec = 0;
        }
      sum = wide;
    }
  }
  // Some writers store a record length that the fields overrun while the
  // records in the file have the fields' length: the file's size decides.
  if (sum > h.record_len && sum <= 65535 && file_size > h.header_len && h.record_count > 0) {
    uint64_t body = file_size - h.header_len;
    if (body == uint64_t(h.record_count) * sum || body == uint64_t(h.record_count) * sum + 1)
      h.record_len = static_cast<uint16_t>(sum);
  }

  // Offsets: FoxPro stores each field's displacement; trust it only when
  // every one lies inside the record.
  bool displacements = h.family == Family::kVfp;
  for (const FieldDesc& f : h.fields)
    if (f.offset < 1 || uint64_t(f.offset) + f.len > h.record_len) displacements = false;
  uint32_t at = 1;
  for (FieldDesc& f : h.fields) {
    if (!displacements) f.offset = at;
    at += f.len;
    if (uint64_t(f.offset) + f.len > h.record_len)
      return damaged(kHeader, "field " + f.name + " runs past the record length " + std::to_string(h.record_len));
  }

  for (size_t i = 0; i < h.fields.size(); ++i) {
    FieldDesc& f = h.fields[i];
    settle_storage(f, h.family);
    if (f.storage == Storage::kNullFlags) {
      if (h.null_flags_field >= 0 || h.family != Family::kVfp) {
        f.storage = Storage::kRaw;  // a second or foreign one: plain bytes
      } else {
        h.null_flags_field = static_cast<int>(i);
      }
    }
    if (f.is_memo()) h.needs_memo = true;
  }
  XB_TRY(assign_null_bits(&h));
  h.raw.assign(data, data + h.header_len);
  *out = std::move(h);
  return Status::ok();
}

memo::MemoKind memo_kind_for(const TableHeader& header) {
  switch (header.family) {
    case Family::kFox2: case Family::kVfp: return memo::MemoKind::kFpt;
    case Family::kDbase4: case Family::kDbase7: return memo::MemoKind::kDbt4;
    case Family::kDbase3: break;
  }
  return memo::MemoKind::kDbt3;
}

uint8_t version_byte_for(Family family, bool has_memo, bool has_autoinc, bool has_varlen) {
  switch (family) {
    case Family::kVfp: return has_varlen ? 0x32 : has_autoinc ? 0x31 : 0x30;
    case Family::kFox2: return has_memo ? 0xF5 : 0x03;
    case Family::kDbase4: return has_memo ? 0x8B : 0x03;
    case Family::kDbase7: return has_memo ? 0x8C : 0x04;
    case Family::kDbase3: break;
  }
  return has_memo ? 0x83 : 0x03;
}

namespace {

Status bad_field(const FieldDesc& f, const std::string& what) {
  return Status(e4parm, "field " + (f.name.empty() ? std::string("(no name)") : f.name) + ": " + what);
}

bool type_allowed(char type, Family family) {
  const std::string common = "CNDLM";
  switch (family) {
    case Family::kVfp: return std::string("CNFDLMGBIYTVQWP").find(type) != std::string::npos;
    case Family::kFox2: return std::string("CNFDLMGP").find(type) != std::string::npos;
    case Family::kDbase4: return std::string("CNFDLMGB").find(type) != std::string::npos;
    case Family::kDbase3: return common.find(type) != std::string::npos;
    case Family::kDbase7: return false;
  }
  return false;
}

// Width a created field takes, from its type (fixed) or its declaration.
Status settle_width(FieldDesc& f, Family family) {
  const bool vfp = family == Family::kVfp;
  switch (f.type) {
    case 'D': f.len = 8; f.dec = 0; break;
    case 'L': f.len = 1; f.dec = 0; break;
    case 'M': case 'G': case 'P': case 'W': f.len = vfp ? 4 : 10; f.dec = 0; break;
    case 'B': f.len = vfp ? 8 : 10; if (!vfp) f.dec = 0; break;
    case 'I': f.len = 4; f.dec = 0; break;
    case 'Y': case 'T': f.len = 8; f.dec = f.type == 'Y' ? 4 : 0; break;
    case 'N': case 'F':
      if (f.len < 1 || f.len > 20) return bad_field(f, "numeric width must be 1 to 20");
      if (f.dec > 0 && (f.dec > 18 || f.dec + 2u > f.len)) return bad_field(f, "too many decimals for the width");
      break;
    case 'C': {
      uint32_t max = family == Family::kDbase3 ? 65535 : 254;
      if (f.len < 1 || f.len > max) return bad_field(f, "character width out of range");
      f.dec = 0;
      break;
    }
    case 'V': case 'Q':
      if (f.len < 1 || f.len > 254) return bad_field(f, "width must be 1 to 254");
      f.dec = 0;
      break;
    default: break;
  }
  return Status::ok();
}

}  // namespace

Status build_header(const std::vector<FieldDesc>& user_fields, const CreateOptions& options,
                    TableHeader* out) {
  TableHeader h;
  h.family = options.family;
  h.level = 5;
  h.code_page = options.code_page;
  if (user_fields.empty()) return Status(e4parm, "a table needs at least one field");
  if (user_fields.size() > 255) return Status(e4parm, "a table holds at most 255 fields");
  bool has_memo = false, has_autoinc = false, has_varlen = false, has_nullable = false;
  uint32_t at = 1;
  for (const FieldDesc& in : user_fields) {
    FieldDesc f = in;
    for (char& c : f.name) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    f.type = static_cast<char>(std::toupper(static_cast<unsigned char>(f.type)));
    if (f.name.empty() || f.name.size() > 10) return bad_field(f, "names have 1 to 10 characters");
    if (std::isdigit(static_cast<unsigned char>(f.name[0])))
      return bad_field(f, "a name cannot start with a digit");
    for (char c : f.name)
      if (!std::isalnum(static_cast<unsigned char>(c)) && c != '_') return bad_field(f, "bad character in name");
    for (const FieldDesc& g : h.fields)
      if (g.name == f.name) return bad_field(f, "the name is used twice");
    if (!type_allowed(f.type, h.family))
      return bad_field(f, std::string("type ") + f.type + " is not available in this table format");
    XB_TRY(settle_width(f, h.family));
    if (h.family != Family::kVfp) f.flags = 0;
    f.flags &= kFieldNullable | kFieldBinary | kFieldAutoinc;
    if (f.flags & kFieldAutoinc) {
      if (f.type != 'I') return bad_field(f, "only integer fields count automatically");
      f.flags |= kFieldBinary;
      if (f.autoinc_step == 0) f.autoinc_step = 1;
      if (f.autoinc_next == 0) f.autoinc_next = 1;
      has_autoinc = true;
    }
    f.offset = at;
    at += f.len;
    settle_storage(f, h.family);
    has_memo |= f.is_memo();
    has_varlen |= f.type == 'V' || f.type == 'Q';
    has_nullable |= (f.flags & kFieldNullable) != 0;
    h.fields.push_back(std::move(f));
  }
  if (has_nullable || has_varlen) {
    int bits = 0;
    for (const FieldDesc& f : h.fields) bits += ((f.flags & kFieldNullable) ? 1 : 0) + (f.type == 'V' || f.type == 'Q');
    FieldDesc nf;
    nf.name = "_NullFlags";
    nf.type = '0';
    nf.len = static_cast<uint32_t>((bits + 7) / 8);
    nf.flags = kFieldSystem | kFieldBinary;
    nf.offset = at;
    nf.storage = Storage::kNullFlags;
    at += nf.len;
    h.null_flags_field = static_cast<int>(h.fields.size());
    h.fields.push_back(std::move(nf));
  }
  if (at > 65535) return Status(e4parm, "the record would be longer than 65535 bytes");
  XB_TRY(assign_null_bits(&h));
  h.record_len = static_cast<uint16_t>(at);
  h.needs_memo = has_memo;
  h.version = version_byte_for(h.family, has_memo, has_autoinc, has_varlen);
  if (h.family == Family::kVfp && has_memo) h.table_flags |= kTableHasMemo;

  size_t len = kLevel5Header + kLevel5Desc * h.fields.size() + 1;
  if (options.clipper_terminator) len += 1;
  if (h.family == Family::kVfp) len += kVfpBacklinkSize;
  h.header_len = static_cast<uint16_t>(len);
  h.raw.assign(len, 0);
  uint8_t* p = h.raw.data();
  p[0] = h.version;
  io::store_u16le(p + 8, h.header_len);
  io::store_u16le(p + 10, h.record_len);
  p[28] = h.table_flags;
  p[29] = h.code_page;
  for (size_t i = 0; i < h.fields.size(); ++i) {
    const FieldDesc& f = h.fields[i];
    uint8_t* d = p + kLevel5Header + kLevel5Desc * i;
    std::memcpy(d, f.name.data(), std::min<size_t>(f.name.size(), 10));
    d[11] = static_cast<uint8_t>(f.type);
    if (h.family == Family::kVfp || h.family == Family::kFox2) io::store_u32le(d + 12, f.offset);
    if (f.type == 'C' && f.len > 255) {
      d[16] = static_cast<uint8_t>(f.len & 0xFF);
      d[17] = static_cast<uint8_t>(f.len >> 8);
    } else {
      d[16] = static_cast<uint8_t>(f.len);
      d[17] = f.dec;
    }
    if (h.family == Family::kVfp) {
      d[18] = f.flags;
      if (f.flags & kFieldAutoinc) {
        io::store_u32le(d + 19, f.autoinc_next);
        d[23] = f.autoinc_step;
      }
    }
  }
  p[kLevel5Header + kLevel5Desc * h.fields.size()] = kTerminator;
  stamp_today(&h);
  *out = std::move(h);
  return Status::ok();
}

void stamp_today(TableHeader* h) {
  std::time_t now = std::time(nullptr);
  std::tm tm{};
  localtime_r(&now, &tm);
  h->update_yy = static_cast<uint8_t>(tm.tm_year);  // years since 1900
  h->update_mm = static_cast<uint8_t>(tm.tm_mon + 1);
  h->update_dd = static_cast<uint8_t>(tm.tm_mday);
  if (h->raw.size() >= 8) {
    h->raw[1] = h->update_yy;
    h->raw[2] = h->update_mm;
    h->raw[3] = h->update_dd;
  }
}

void encode_count_and_date(const TableHeader& h, uint8_t out[7]) {
  out[0] = h.update_yy;
  out[1] = h.update_mm;
  out[2] = h.update_dd;
  io::store_u32le(out + 3, h.record_count);
}

}  // namespace xbase::table
