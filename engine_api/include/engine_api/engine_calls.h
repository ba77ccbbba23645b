// The one door between the components and the engine's C functions.
//
// Components never call a C function of the engine directly: they call
// calls().name(...) with the same name and arguments. The table in use forwards to the
// engine unless a test has installed another one in its place: a recorder of the calls that
// pass (call_recorder.h), or a stand-in that answers as another engine build would.
#pragma once

#include <cstdint>

#include "vgxbase/xbase.h"

namespace vg::engine_api {

// A text argument that comes with its length (it need not end in NUL), as a call log shows it.
struct CountedText {
  const char* text;
  long len;
};
inline CountedText counted_text(const char* text, long len) { return {text, len}; }

// Every C function the components may call, one line each:
//   X(result type, name, (parameters), (arguments), (arguments as a call log shows them))
// A new engine function becomes usable by adding its line here.
#define VG_ENGINE_CALLS(X) \
  X(long, u4switch, (), (), ()) \
  X(void, u4freeDefault, (void* p), (p), (p)) \
  X(long, c4atol, (const char* text, int len), (text, len), (counted_text(text, len), len)) \
  X(const char*, error4text, (CODE4* c4, int code), (c4, code), (c4, code)) \
  X(CODE4*, code4initP, (), (), ()) \
  X(int, code4initUndo, (CODE4* c4), (c4), (c4)) \
  X(int, code4close, (CODE4* c4), (c4), (c4)) \
  X(int, code4connect, (CODE4* c4, const char* server, const char* process, const char* user, \
                        const char* password, const char* protocol), \
    (c4, server, process, user, password, protocol), \
    (c4, server, process, user, password, protocol)) \
  X(DATA4*, code4data, (CODE4* c4, const char* alias), (c4, alias), (c4, alias)) \
  X(int, code4indexFormat, (CODE4* c4, int format), (c4, format), (c4, format)) \
  X(const char*, code4indexExtension, (CODE4* c4), (c4), (c4)) \
  X(int, code4accessMode, (CODE4* c4, int mode), (c4, mode), (c4, mode)) \
  X(int, code4readOnly, (CODE4* c4, int flag), (c4, flag), (c4, flag)) \
  X(int, code4errDefaultUnique, (CODE4* c4, int mode), (c4, mode), (c4, mode)) \
  X(int, code4autoOpen, (CODE4* c4, int flag), (c4, flag), (c4, flag)) \
  X(int, code4safety, (CODE4* c4, int flag), (c4, flag), (c4, flag)) \
  X(int, code4lockAttempts, (CODE4* c4, int attempts), (c4, attempts), (c4, attempts)) \
  X(int, code4lockAttemptsSingle, (CODE4* c4, int attempts), (c4, attempts), (c4, attempts)) \
  X(int, code4lockDelay, (CODE4* c4, int milliseconds), (c4, milliseconds), (c4, milliseconds)) \
  X(int, code4lockEnforce, (CODE4* c4, int flag), (c4, flag), (c4, flag)) \
  X(int, code4unlockAutoSetCB, (CODE4* c4, int mode), (c4, mode), (c4, mode)) \
  X(int, code4singleOpen, (CODE4* c4, int flag), (c4, flag), (c4, flag)) \
  X(int, code4compatibility, (CODE4* c4, int level), (c4, level), (c4, level)) \
  X(int, code4codePage, (CODE4* c4, int mark), (c4, mark), (c4, mark)) \
  X(int, code4collatingSequence, (CODE4* c4, int sequence), (c4, sequence), (c4, sequence)) \
  X(int, code4errOff, (CODE4* c4, int flag), (c4, flag), (c4, flag)) \
  X(int, code4errFieldName, (CODE4* c4, int flag), (c4, flag), (c4, flag)) \
  X(int, code4errTagName, (CODE4* c4, int flag), (c4, flag), (c4, flag)) \
  X(int, code4optimize, (CODE4* c4, int mode), (c4, mode), (c4, mode)) \
  X(int, code4optimizeWrite, (CODE4* c4, int mode), (c4, mode), (c4, mode)) \
  X(int, code4dateFormatSet, (CODE4* c4, const char* picture), (c4, picture), (c4, picture)) \
  X(int, code4errorCode, (CODE4* c4, int code), (c4, code), (c4, code)) \
  X(int, code4lock, (CODE4* c4), (c4), (c4)) \
  X(DATA4*, d4open, (CODE4* c4, const char* name), (c4, name), (c4, name)) \
  X(DATA4*, d4openClone, (DATA4* d4), (d4), (d4)) \
  X(int, d4close, (DATA4* d4), (d4), (d4)) \
  X(DATA4*, d4create, \
    (CODE4* c4, const char* name, const FIELD4INFO* fields, const TAG4INFO* tags), \
    (c4, name, fields, tags), (c4, name, fields, tags)) \
  X(const char*, d4alias, (DATA4* d4), (d4), (d4)) \
  X(void, d4aliasSet, (DATA4* d4, const char* alias), (d4, alias), (d4, alias)) \
  X(INDEX4*, d4index, (DATA4* d4, const char* name), (d4, name), (d4, name)) \
  X(TAG4*, d4tagSelected, (DATA4* d4), (d4), (d4)) \
  X(int, d4tagSelectP, (DATA4* d4, TAG4* tag), (d4, tag), (d4, tag)) \
  X(int, d4tagSync, (DATA4* d4, TAG4* tag), (d4, tag), (d4, tag)) \
  X(int, d4top, (DATA4* d4), (d4), (d4)) \
  X(int, d4bottom, (DATA4* d4), (d4), (d4)) \
  X(int, d4skip, (DATA4* d4, int32_t n), (d4, n), (d4, n)) \
  X(int, d4go, (DATA4* d4, int32_t rec), (d4, rec), (d4, rec)) \
  X(int, d4goEof, (DATA4* d4), (d4), (d4)) \
  X(int, d4bof, (DATA4* d4), (d4), (d4)) \
  X(int, d4eof, (DATA4* d4), (d4), (d4)) \
  X(int32_t, d4recNoLow, (DATA4* d4), (d4), (d4)) \
  X(int32_t, d4recCount, (DATA4* d4), (d4), (d4)) \
  X(int32_t, d4recCountDo, (DATA4* d4), (d4), (d4)) \
  X(int, d4seek, (DATA4* d4, const char* key), (d4, key), (d4, key)) \
  X(int, d4seekN, (DATA4* d4, const char* key, int len), \
    (d4, key, len), (d4, counted_text(key, len), len)) \
  X(int, d4seekNext, (DATA4* d4, const char* key), (d4, key), (d4, key)) \
  X(int, d4seekNextN, (DATA4* d4, const char* key, int len), \
    (d4, key, len), (d4, counted_text(key, len), len)) \
  X(int, d4deleted, (DATA4* d4), (d4), (d4)) \
  X(int, d4delete, (DATA4* d4), (d4), (d4)) \
  X(int, d4recall, (DATA4* d4), (d4), (d4)) \
  X(int, d4appendBlank, (DATA4* d4), (d4), (d4)) \
  X(int, d4appendStart, (DATA4* d4, int memo), (d4, memo), (d4, memo)) \
  X(int, d4append, (DATA4* d4), (d4), (d4)) \
  X(int, d4blank, (DATA4* d4), (d4), (d4)) \
  X(int, d4changed, (DATA4* d4, int flag), (d4, flag), (d4, flag)) \
  X(int, d4refreshRecord, (DATA4* d4), (d4), (d4)) \
  X(int, d4refresh, (DATA4* d4), (d4), (d4)) \
  X(int, d4write, (DATA4* d4, int32_t rec), (d4, rec), (d4, rec)) \
  X(int, d4flush, (DATA4* d4), (d4), (d4)) \
  X(int, d4lock, (DATA4* d4, int32_t rec), (d4, rec), (d4, rec)) \
  X(int, d4lockFile, (DATA4* d4), (d4), (d4)) \
  X(int, d4unlock, (DATA4* d4), (d4), (d4)) \
  X(int, d4lockAdd, (DATA4* d4, int32_t rec), (d4, rec), (d4, rec)) \
  X(int, d4lockAddFile, (DATA4* d4), (d4), (d4)) \
  X(int, d4lockAddAll, (DATA4* d4), (d4), (d4)) \
  X(FIELD4*, d4field, (DATA4* d4, const char* name), (d4, name), (d4, name)) \
  X(FIELD4*, d4fieldJ, (DATA4* d4, int j), (d4, j), (d4, j)) \
  X(int, d4fieldNumber, (DATA4* d4, const char* name), (d4, name), (d4, name)) \
  X(int, d4numFields, (DATA4* d4), (d4), (d4)) \
  X(FIELD4INFO*, d4fieldInfo, (DATA4* d4), (d4), (d4)) \
  X(char*, d4recordLow, (DATA4* d4), (d4), (d4)) \
  X(int, d4pack, (DATA4* d4), (d4), (d4)) \
  X(int, d4zap, (DATA4* d4, int32_t first, int32_t last), (d4, first, last), (d4, first, last)) \
  X(int, d4memoCompress, (DATA4* d4), (d4), (d4)) \
  X(int, d4reindex, (DATA4* d4), (d4), (d4)) \
  X(const char*, f4name, (FIELD4* f4), (f4), (f4)) \
  X(int, f4type, (FIELD4* f4), (f4), (f4)) \
  X(int, f4len, (FIELD4* f4), (f4), (f4)) \
  X(int, f4decimals, (FIELD4* f4), (f4), (f4)) \
  X(const char*, f4str, (FIELD4* f4), (f4), (f4)) \
  X(int32_t, f4long, (FIELD4* f4), (f4), (f4)) \
  X(double, f4double, (FIELD4* f4), (f4), (f4)) \
  X(int, f4true, (FIELD4* f4), (f4), (f4)) \
  X(const char*, f4dateTime, (FIELD4* f4), (f4), (f4)) \
  X(int, f4null, (FIELD4* f4), (f4), (f4)) \
  X(uint32_t, f4memoLen, (FIELD4* f4), (f4), (f4)) \
  X(const char*, f4memoStr, (FIELD4* f4), (f4), (f4)) \
  X(void, f4assign, (FIELD4* f4, const char* text), (f4, text), (f4, text)) \
  X(void, f4assignN, (FIELD4* f4, const char* text, unsigned len), \
    (f4, text, len), (f4, counted_text(text, len), len)) \
  X(void, f4assignLong, (FIELD4* f4, int32_t value), (f4, value), (f4, value)) \
  X(void, f4assignDouble, (FIELD4* f4, double value), (f4, value), (f4, value)) \
  X(void, f4assignDateTime, (FIELD4* f4, const char* ccyymmddhhmmss), \
    (f4, ccyymmddhhmmss), (f4, ccyymmddhhmmss)) \
  X(void, f4assignNull, (FIELD4* f4), (f4), (f4)) \
  X(void, f4assignField, (FIELD4* to, const FIELD4* from), (to, from), (to, from)) \
  X(int, f4memoAssign, (FIELD4* f4, const char* text), (f4, text), (f4, text)) \
  X(int, f4memoAssignN, (FIELD4* f4, const char* text, unsigned len), \
    (f4, text, len), (f4, counted_text(text, len), len)) \
  X(void, date4init, (char* result, const char* value, const char* picture), \
    (result, value, picture), (result, value, picture)) \
  X(int, date4year, (const char* ccyymmdd), (ccyymmdd), (ccyymmdd)) \
  X(int, date4month, (const char* ccyymmdd), (ccyymmdd), (ccyymmdd)) \
  X(int, date4day, (const char* ccyymmdd), (ccyymmdd), (ccyymmdd)) \
  X(int32_t, date4long, (const char* ccyymmdd), (ccyymmdd), (ccyymmdd)) \
  X(void, date4assign, (char* result, int32_t day), (result, day), (result, day)) \
  X(void, date4format, (const char* ccyymmdd, char* result, const char* picture), \
    (ccyymmdd, result, picture), (ccyymmdd, result, picture))

// The table of engine calls. Each function of the base forwards to the engine's C function of
// the same name; a stand-in overrides the ones it answers differently.
class EngineCalls {
 public:
  EngineCalls() = default;
  EngineCalls(const EngineCalls&) = delete;
  EngineCalls& operator=(const EngineCalls&) = delete;
  virtual ~EngineCalls() = default;

#define VG_ENGINE_CALL_FORWARD(result, name, params, args, logged) \
  virtual result name params { return ::name args; }
  VG_ENGINE_CALLS(VG_ENGINE_CALL_FORWARD)
#undef VG_ENGINE_CALL_FORWARD
};

// The table that reaches the engine itself.
inline EngineCalls& engine_calls() {
  static EngineCalls real;
  return real;
}

namespace detail {
inline EngineCalls*& installed_calls() {
  static EngineCalls* installed = nullptr;
  return installed;
}
}  // namespace detail

// The table the components call through: the engine's own unless another is installed.
inline EngineCalls& calls() {
  EngineCalls* installed = detail::installed_calls();
  return installed != nullptr ? *installed : engine_calls();
}

// Puts `table` in place of the current table for its lifetime; the previous one comes back
// when it goes. Scopes nest.
class ScopedEngineCalls {
 public:
  explicit ScopedEngineCalls(EngineCalls& table) : previous_(detail::installed_calls()) {
    detail::installed_calls() = &table;
  }
  ~ScopedEngineCalls() { detail::installed_calls() = previous_; }
  ScopedEngineCalls(const ScopedEngineCalls&) = delete;
  ScopedEngineCalls& operator=(const ScopedEngineCalls&) = delete;

 private:
  EngineCalls* previous_;
};

}  // namespace vg::engine_api
