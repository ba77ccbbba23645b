// Reading and writing one field's value inside a record image, by the
// field's storage. Nothing here allocates: values travel as numbers or as
// bytes copied into caller buffers, so scans and appends stay cheap.
#pragma once

#include <cstddef>
#include <cstdint>

#include "table/dbf_header.h"
#include "table/number_text.h"

namespace xbase::table {

double field_double(const FieldDesc& f, const uint8_t* rec);
int32_t field_long(const FieldDesc& f, const uint8_t* rec);
bool field_true(const FieldDesc& f, const uint8_t* rec);
// Sixteen characters "CCYYMMDDhh:mm:ss" (blanks for an empty value).
void field_datetime(const FieldDesc& f, const uint8_t* rec, char* out);
uint32_t field_memo_block(const FieldDesc& f, const uint8_t* rec);
// Length of a variable-length field's data (the whole width otherwise).
uint32_t field_data_len(const TableHeader& h, const FieldDesc& f, const uint8_t* rec);

bool null_bit(const TableHeader& h, int bit, const uint8_t* rec);
void set_null_bit(const TableHeader& h, int bit, uint8_t* rec, bool on);

void blank_field(const FieldDesc& f, uint8_t* rec);
void blank_record(const TableHeader& h, uint8_t* rec);

// Text as the user gives it: character fields padded with blanks (binary
// ones with zero bytes) or cut; numeric text right-aligned; binary numeric
// storages parse the text; date-times read "CCYYMMDDhh:mm:ss".
void store_text(const TableHeader& h, const FieldDesc& f, uint8_t* rec, const char* text, size_t len);
void store_double(const TableHeader& h, const FieldDesc& f, uint8_t* rec, double value);
void store_long(const TableHeader& h, const FieldDesc& f, uint8_t* rec, int32_t value);
void store_datetime(const FieldDesc& f, uint8_t* rec, const char* text, size_t len);
void store_memo_block(const FieldDesc& f, uint8_t* rec, uint32_t block);

}  // namespace xbase::table
