// Fixed English texts for the result and error codes of the C interface.
#include "vgxbase/xbase.h"

const char* error4text(CODE4* /*c4*/, int code) {
  switch (code) {
    case r4success: return "Success";
    case r4bof: return "Beginning of file";
    case r4after: return "Key not found, positioned after it";
    case r4eof: return "End of file";
    case r4unique: return "Duplicate key refused by a unique tag";
    case r4uniqueContinue: return "Duplicate key left out of a unique tag";
    case r4locked: return "Record or file is locked";
    case r4check: return "Setting read without change";
    case e4close: return "File could not be closed";
    case e4create: return "File could not be created";
    case e4open: return "File could not be opened";
    case e4read: return "File could not be read";
    case e4lock: return "Change requires a lock";
    case e4write: return "File could not be written";
    case e4memory: return "Out of memory";
    case e4data: return "File data is damaged or inconsistent";
    case e4fieldName: return "Unknown field name";
    case e4tagName: return "Unknown tag name";
    case e4expr: return "Expression could not be parsed";
    case e4type: return "Wrong value type";
    case e4index: return "Index operation failed";
    case e4unique: return "Unique key violation";
    case e4access: return "File is in use or read-only";
    case e4parm: return "Invalid argument";
    case e4instance: return "Table is already open";
    case e4relate: return "Relation could not be built or run";
    case e4notSupported: return "Not supported by this build";
    default: return nullptr;
  }
}
