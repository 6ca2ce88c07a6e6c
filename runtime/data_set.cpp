#include "host/data_set.hpp"

#include "host/sysutils.hpp"

TField::TField(TDataSet* data_set, std::string name, TFieldType type, int index)
    : data_set_(data_set), name_(std::move(name)), type_(type), index_(index) {}

bool TField::IsNull() const {
  return data_set_->IsNull(index_);
}
int32_t TField::AsInteger() const {
  return static_cast<int32_t>(data_set_->GetInteger(index_));
}
int64_t TField::AsLargeInt() const {
  return data_set_->GetInteger(index_);
}
double TField::AsFloat() const {
  return data_set_->GetFloat(index_);
}
std::string TField::AsString() const {
  return data_set_->GetString(index_);
}
TDateTime TField::AsDateTime() const {
  return data_set_->GetFloat(index_);
}
bool TField::AsBoolean() const {
  return data_set_->GetValue(index_).AsBoolean();
}
Variant TField::Value() const {
  return data_set_->GetValue(index_);
}
void TField::SetValue(const Variant& value) {
  data_set_->SetValue(index_, value);
}

TDataSet::TDataSet(TComponent* owner) : TComponent(owner) {}
TDataSet::~TDataSet() = default;

TField* TDataSet::FindField(std::string_view name) const {
  for (const auto& field : fields_) {
    if (SameText(field->FieldName(), name)) {
      return field.get();
    }
  }
  return nullptr;
}

TField* TDataSet::FieldByName(std::string_view name) const {
  if (TField* field = FindField(name)) {
    return field;
  }
  throw Exception(DisplayName() + ": Field '" + std::string(name) + "' not found");
}

std::vector<TFieldDef> TDataSet::FieldDefs() const {
  std::vector<TFieldDef> defs;
  defs.reserve(fields_.size());
  for (const auto& field : fields_) {
    defs.push_back({field->FieldName(), field->DataType()});
  }
  return defs;
}

void TDataSet::Open() {
  state_ = TDataSetState::Browse;
}
void TDataSet::Close() {
  state_ = TDataSetState::Inactive;
}

void TDataSet::SetFilter(const std::string& text) {
  if (text == filter_) {
    return;
  }
  filter_ = text;
  if (filtered_) {
    FilterChanged();
  }
}

void TDataSet::SetFiltered(bool on) {
  if (on == filtered_) {
    return;
  }
  filtered_ = on;
  FilterChanged();
}

void TDataSet::DefineFields(const std::vector<TFieldDef>& defs) {
  fields_.clear();
  for (size_t i = 0; i < defs.size(); ++i) {
    fields_.push_back(
        std::make_unique<TField>(this, defs[i].name, defs[i].type, static_cast<int>(i)));
  }
}

std::vector<int> TDataSet::ResolveFieldList(std::string_view names) const {
  std::vector<int> positions;
  size_t start = 0;
  while (start <= names.size()) {
    size_t end = names.find(';', start);
    if (end == std::string::npos) {
      end = names.size();
    }
    const std::string name = Trim(names.substr(start, end - start));
    if (!name.empty()) {
      positions.push_back(FieldIndex(name));
    }
    start = end + 1;
  }
  return positions;
}

std::string TDataSet::DisplayName() const {
  return Name().empty() ? "DataSet" : Name();
}
