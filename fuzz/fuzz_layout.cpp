// Fuzz target: the layout file reader. Any text either is a layout or raises Exception.
#include <cstddef>
#include <cstdint>
#include <string>

#include "host/exception.hpp"
#include "host/report_layout.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  try {
    const TReportLayout layout = ParseLayout(text, "fuzz.json");
    for (const int32_t number : layout.SectionNumbers()) {
      layout.Section(number);
    }
  } catch (const Exception&) {
    // a malformed layout is reported
  }
  return 0;
}
