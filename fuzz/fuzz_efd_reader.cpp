// Fuzz target: the EFD ICMS/IPI reader. Any bytes either read as records (whose numbers and
// dates either convert or raise) or raise EfdError / Exception.
#include <cstddef>
#include <cstdint>
#include <string>

#include "schema/efd_reader.hpp"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  nrw::efd::EfdReader reader = nrw::efd::EfdReader::FromBytes(
      "fuzz.txt", std::string(reinterpret_cast<const char*>(data), size));
  try {
    nrw::efd::Record record;
    while (reader.Next(record)) {
      for (size_t n = 1; n <= record.FieldCount() && n < 8; ++n) {
        try {
          record.Number(n);
        } catch (const Exception&) {
        }
        try {
          record.Date(n);
        } catch (const Exception&) {
        }
      }
    }
  } catch (const Exception&) {
    // a malformed file is reported
  }
  return 0;
}
