/*
 * vgxbase: an xBase engine (dBASE, FoxPro and Clipper tables, memo files
 * and indexes) behind a C interface.
 *
 * Conventions: text arguments are NUL-terminated bytes in the table's own
 * character set; handles are opaque; functions that can fail return an int
 * result code or a null handle and store a negative error code in the
 * context (read it with code4errorCode). Record numbers are 1-based and
 * signed 32-bit. Context setters return the previous value; passing r4check
 * only reads it.
 */
#ifndef VGXBASE_XBASE_H
#define VGXBASE_XBASE_H

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#if defined(__GNUC__)
#define VGX_API __attribute__((visibility("default")))
#else
#define VGX_API
#endif

typedef struct CODE4 CODE4;
typedef struct DATA4 DATA4;
typedef struct FIELD4 FIELD4;
typedef struct INDEX4 INDEX4;
typedef struct TAG4 TAG4;
typedef struct EXPR4 EXPR4;

/* Result codes. */
enum {
  r4success = 0,
  r4bof = 1,
  r4after = 2,
  r4eof = 3,
  r4descending = 10,
  r4unique = 20,
  r4uniqueContinue = 25,
  r4locked = 50,
  r4null = 190,
  r4check = -5
};

/* Error codes: stored in the context, and returned where a function
 * returns an int. */
enum {
  e4close = -10,
  e4create = -20,
  e4open = -30,
  e4read = -40,
  e4lock = -50,
  e4write = -60,
  e4memory = -70,
  e4data = -80,
  e4fieldName = -90,
  e4tagName = -100,
  e4expr = -110,
  e4type = -120,
  e4index = -130,
  e4unique = -140,
  e4access = -150,
  e4parm = -160,
  e4instance = -170,
  e4relate = -180,
  e4notSupported = -190
};

/* Build flags answered by u4switch. */
enum {
  u4desktop = 0x80,
  u4formatFox = 0x01,
  u4formatClipper = 0x02,
  u4formatDbase = 0x04
};

typedef struct FIELD4INFO {
  char *name;
  int16_t type;
  uint16_t len;
  uint16_t dec;
  uint16_t nulls; /* r4null when the field may hold null, else 0 */
} FIELD4INFO;

typedef struct TAG4INFO {
  char *name;
  char *expression;
  char *filter;
  int16_t unique;      /* 0, r4unique or r4uniqueContinue */
  uint16_t descending; /* 0 or r4descending */
} TAG4INFO;

/* Build and helpers. */
VGX_API long u4switch(void);
VGX_API void u4freeDefault(void *p);
VGX_API long c4atol(const char *text, int len);
VGX_API const char *error4text(CODE4 *c4, int code);

/* Context. */
VGX_API CODE4 *code4initP(void);
VGX_API int code4initUndo(CODE4 *c4);
VGX_API int code4close(CODE4 *c4);
VGX_API int code4connect(CODE4 *c4, const char *server, const char *process,
                         const char *user, const char *password,
                         const char *protocol);
VGX_API DATA4 *code4data(CODE4 *c4, const char *alias);
VGX_API int code4indexFormat(CODE4 *c4, int format);
VGX_API const char *code4indexExtension(CODE4 *c4);
VGX_API int code4accessMode(CODE4 *c4, int mode);
VGX_API int code4readOnly(CODE4 *c4, int flag);
VGX_API int code4errDefaultUnique(CODE4 *c4, int mode);
VGX_API int code4autoOpen(CODE4 *c4, int flag);
VGX_API int code4safety(CODE4 *c4, int flag);
VGX_API int code4lockAttempts(CODE4 *c4, int attempts);
VGX_API int code4lockAttemptsSingle(CODE4 *c4, int attempts);
VGX_API int code4lockDelay(CODE4 *c4, int milliseconds);
VGX_API int code4lockEnforce(CODE4 *c4, int flag);
VGX_API int code4unlockAutoSetCB(CODE4 *c4, int mode);
VGX_API int code4singleOpen(CODE4 *c4, int flag);
VGX_API int code4compatibility(CODE4 *c4, int level);
VGX_API int code4codePage(CODE4 *c4, int mark);
VGX_API int code4collatingSequence(CODE4 *c4, int sequence);
VGX_API int code4errOff(CODE4 *c4, int flag);
VGX_API int code4errFieldName(CODE4 *c4, int flag);
VGX_API int code4errTagName(CODE4 *c4, int flag);
VGX_API int code4optimize(CODE4 *c4, int mode);
VGX_API int code4optimizeWrite(CODE4 *c4, int mode);
VGX_API int code4dateFormatSet(CODE4 *c4, const char *picture);
VGX_API int code4errorCode(CODE4 *c4, int code);
VGX_API int code4lock(CODE4 *c4);

/* Tables. */
VGX_API DATA4 *d4open(CODE4 *c4, const char *name);
VGX_API DATA4 *d4openClone(DATA4 *d4);
VGX_API int d4close(DATA4 *d4);
VGX_API DATA4 *d4create(CODE4 *c4, const char *name, const FIELD4INFO *fields,
                        const TAG4INFO *tags);
VGX_API const char *d4alias(DATA4 *d4);
VGX_API void d4aliasSet(DATA4 *d4, const char *alias);
VGX_API INDEX4 *d4index(DATA4 *d4, const char *name);
VGX_API TAG4 *d4tagSelected(DATA4 *d4);
VGX_API int d4tagSelectP(DATA4 *d4, TAG4 *tag);
VGX_API int d4tagSync(DATA4 *d4, TAG4 *tag);
VGX_API int d4top(DATA4 *d4);
VGX_API int d4bottom(DATA4 *d4);
VGX_API int d4skip(DATA4 *d4, int32_t n);
VGX_API int d4go(DATA4 *d4, int32_t rec);
VGX_API int d4goEof(DATA4 *d4);
VGX_API int d4bof(DATA4 *d4);
VGX_API int d4eof(DATA4 *d4);
VGX_API int32_t d4recNoLow(DATA4 *d4);
VGX_API int32_t d4recCount(DATA4 *d4);
VGX_API int32_t d4recCountDo(DATA4 *d4);
VGX_API int d4seek(DATA4 *d4, const char *key);
VGX_API int d4seekN(DATA4 *d4, const char *key, int len);
VGX_API int d4seekNext(DATA4 *d4, const char *key);
VGX_API int d4seekNextN(DATA4 *d4, const char *key, int len);
VGX_API int d4deleted(DATA4 *d4);
VGX_API int d4delete(DATA4 *d4);
VGX_API int d4recall(DATA4 *d4);
VGX_API int d4appendBlank(DATA4 *d4);
VGX_API int d4appendStart(DATA4 *d4, int memo);
VGX_API int d4append(DATA4 *d4);
VGX_API int d4blank(DATA4 *d4);
VGX_API int d4changed(DATA4 *d4, int flag);
VGX_API int d4refreshRecord(DATA4 *d4);
VGX_API int d4refresh(DATA4 *d4);
VGX_API int d4write(DATA4 *d4, int32_t rec);
VGX_API int d4flush(DATA4 *d4);
VGX_API int d4lock(DATA4 *d4, int32_t rec);
VGX_API int d4lockFile(DATA4 *d4);
VGX_API int d4unlock(DATA4 *d4);
VGX_API int d4lockAdd(DATA4 *d4, int32_t rec);
VGX_API int d4lockAddFile(DATA4 *d4);
VGX_API int d4lockAddAll(DATA4 *d4);
VGX_API FIELD4 *d4field(DATA4 *d4, const char *name);
VGX_API FIELD4 *d4fieldJ(DATA4 *d4, int j);
VGX_API int d4fieldNumber(DATA4 *d4, const char *name);
VGX_API int d4numFields(DATA4 *d4);
VGX_API FIELD4INFO *d4fieldInfo(DATA4 *d4);
VGX_API char *d4recordLow(DATA4 *d4);
VGX_API int d4pack(DATA4 *d4);
VGX_API int d4zap(DATA4 *d4, int32_t first, int32_t last);
VGX_API int d4memoCompress(DATA4 *d4);
VGX_API int d4reindex(DATA4 *d4);

/* Index files and tags. An INDEX4 belongs to the table it was opened on
 * and is kept up to date by every handle of that table; a TAG4 may be
 * selected on any clone of that table. */
VGX_API INDEX4 *i4open(DATA4 *d4, const char *name);
VGX_API INDEX4 *i4create(DATA4 *d4, const char *name, const TAG4INFO *tags);
VGX_API int i4close(INDEX4 *i4);
VGX_API TAG4INFO *i4tagInfo(INDEX4 *i4);
VGX_API TAG4 *i4tag(INDEX4 *i4, const char *name);
VGX_API const char *t4alias(TAG4 *t4);
VGX_API int t4unique(TAG4 *t4);
VGX_API int t4uniqueSet(TAG4 *t4, int mode);

/* Fields. */
VGX_API const char *f4name(FIELD4 *f4);
VGX_API int f4type(FIELD4 *f4);
VGX_API int f4len(FIELD4 *f4);
VGX_API int f4decimals(FIELD4 *f4);
VGX_API const char *f4str(FIELD4 *f4);
VGX_API int32_t f4long(FIELD4 *f4);
VGX_API double f4double(FIELD4 *f4);
VGX_API int f4true(FIELD4 *f4);
VGX_API const char *f4dateTime(FIELD4 *f4);
VGX_API int f4null(FIELD4 *f4);
VGX_API uint32_t f4memoLen(FIELD4 *f4);
VGX_API const char *f4memoStr(FIELD4 *f4);
VGX_API void f4assign(FIELD4 *f4, const char *text);
VGX_API void f4assignN(FIELD4 *f4, const char *text, unsigned len);
VGX_API void f4assignLong(FIELD4 *f4, int32_t value);
VGX_API void f4assignDouble(FIELD4 *f4, double value);
VGX_API void f4assignDateTime(FIELD4 *f4, const char *ccyymmddhhmmss);
VGX_API void f4assignNull(FIELD4 *f4);
VGX_API void f4assignField(FIELD4 *to, const FIELD4 *from);
VGX_API int f4memoAssign(FIELD4 *f4, const char *text);
VGX_API int f4memoAssignN(FIELD4 *f4, const char *text, unsigned len);

/* Expressions: parsed once against a table, evaluated on its current
 * record (and on the current records of the tables named as ALIAS->FIELD).
 * An expression must not be evaluated once a table it names is closed;
 * freeing it stays safe. */
VGX_API EXPR4 *expr4parse(DATA4 *d4, const char *text);
VGX_API void expr4free(EXPR4 *e4);
VGX_API int expr4type(EXPR4 *e4);
VGX_API int expr4len(EXPR4 *e4);
VGX_API const char *expr4str(EXPR4 *e4);
VGX_API double expr4double(EXPR4 *e4);
VGX_API int expr4true(EXPR4 *e4);

/* Dates: day numbers count from 1 January 4713 BC (Julian) = 0. */
VGX_API void date4init(char *result, const char *value, const char *picture);
VGX_API int date4year(const char *ccyymmdd);
VGX_API int date4month(const char *ccyymmdd);
VGX_API int date4day(const char *ccyymmdd);
VGX_API int32_t date4long(const char *ccyymmdd);
VGX_API void date4assign(char *result, int32_t day);
VGX_API void date4format(const char *ccyymmdd, char *result,
                         const char *picture);

/* This engine's own extensions, beyond the common interface: the files
 * behind open handles, tags added to an open index file, and the index
 * verifier. Same conventions as above. */

/* The path of the open table's file, as found on disk (its real letter
 * case); valid while the table is open. Null for a null handle. */
VGX_API const char *d4fileName(DATA4 *d4);
/* The path of the table's open memo file; "" when it has none open (none
 * needed, missing, or refused as damaged). Valid while the table is open. */
VGX_API const char *d4memoFileName(DATA4 *d4);
/* The path of the index file, as found on disk; valid while it is open. */
VGX_API const char *i4fileName(INDEX4 *i4);
/* Adds tags (an array ended by an entry with a null name) to an open index
 * file and builds them; the file's other tags keep their definitions. 0, or
 * a negative error code (the file unchanged when a definition is refused). */
VGX_API int i4tagAdd(INDEX4 *i4, const TAG4INFO *tags);
/* Why the engine cannot keep the tag up to date (its keys cannot be made
 * here, so changes to its table are refused; it still reads); "" when it
 * can. Valid while the index file is open. */
VGX_API const char *t4unusableReason(TAG4 *t4);

typedef struct TAG4CHECK {
  char *name;          /* upper case */
  uint64_t entries;    /* in the tag's tree */
  uint64_t leaves;     /* leaf pages */
  uint64_t interiors;  /* interior pages */
  int32_t depth;       /* levels; 0 when the tree was not walked */
  int32_t keysChecked; /* 1 when the entries were compared with the records */
  char *problem;       /* what is wrong with the tag; "" when it is right */
  char *note;          /* what could not be checked; "" when nothing */
} TAG4CHECK;

typedef struct INDEX4CHECK {
  char *problem;   /* the file's own structure (tag directory, headers); ""
                      when it is right */
  int32_t numTags;
  TAG4CHECK *tags; /* numTags entries, in file order */
} INDEX4CHECK;

/* Verifies an open index file against itself and its table, tag by tag:
 * the tree's structure (entry order, interior keys, sibling links, one
 * depth for every leaf, no page reached twice), that every entry names a
 * record, and, where the engine can make the tag's keys, that the entries
 * are exactly the keys of the records its filter passes. Damage goes into
 * the report, not into the context's error. A new report in one block
 * (strings included): free it with u4freeDefault. Null on failure, when
 * the check itself could not run (a read error, a lock not granted). */
VGX_API INDEX4CHECK *i4verify(INDEX4 *i4);

#ifdef __cplusplus
}
#endif

#endif /* VGXBASE_XBASE_H */
