#include "host/report_position.hpp"

namespace {

// Band 1 is page furniture: it does not separate a block's title from its headings.
constexpr int32_t kPageBand = 1;

}  // namespace

const std::string& PrintedField(const std::vector<TPrintedField>& fields, const std::string& name) {
  static const std::string kNone;
  for (const TPrintedField& field : fields) {
    if (field.name == name) {
      return field.value;
    }
  }
  return kNone;
}

bool TReportPosition::OnHeader(const std::vector<TPrintedField>& fields) {
  const std::string& company = PrintedField(fields, "Empresa");
  const std::string& establishment = PrintedField(fields, "Estabelecimento");
  period_ = PrintedField(fields, "Periodo");
  company_changed_ = !has_header_ || company != company_;
  const bool changed = company_changed_ || establishment != establishment_;
  has_header_ = true;
  if (changed) {
    company_ = company;
    establishment_ = establishment;
    block_.clear();
    pending_title_.clear();
  }
  return changed;
}

bool TReportPosition::OnSection(int32_t section, const std::vector<TPrintedField>& fields) {
  if (blocks_.title_section == 0 || section == kPageBand) {
    return false;
  }
  if (section == blocks_.opening_section && !pending_title_.empty()) {
    block_ = std::move(pending_title_);
    pending_title_.clear();
    return true;
  }
  pending_title_ =
      section == blocks_.title_section ? PrintedField(fields, blocks_.title_field) : "";
  return false;
}
