// Fuzz target: the data-set filter language. Any text either parses or raises Exception; a
// parsed filter evaluates on a small table without failing.
#include <cstddef>
#include <cstdint>
#include <string>

#include "host/exception.hpp"
#include "host/memory_data_set.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text(reinterpret_cast<const char*>(data), size);
  TnClientDataSetMem table(nullptr, {{"K", TFieldType::Float},
                                     {"N", TFieldType::Integer},
                                     {"S", TFieldType::String},
                                     {"D", TFieldType::DateTime}});
  table.AppendRecord({Variant(1.5), Variant(2), Variant("nfe"), Variant::FromDateTime(46023)});
  table.AppendRecord({Variant(), Variant(), Variant(), Variant()});
  try {
    table.SetFilter(text);
    table.SetFiltered(true);
    for (table.First(); !table.Eof(); table.Next()) {
      table.GetString(2);
    }
  } catch (const Exception&) {
    // a filter that is not one is reported; that is all it may do
  }
  return 0;
}
