#include "engine_index.h"

#include <vgxbase/xbase.h>

#include <filesystem>

#include "file_probe.h"

namespace vgx {
namespace {

// The production index once opened: the file named after the table.
INDEX4* production(Table& table) { return d4index(table.handle(), nullptr); }

// TAG4INFO entries for the plans (ended by an all-null entry); they point into `plans`.
std::vector<TAG4INFO> tag_info(const std::vector<TagPlan>& plans, int unique_mode) {
  std::vector<TAG4INFO> info;
  for (const TagPlan& t : plans)
    info.push_back({const_cast<char*>(t.name.c_str()), const_cast<char*>(t.key.c_str()),
                    const_cast<char*>(t.filter.c_str()),
                    static_cast<int16_t>(t.unique ? unique_mode : 0),
                    static_cast<uint16_t>(t.descending ? r4descending : 0)});
  info.push_back({});
  return info;
}

std::string text_of(const char* text) { return text != nullptr ? text : ""; }

}  // namespace

bool open_production_index(Table& table, std::string* path) {
  if (production(table) == nullptr) {
    const std::filesystem::path dbf = table.file_name();
    if (i4open(table.handle(), (dbf.parent_path() / dbf.stem()).string().c_str()) == nullptr)
      return false;
  }
  if (path) *path = text_of(i4fileName(production(table)));
  return true;
}

bool create_production_index(Table& table, const std::vector<TagPlan>& tags) {
  return i4create(table.handle(), nullptr, tag_info(tags, r4uniqueContinue).data()) != nullptr;
}

std::vector<TagListing> list_tags(Table& table) {
  std::vector<TagListing> out;
  INDEX4* ix = production(table);
  TAG4INFO* info = ix ? i4tagInfo(ix) : nullptr;
  if (info == nullptr) return out;
  for (const TAG4INFO* t = info; t->name != nullptr; ++t) {
    TagListing l;
    l.plan = {t->name, text_of(t->expression), text_of(t->filter), t->unique != 0,
              t->descending != 0};
    l.note = text_of(t4unusableReason(i4tag(ix, t->name)));
    out.push_back(std::move(l));
  }
  u4freeDefault(info);
  return out;
}

bool select_tag(Table& table, const std::string& name) {
  INDEX4* ix = production(table);
  if (ix == nullptr) return false;
  TAG4* tag = i4tag(ix, name.c_str());
  return tag != nullptr && d4tagSelectP(table.handle(), tag) == 0;
}

int seek(Table& table, const std::string& key) {
  return d4seekN(table.handle(), key.data(), static_cast<int>(key.size()));
}

bool add_tag(Table& table, const TagPlan& tag) {
  CODE4* c4 = table.context();
  if (production(table) == nullptr) {
    // Looked for as the engine looks: beside the table, in any letter case.
    if (!find_sibling_file(table.file_name(), code4indexExtension(c4)))
      return create_production_index(table, {tag});
    if (!open_production_index(table, nullptr)) return false;
  }
  const std::vector<TagPlan> plans{tag};
  const auto info = tag_info(plans, code4errDefaultUnique(c4, r4check));
  return i4tagAdd(production(table), info.data()) == 0;
}

bool reindex(Table& table) { return d4reindex(table.handle()) == 0; }

bool check_index(Table& table, std::string* file_problem, std::vector<TagCheck>* tags) {
  INDEX4* ix = production(table);
  INDEX4CHECK* report = ix ? i4verify(ix) : nullptr;
  if (report == nullptr) return false;
  *file_problem = report->problem;
  for (int32_t k = 0; k < report->numTags; ++k) {
    const TAG4CHECK& t = report->tags[k];
    tags->push_back({t.name, t.entries, t.depth, t.keysChecked != 0, t.problem, t.note});
  }
  u4freeDefault(report);
  return true;
}

}  // namespace vgx
