#include "engine_index.h"

#include <vgxbase/xbase.h>

#include <cstdlib>
#include <filesystem>

#include "index/table_indexes.h"
#include "index/verify.h"
#include "table/handles.h"

namespace vgx {
namespace {

// The production index once opened: the file named after the table.
INDEX4* production(Table& table) { return d4index(table.handle(), nullptr); }

xbase::index::TagDefinition definition_of(CODE4* c4, const TagPlan& plan) {
  xbase::index::TagDefinition def;
  def.name = plan.name;
  for (char& c : def.name) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
  def.key_expr = plan.key;
  def.filter = plan.filter;
  def.unique = plan.unique ? code4errDefaultUnique(c4, r4check) : 0;
  def.descending = plan.descending;
  def.collation = code4collatingSequence(c4, r4check) == 1 ? xbase::index::Collation::kGeneral
                                                           : xbase::index::Collation::kMachine;
  return def;
}

}  // namespace

bool open_production_index(Table& table, std::string* path) {
  DATA4* d = table.handle();
  if (production(table) == nullptr) {
    const std::filesystem::path dbf = d->table->path();
    if (i4open(d, (dbf.parent_path() / dbf.stem()).string().c_str()) == nullptr) return false;
  }
  if (path) *path = static_cast<xbase::index::IndexFile*>(production(table))->path();
  return true;
}

bool create_production_index(Table& table, const std::vector<TagPlan>& tags) {
  std::vector<TAG4INFO> info;
  for (const TagPlan& t : tags)
    info.push_back({const_cast<char*>(t.name.c_str()), const_cast<char*>(t.key.c_str()),
                    const_cast<char*>(t.filter.c_str()),
                    static_cast<int16_t>(t.unique ? r4uniqueContinue : 0),
                    static_cast<uint16_t>(t.descending ? r4descending : 0)});
  info.push_back({});
  return i4create(table.handle(), nullptr, info.data()) != nullptr;
}

std::vector<TagListing> list_tags(Table& table) {
  std::vector<TagListing> out;
  INDEX4* ix = production(table);
  if (ix == nullptr) return out;
  for (auto& tag : static_cast<xbase::index::IndexFile*>(ix)->tags()) {
    TagListing l;
    l.plan.name = tag->name();
    l.plan.key = tag->def().key_expr;
    l.plan.filter = tag->def().filter;
    l.plan.unique = tag->unique_mode() != 0;
    l.plan.descending = tag->descending();
    l.note = tag->unusable_reason();
    out.push_back(std::move(l));
  }
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
  DATA4* d = table.handle();
  if (production(table) == nullptr) {
    const std::string cdx =
        xbase::index::production_index_path(d->table->path(), code4indexExtension(d->c4));
    if (!std::filesystem::exists(cdx)) return create_production_index(table, {tag});
    if (!open_production_index(table, nullptr)) return false;
  }
  auto* file = static_cast<xbase::index::IndexFile*>(production(table));
  xbase::Status st = d->table->indexes()->add_tags(file, {definition_of(d->c4, tag)});
  if (!st) {
    d->c4->fail(st);
    return false;
  }
  return true;
}

bool reindex(Table& table) { return d4reindex(table.handle()) == 0; }

bool check_index(Table& table, std::string* file_problem, std::vector<TagCheck>* tags) {
  DATA4* d = table.handle();
  INDEX4* ix = production(table);
  if (ix == nullptr) return false;
  xbase::index::FileVerdict verdict;
  xbase::Status st = xbase::index::verify_file(
      *d->table->indexes(), *static_cast<xbase::index::IndexFile*>(ix), &verdict);
  if (!st) {
    d->c4->fail(st);
    return false;
  }
  *file_problem = verdict.problem;
  for (const auto& t : verdict.tags)
    tags->push_back({t.name, t.entries, t.depth, t.keys_checked, t.problem, t.note});
  return true;
}

}  // namespace vgx
