// The host's data-set model: a table of typed fields read and written by position on a current
// row, navigated in the order of its index field list, narrowed by a key range and a filter.
// Every table kind (in-memory, SQLite table, query cursor) implements this one interface, so the
// module's storage-neutral operations work on any of them.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "host/export.hpp"
#include "host/object.hpp"
#include "host/variant.hpp"

class TDataSet;

struct NRW_API TFieldDef {
  std::string name;
  TFieldType type = TFieldType::String;
};

enum class TDataSetState { Inactive, Browse, Insert, Edit };

// A column that a table's AppendFrom fills from the source's column of the same name: the value
// as the source stores it, or `if_null` (converted to the column's type as SetValue converts)
// where the source's is null.
struct NRW_API TAppendColumn {
  std::string name;
  Variant if_null;
};
// One table that a bulk append fills: the columns it takes from the source (the others stay
// null) and its condition, a filter over the source's fields ("" for every row).
template <class Table>
struct TAppendTargetOf {
  Table* table;
  std::vector<TAppendColumn> columns;
  std::string condition;
};

// A column of a data set. Reads and writes go to the data set's current row.
class NRW_API TField {
 public:
  TField(TDataSet* data_set, std::string name, TFieldType type, int index);

  const std::string& FieldName() const { return name_; }
  TFieldType DataType() const { return type_; }
  int Index() const { return index_; }

  bool IsNull() const;
  int32_t AsInteger() const;
  int64_t AsLargeInt() const;
  double AsFloat() const;
  std::string AsString() const;
  TDateTime AsDateTime() const;
  bool AsBoolean() const;
  Variant Value() const;

  void SetValue(const Variant& value);
  void SetAsInteger(int32_t value) { SetValue(Variant(value)); }
  void SetAsFloat(double value) { SetValue(Variant(value)); }
  void SetAsString(const std::string& value) { SetValue(Variant(value)); }
  void SetAsDateTime(TDateTime value) { SetValue(Variant::FromDateTime(value)); }
  void Clear() { SetValue(Variant()); }

 private:
  TDataSet* data_set_;
  std::string name_;
  TFieldType type_;
  int index_;
};

class NRW_API TDataSet : public TComponent {
 public:
  explicit TDataSet(TComponent* owner = nullptr);
  ~TDataSet() override;

  // Structure. Field names compare without regard to case.
  int FieldCount() const { return static_cast<int>(fields_.size()); }
  TField* Fields(int index) const { return fields_.at(index).get(); }
  TField* FindField(std::string_view name) const;
  // Raises Exception "<data set>: Field 'NAME' not found" when absent.
  TField* FieldByName(std::string_view name) const;
  int FieldIndex(std::string_view name) const { return FieldByName(name)->Index(); }
  std::vector<TFieldDef> FieldDefs() const;

  bool Active() const { return state_ != TDataSetState::Inactive; }
  TDataSetState State() const { return state_; }
  virtual void Open();
  virtual void Close();

  // Navigation over the visible rows (index order, inside the range, passing the filter).
  virtual void First() = 0;
  virtual void Next() = 0;
  virtual bool Eof() const = 0;
  virtual int RecordCount() = 0;
  // Whether no row is visible; tables answer without counting every row.
  virtual bool IsEmpty() { return RecordCount() == 0; }

  // Values of the current row by field position.
  virtual bool IsNull(int field) const = 0;
  virtual int64_t GetInteger(int field) const = 0;
  virtual double GetFloat(int field) const = 0;
  virtual std::string GetString(int field) const = 0;
  // Appends the text GetString returns to `out`; in-memory and SQLite tables append a stored
  // text in place, so that a caller reusing `out` builds no string per row.
  virtual void AppendString(int field, std::string& out) const { out += GetString(field); }
  virtual Variant GetValue(int field) const = 0;
  virtual void SetValue(int field, const Variant& value) = 0;
  // Sets `field` of the row being edited to the value the same field holds in `source`'s
  // current row (the two data sets share their field list), as SetValue(source.GetValue()) does.
  // In-memory tables copy the stored cell without building a Variant.
  virtual void CopyValue(int field, const TDataSet& source) {
    SetValue(field, source.GetValue(field));
  }

  // Editing: Append or Edit, set values, then Post (or Cancel). Delete removes the current row
  // and moves to the next visible one.
  virtual void Append() = 0;
  virtual void Edit() = 0;
  virtual void Post() = 0;
  virtual void Cancel() = 0;
  virtual void Delete() = 0;

  // Index: a ";"-separated, case-insensitive field list; empty keeps the natural order.
  const std::string& IndexFieldNames() const { return index_field_names_; }
  virtual void SetIndexFieldNames(std::string_view names) = 0;
  // Positions on the first visible row whose leading index fields equal `values`.
  virtual bool FindKey(const TVariantArray& values) = 0;
  // Limits the visible rows to the leading index fields between start and end, both included.
  virtual void SetRange(const TVariantArray& start, const TVariantArray& end) = 0;
  virtual void CancelRange() = 0;

  // Filter: an expression over the fields, applied while Filtered is on.
  const std::string& Filter() const { return filter_; }
  void SetFilter(const std::string& text);
  bool Filtered() const { return filtered_; }
  void SetFiltered(bool on);

 protected:
  void DefineFields(const std::vector<TFieldDef>& defs);
  void SetState(TDataSetState state) { state_ = state; }
  void StoreIndexFieldNames(std::string_view names) { index_field_names_.assign(names); }
  // Resolves an index field list to field positions; raises for an unknown field.
  std::vector<int> ResolveFieldList(std::string_view names) const;
  // Called when the filter text or switch changes.
  virtual void FilterChanged() = 0;
  std::string DisplayName() const;

 private:
  std::vector<std::unique_ptr<TField>> fields_;
  TDataSetState state_ = TDataSetState::Inactive;
  std::string index_field_names_;
  std::string filter_;
  bool filtered_ = false;
};
