// Where a report is, as its printed sections go by: the company, establishment and period of the
// page header, and the titled block (the totals by tax type, a summary) being printed. Renderers
// that need a document's structure (the PDF outline, the spreadsheet's sheets) follow it.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "host/export.hpp"
#include "host/report_layout.hpp"
#include "host/section_sink.hpp"

// The value of the field of that name, or "" when the fields lack it.
NRW_API const std::string& PrintedField(const std::vector<TPrintedField>& fields,
                                        const std::string& name);

class NRW_API TReportPosition {
 public:
  explicit TReportPosition(TLayoutBlocks blocks) : blocks_(std::move(blocks)) {}

  // A page header. Returns true when it starts another company or establishment (the block is
  // then the listing again).
  bool OnHeader(const std::vector<TPrintedField>& fields);
  // A printed section. Returns true when it opens a block; Block() is then its title.
  bool OnSection(int32_t section, const std::vector<TPrintedField>& fields);

  const std::string& Company() const { return company_; }
  const std::string& Establishment() const { return establishment_; }
  const std::string& Period() const { return period_; }
  // The title of the block being printed; "" in the listing.
  const std::string& Block() const { return block_; }
  bool CompanyChanged() const { return company_changed_; }

 private:
  TLayoutBlocks blocks_;
  std::string company_, establishment_, period_, block_;
  std::string pending_title_;  // a title section printed, waiting for the opening section
  bool has_header_ = false, company_changed_ = false;
};
