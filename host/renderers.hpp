// Renderers: sinks that turn printed sections into a document, page by page (nothing of a page
// is kept once the next one starts, so memory does not grow with the number of pages).
//   text:     fixed-width pages, one line per printed row, columns as in the layout, a form feed
//             between pages;
//   pdf:      the layout's page, the layout's font (from fontconfig) embedded as a subset,
//             selectable UTF-8 text, an outline, pages written to the file as they end;
//   sections: the sections trace (see output_file.hpp).
#pragma once

#include <memory>
#include <ostream>
#include <string>

#include "host/export.hpp"
#include "host/report_layout.hpp"
#include "host/section_sink.hpp"

// Raises Exception for an unknown format.
NRW_API std::unique_ptr<TSectionSink> CreateRenderer(const std::string& format, std::ostream& out,
                                                     const TReportLayout& layout);
