#include "index/index_file.h"

#include <strings.h>

#include <algorithm>

namespace xbase::index {

Tag* IndexFile::find_tag(std::string_view name) const {
  std::string n(name);
  while (!n.empty() && n.back() == ' ') n.pop_back();
  for (const auto& t : tags_)
    if (strcasecmp(t->name().c_str(), n.c_str()) == 0) return t.get();
  return nullptr;
}

void IndexFile::drop_tag(Tag* tag) {
  tags_.erase(
      std::remove_if(tags_.begin(), tags_.end(), [tag](const auto& t) { return t.get() == tag; }),
      tags_.end());
}

}  // namespace xbase::index
