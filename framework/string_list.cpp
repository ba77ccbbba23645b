#include "framework/string_list.h"

#include <algorithm>
#include <fstream>
#include <sstream>

#include "framework/sys_utils.h"

namespace vg {

namespace {
constexpr const char* kLineBreak = "\n";

bool is_blank_or_control(char c) { return static_cast<unsigned char>(c) <= ' '; }
}  // namespace

// --- TStrings ------------------------------------------------------------------

void TStrings::ListError(const std::string& message, int index) {
  std::string text = message;
  const size_t at = text.find("%d");
  if (at != std::string::npos) text.replace(at, 2, std::to_string(index));
  throw EStringListError(text);
}

void TStrings::SetStrings(int index, const std::string& value) {
  TObject* object = Objects(index);
  BeginUpdate();
  Delete(index);
  InsertObject(index, value, object);
  EndUpdate();
}

TObject* TStrings::Objects(int) const { return nullptr; }
void TStrings::SetObjects(int, TObject*) {}

int TStrings::Add(const std::string& value) {
  const int index = Count();
  Insert(index, value);
  return index;
}

int TStrings::AddObject(const std::string& value, TObject* object) {
  const int index = Add(value);
  SetObjects(index, object);
  return index;
}

void TStrings::AddStrings(const TStrings& strings) {
  BeginUpdate();
  const int n = strings.Count();
  for (int i = 0; i < n; ++i) AddObject(strings.Strings(i), strings.Objects(i));
  EndUpdate();
}

void TStrings::InsertObject(int index, const std::string& value, TObject* object) {
  Insert(index, value);
  SetObjects(index, object);
}

void TStrings::Exchange(int index1, int index2) {
  BeginUpdate();
  const std::string s1 = Strings(index1);
  TObject* o1 = Objects(index1);
  SetStrings(index1, Strings(index2));
  SetObjects(index1, Objects(index2));
  SetStrings(index2, s1);
  SetObjects(index2, o1);
  EndUpdate();
}

void TStrings::Move(int current_index, int new_index) {
  if (current_index == new_index) return;
  BeginUpdate();
  const std::string s = Strings(current_index);
  TObject* o = Objects(current_index);
  Delete(current_index);
  InsertObject(new_index, s, o);
  EndUpdate();
}

int TStrings::IndexOf(const std::string& value) const {
  const int n = Count();
  for (int i = 0; i < n; ++i)
    if (CompareStrings(Strings(i), value) == 0) return i;
  return -1;
}

int TStrings::IndexOfName(const std::string& name) const {
  const int n = Count();
  for (int i = 0; i < n; ++i) {
    const std::string s = Strings(i);
    const size_t at = s.find(name_value_separator_);
    if (at != std::string::npos && CompareStrings(s.substr(0, at), name) == 0) return i;
  }
  return -1;
}

int TStrings::IndexOfObject(const TObject* object) const {
  const int n = Count();
  for (int i = 0; i < n; ++i)
    if (Objects(i) == object) return i;
  return -1;
}

bool TStrings::Equals(const TStrings& other) const {
  if (Count() != other.Count()) return false;
  for (int i = 0; i < Count(); ++i)
    if (Strings(i) != other.Strings(i)) return false;
  return true;
}

std::string TStrings::Text() const {
  std::string out;
  const int n = Count();
  for (int i = 0; i < n; ++i) {
    out += Strings(i);
    out += kLineBreak;
  }
  return out;
}

void TStrings::SetText(const std::string& text) {
  BeginUpdate();
  Clear();
  size_t p = 0;
  const size_t n = text.size();
  // A NUL ends the text, as it ends the framework's character strings.
  while (p < n && text[p] != '\0') {
    const size_t start = p;
    while (p < n && text[p] != '\0' && text[p] != '\n' && text[p] != '\r') ++p;
    Add(text.substr(start, p - start));
    if (p < n && text[p] == '\r') ++p;
    if (p < n && text[p] == '\n') ++p;
  }
  EndUpdate();
}

std::string TStrings::delimited(char delimiter, char quote, bool strict) const {
  const int n = Count();
  if (n == 1 && Strings(0).empty()) return std::string(2, quote);
  std::string out;
  for (int i = 0; i < n; ++i) {
    std::string s = Strings(i);
    bool needs_quotes = false;
    for (char c : s) {
      if (c == '\0') break;
      if ((!strict && is_blank_or_control(c)) || c == quote || c == delimiter) {
        needs_quotes = true;
        break;
      }
    }
    if (needs_quotes) s = AnsiQuotedStr(s, quote);
    if (i > 0) out += delimiter;
    out += s;
  }
  return out;
}

void TStrings::set_delimited(const std::string& text, char delimiter, char quote, bool strict) {
  BeginUpdate();
  Clear();
  const size_t n = std::min(text.size(), text.find('\0'));
  auto skippable = [&](size_t at) { return !strict && at < n && text[at] >= 1 && text[at] <= ' '; };
  size_t p = 0;
  while (skippable(p)) ++p;
  while (p < n) {
    std::string s;
    if (text[p] == quote) {
      s = AnsiExtractQuotedStr(text, p, quote);
      if (p > n) p = n;
    } else {
      const size_t start = p;
      while (p < n && (strict || static_cast<unsigned char>(text[p]) > ' ') && text[p] != delimiter)
        ++p;
      s = text.substr(start, p - start);
    }
    Add(s);
    while (skippable(p)) ++p;
    if (p < n && text[p] == delimiter) {
      if (p + 1 >= n) Add(std::string());
      do {
        ++p;
      } while (skippable(p));
    }
  }
  EndUpdate();
}

std::string TStrings::CommaText() const { return delimited(',', '"', false); }
void TStrings::SetCommaText(const std::string& text) { set_delimited(text, ',', '"', false); }
std::string TStrings::DelimitedText() const {
  return delimited(delimiter_, quote_char_, strict_delimiter_);
}
void TStrings::SetDelimitedText(const std::string& text) {
  set_delimited(text, delimiter_, quote_char_, strict_delimiter_);
}

std::string TStrings::Names(int index) const {
  const std::string s = Strings(index);
  const size_t at = s.find(name_value_separator_);
  return at == std::string::npos ? std::string() : s.substr(0, at);
}

std::string TStrings::Values(const std::string& name) const {
  const int i = IndexOfName(name);
  return i < 0 ? std::string() : ValueFromIndex(i);
}

void TStrings::SetValues(const std::string& name, const std::string& value) {
  int i = IndexOfName(name);
  if (!value.empty()) {
    if (i < 0) i = Add(std::string());
    SetStrings(i, name + name_value_separator_ + value);
  } else if (i >= 0) {
    Delete(i);
  }
}

std::string TStrings::ValueFromIndex(int index) const {
  const std::string s = Strings(index);
  const size_t at = s.find(name_value_separator_);
  return at == std::string::npos ? std::string() : s.substr(at + 1);
}

void TStrings::SetValueFromIndex(int index, const std::string& value) {
  if (!value.empty()) {
    if (index < 0) index = Add(std::string());
    SetStrings(index, Names(index) + name_value_separator_ + value);
  } else if (index >= 0) {
    Delete(index);
  }
}

void TStrings::BeginUpdate() {
  if (update_count_ == 0) SetUpdateState(true);
  ++update_count_;
}

void TStrings::EndUpdate() {
  if (update_count_ > 0 && --update_count_ == 0) SetUpdateState(false);
}

void TStrings::SetUpdateState(bool) {}

int TStrings::CompareStrings(const std::string& a, const std::string& b) const {
  return AnsiCompareText(a, b);
}

void TStrings::LoadFromFile(const std::string& file_name) {
  std::ifstream in(file_name, std::ios::binary);
  if (!in) throw EFOpenError("Cannot open file \"" + file_name + "\"");
  std::ostringstream content;
  content << in.rdbuf();
  SetText(content.str());
}

void TStrings::SaveToFile(const std::string& file_name) const {
  std::ofstream out(file_name, std::ios::binary | std::ios::trunc);
  if (!out) throw EFCreateError("Cannot create file \"" + file_name + "\"");
  const std::string text = Text();
  out.write(text.data(), static_cast<std::streamsize>(text.size()));
  if (!out) throw EFCreateError("Cannot create file \"" + file_name + "\"");
}

void TStrings::Assign(const TPersistent& source) {
  const auto* strings = dynamic_cast<const TStrings*>(&source);
  if (strings == nullptr) {
    TPersistent::Assign(source);
    return;
  }
  if (strings == this) return;
  BeginUpdate();
  Clear();
  AddStrings(*strings);
  EndUpdate();
}

// --- TStringList -----------------------------------------------------------------

TStringList::~TStringList() {
  OnChange = nullptr;
  OnChanging = nullptr;
  if (owns_objects_)
    for (Item& item : items_) delete item.object;
}

void TStringList::check_index(int index, int count) const {
  if (index < 0 || index >= count) ListError("List index out of bounds (%d)", index);
}

std::string TStringList::Strings(int index) const {
  check_index(index, Count());
  return items_[static_cast<size_t>(index)].value;
}

void TStringList::SetStrings(int index, const std::string& value) {
  if (sorted_) ListError("Operation not allowed on sorted list", 0);
  check_index(index, Count());
  Changing();
  items_[static_cast<size_t>(index)].value = value;
  Changed();
}

TObject* TStringList::Objects(int index) const {
  check_index(index, Count());
  return items_[static_cast<size_t>(index)].object;
}

void TStringList::SetObjects(int index, TObject* object) {
  check_index(index, Count());
  Changing();
  Item& item = items_[static_cast<size_t>(index)];
  if (owns_objects_ && item.object != object) delete item.object;
  item.object = object;
  Changed();
}

int TStringList::Add(const std::string& value) { return AddObject(value, nullptr); }

int TStringList::AddObject(const std::string& value, TObject* object) {
  int index = Count();
  if (sorted_ && Find(value, index)) {
    switch (duplicates_) {
      case dupIgnore: return index;
      case dupError: ListError("String list does not allow duplicates", 0);
      case dupAccept: break;
    }
  }
  insert_item(index, value, object);
  return index;
}

void TStringList::Insert(int index, const std::string& value) {
  InsertObject(index, value, nullptr);
}

void TStringList::InsertObject(int index, const std::string& value, TObject* object) {
  if (sorted_) ListError("Operation not allowed on sorted list", 0);
  check_index(index, Count() + 1);
  insert_item(index, value, object);
}

void TStringList::insert_item(int index, const std::string& value, TObject* object) {
  Changing();
  items_.insert(items_.begin() + index, Item{value, object});
  Changed();
}

void TStringList::Delete(int index) {
  check_index(index, Count());
  Changing();
  TObject* object = items_[static_cast<size_t>(index)].object;
  items_.erase(items_.begin() + index);
  if (owns_objects_) delete object;
  Changed();
}

void TStringList::Clear() {
  if (items_.empty()) return;
  Changing();
  std::vector<Item> old;
  old.swap(items_);
  if (owns_objects_)
    for (Item& item : old) delete item.object;
  Changed();
}

void TStringList::Exchange(int index1, int index2) {
  check_index(index1, Count());
  check_index(index2, Count());
  Changing();
  std::swap(items_[static_cast<size_t>(index1)], items_[static_cast<size_t>(index2)]);
  Changed();
}

void TStringList::Move(int current_index, int new_index) {
  if (current_index == new_index) return;
  check_index(current_index, Count());
  check_index(new_index, Count());
  Changing();
  Item item = std::move(items_[static_cast<size_t>(current_index)]);
  items_.erase(items_.begin() + current_index);
  items_.insert(items_.begin() + new_index, std::move(item));
  Changed();
}

int TStringList::IndexOf(const std::string& value) const {
  if (!sorted_) return TStrings::IndexOf(value);
  int index = 0;
  return Find(value, index) ? index : -1;
}

bool TStringList::Find(const std::string& value, int& index) const {
  bool found = false;
  int lo = 0, hi = Count() - 1;
  while (lo <= hi) {
    const int mid = (lo + hi) / 2;
    const int c = CompareStrings(items_[static_cast<size_t>(mid)].value, value);
    if (c < 0) {
      lo = mid + 1;
    } else {
      hi = mid - 1;
      if (c == 0) {
        found = true;
        if (duplicates_ != dupAccept) lo = mid;
      }
    }
  }
  index = lo;
  return found;
}

void TStringList::sort_items() {
  std::stable_sort(items_.begin(), items_.end(), [this](const Item& a, const Item& b) {
    return CompareStrings(a.value, b.value) < 0;
  });
}

void TStringList::Sort() {
  if (items_.size() < 2) return;
  Changing();
  sort_items();
  Changed();
}

void TStringList::CustomSort(
    const std::function<int(TStringList& list, int index1, int index2)>& compare) {
  if (items_.size() < 2) return;
  Changing();
  // The comparison speaks of indexes, so sort an index permutation and apply it.
  std::vector<int> order(items_.size());
  for (size_t i = 0; i < order.size(); ++i) order[i] = static_cast<int>(i);
  std::stable_sort(order.begin(), order.end(),
                   [&](int a, int b) { return compare(*this, a, b) < 0; });
  std::vector<Item> sorted;
  sorted.reserve(items_.size());
  for (int i : order) sorted.push_back(items_[static_cast<size_t>(i)]);
  items_.swap(sorted);
  Changed();
}

void TStringList::SetSorted(bool sorted) {
  if (sorted_ == sorted) return;
  if (sorted) Sort();
  sorted_ = sorted;
}

void TStringList::SetCaseSensitive(bool case_sensitive) {
  if (case_sensitive_ == case_sensitive) return;
  case_sensitive_ = case_sensitive;
  if (sorted_) Sort();
}

int TStringList::CompareStrings(const std::string& a, const std::string& b) const {
  return case_sensitive_ ? AnsiCompareStr(a, b) : AnsiCompareText(a, b);
}

void TStringList::SetUpdateState(bool updating) {
  if (updating) Changing();
  else Changed();
}

void TStringList::Changed() {
  if (UpdateCount() == 0 && OnChange) OnChange(this);
}

void TStringList::Changing() {
  if (UpdateCount() == 0 && OnChanging) OnChanging(this);
}

}  // namespace vg
