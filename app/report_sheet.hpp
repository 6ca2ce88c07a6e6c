// The report's rows in a spreadsheet: which printed sections become rows and which of their
// fields become columns, for --format csv and xlsx.
#pragma once

#include "host/sheet_export.hpp"

namespace nrw::app {

const TSheetMapping& ReportSheetMapping();

}  // namespace nrw::app
