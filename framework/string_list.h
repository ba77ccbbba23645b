// TStrings, the framework's list of strings each with an optional object, and
// TStringList, its concrete form with sorting and duplicate control.
//
// The text forms: Text is every string followed by a line break ("\n" here)
// and reads back lines ended by CR, LF or CR LF; DelimitedText joins the
// strings with Delimiter, quoting (with QuoteChar, the quote doubled) those
// that hold a blank or control character, the quote or the delimiter, and
// reads back pieces separated by the delimiter or, unless StrictDelimiter,
// by blanks; CommaText is DelimitedText with "," and '"' and blanks
// separating. Names and Values read "name=value" strings.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "framework/component.h"

namespace vg {

class TStrings : public TPersistent {
 public:
  virtual int Count() const = 0;
  virtual std::string Strings(int index) const = 0;
  virtual void SetStrings(int index, const std::string& value);
  virtual TObject* Objects(int index) const;
  virtual void SetObjects(int index, TObject* object);

  // Adds at the end (or, for a sorted list, in order); answers the index.
  virtual int Add(const std::string& value);
  virtual int AddObject(const std::string& value, TObject* object);
  void AddStrings(const TStrings& strings);
  virtual void Insert(int index, const std::string& value) = 0;
  virtual void InsertObject(int index, const std::string& value, TObject* object);
  virtual void Delete(int index) = 0;
  virtual void Clear() = 0;
  virtual void Exchange(int index1, int index2);
  virtual void Move(int current_index, int new_index);

  // First index of `value` (compared as the list compares), -1 if none.
  virtual int IndexOf(const std::string& value) const;
  int IndexOfName(const std::string& name) const;
  int IndexOfObject(const TObject* object) const;
  bool Equals(const TStrings& other) const;

  std::string Text() const;
  void SetText(const std::string& text);
  std::string CommaText() const;
  void SetCommaText(const std::string& text);
  std::string DelimitedText() const;
  void SetDelimitedText(const std::string& text);
  char Delimiter() const { return delimiter_; }
  void SetDelimiter(char delimiter) { delimiter_ = delimiter; }
  char QuoteChar() const { return quote_char_; }
  void SetQuoteChar(char quote) { quote_char_ = quote; }
  bool StrictDelimiter() const { return strict_delimiter_; }
  void SetStrictDelimiter(bool strict) { strict_delimiter_ = strict; }
  char NameValueSeparator() const { return name_value_separator_; }
  void SetNameValueSeparator(char separator) { name_value_separator_ = separator; }

  // The part before the first separator ("" without one).
  std::string Names(int index) const;
  // The part after the separator of the first string named `name` ("" if none).
  std::string Values(const std::string& name) const;
  // Sets name=value, adding it when missing; an empty value deletes it.
  void SetValues(const std::string& name, const std::string& value);
  std::string ValueFromIndex(int index) const;
  void SetValueFromIndex(int index, const std::string& value);

  void BeginUpdate();
  void EndUpdate();
  int UpdateCount() const { return update_count_; }

  // Whole-file text; EFOpenError or EFCreateError when the file cannot be used.
  void LoadFromFile(const std::string& file_name);
  void SaveToFile(const std::string& file_name) const;

  // Copies the strings and objects of another TStrings.
  void Assign(const TPersistent& source) override;

 protected:
  // The comparison the list uses for IndexOf and IndexOfName; ignores case.
  virtual int CompareStrings(const std::string& a, const std::string& b) const;
  // Called with true when the first BeginUpdate starts and false when the
  // last EndUpdate ends.
  virtual void SetUpdateState(bool updating);
  [[noreturn]] static void ListError(const std::string& message, int index);

 private:
  std::string delimited(char delimiter, char quote, bool strict) const;
  void set_delimited(const std::string& text, char delimiter, char quote, bool strict);

  char delimiter_ = ',';
  char quote_char_ = '"';
  bool strict_delimiter_ = false;
  char name_value_separator_ = '=';
  int update_count_ = 0;
};

enum TDuplicates { dupIgnore, dupAccept, dupError };

class TStringList : public TStrings {
 public:
  TStringList() = default;
  ~TStringList() override;

  int Count() const override { return static_cast<int>(items_.size()); }
  std::string Strings(int index) const override;
  void SetStrings(int index, const std::string& value) override;
  TObject* Objects(int index) const override;
  void SetObjects(int index, TObject* object) override;

  int Add(const std::string& value) override;
  int AddObject(const std::string& value, TObject* object) override;
  void Insert(int index, const std::string& value) override;
  void InsertObject(int index, const std::string& value, TObject* object) override;
  void Delete(int index) override;
  void Clear() override;
  void Exchange(int index1, int index2) override;
  // Moves the string with its object (an owned object stays alive).
  void Move(int current_index, int new_index) override;
  int IndexOf(const std::string& value) const override;

  // Binary search of a sorted list: true when found; `index` is where the
  // string is (the first of equal ones when duplicates are accepted) or
  // where it would be inserted.
  bool Find(const std::string& value, int& index) const;
  void Sort();
  void CustomSort(const std::function<int(TStringList& list, int index1, int index2)>& compare);

  bool Sorted() const { return sorted_; }
  void SetSorted(bool sorted);
  TDuplicates Duplicates() const { return duplicates_; }
  void SetDuplicates(TDuplicates duplicates) { duplicates_ = duplicates; }
  bool CaseSensitive() const { return case_sensitive_; }
  void SetCaseSensitive(bool case_sensitive);
  // Whether deleting a string (or clearing the list) deletes its object.
  bool OwnsObjects() const { return owns_objects_; }
  void SetOwnsObjects(bool owns) { owns_objects_ = owns; }

  TNotifyEvent OnChange;
  TNotifyEvent OnChanging;

 protected:
  int CompareStrings(const std::string& a, const std::string& b) const override;
  void SetUpdateState(bool updating) override;
  virtual void Changed();
  virtual void Changing();

 private:
  struct Item {
    std::string value;
    TObject* object = nullptr;
  };
  void check_index(int index, int count) const;
  void insert_item(int index, const std::string& value, TObject* object);
  void sort_items();

  std::vector<Item> items_;
  bool sorted_ = false;
  TDuplicates duplicates_ = dupIgnore;
  bool case_sensitive_ = false;
  bool owns_objects_ = false;
};

}  // namespace vg
