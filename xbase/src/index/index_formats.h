// The index formats the engine reads and writes, and the one place that
// chooses a format's file class: by the context's format when an index is
// created or named without an extension, by the file's extension when one
// is opened. A new format is a codec folder and a row in index_formats.cpp.
#pragma once

#include <memory>
#include <string>

#include "index/index_file.h"
#include "io/file.h"

namespace xbase::index {

struct IndexOptions {
  bool exclusive = false;
  bool read_only = false;
  int default_unique = r4uniqueContinue;  // mode of tags marked unique
  io::FileSystem* fs = &io::FileSystem::posix();
};

struct IndexFormat {
  int code;               // u4formatFox, u4formatClipper or u4formatDbase
  const char* extension;  // upper case, no dot
  Status (*open)(const std::string& path, const IndexOptions& options, std::unique_ptr<IndexFile>* out);
  // A new file without tags (safety refuses to replace one); rewrite()
  // writes its contents.
  Status (*create)(const std::string& path, bool safety, const IndexOptions& options,
                   std::unique_ptr<IndexFile>* out);
};

// The extension of a context format's index files, built in or not.
const char* index_extension(int format_code);
// The format of `format_code`, or null when this build has none.
const IndexFormat* index_format(int format_code);
// The same, or e4notSupported naming the format when this build has none.
Status require_index_format(int format_code, const IndexFormat** out);
// The format whose extension `path` has (case ignored), or null.
const IndexFormat* index_format_of(const std::string& path);

}  // namespace xbase::index
