#include "index/index_formats.h"

#include <strings.h>

#include "index/cdx/cdx_file.h"
#include "io/file.h"

namespace xbase::index {

namespace {

cdx::CdxOptions cdx_options(const IndexOptions& o) {
  cdx::CdxOptions out;
  out.exclusive = o.exclusive;
  out.read_only = o.read_only;
  out.default_unique = o.default_unique;
  out.fs = o.fs;
  return out;
}

Status open_cdx(const std::string& path, const IndexOptions& o, std::unique_ptr<IndexFile>* out) {
  std::unique_ptr<cdx::CdxFile> f;
  XB_TRY(cdx::CdxFile::open(path, cdx_options(o), &f));
  *out = std::move(f);
  return Status::ok();
}

Status create_cdx(const std::string& path, bool safety, const IndexOptions& o,
                  std::unique_ptr<IndexFile>* out) {
  std::unique_ptr<cdx::CdxFile> f;
  XB_TRY(cdx::CdxFile::create(path, safety, cdx_options(o), &f));
  *out = std::move(f);
  return Status::ok();
}

const IndexFormat kFormats[] = {
    {u4formatFox, "CDX", open_cdx, create_cdx},
};

}  // namespace

const char* index_extension(int format_code) {
  switch (format_code) {
    case u4formatClipper: return "NTX";
    case u4formatDbase: return "MDX";
    default: return "CDX";
  }
}

const IndexFormat* index_format(int format_code) {
  for (const IndexFormat& f : kFormats)
    if (f.code == format_code) return &f;
  return nullptr;
}

Status require_index_format(int format_code, const IndexFormat** out) {
  *out = index_format(format_code);
  if (*out != nullptr) return Status::ok();
  return Status(e4notSupported, std::string("index files of the ") + index_extension(format_code) +
                                    " format are not available in this engine build");
}

const IndexFormat* index_format_of(const std::string& path) {
  const std::string ext = io::path_extension(path);
  for (const IndexFormat& f : kFormats)
    if (strcasecmp(f.extension, ext.c_str()) == 0) return &f;
  return nullptr;
}

}  // namespace xbase::index
