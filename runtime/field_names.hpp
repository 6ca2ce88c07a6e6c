// The field names a section was last printed with, for sinks that write a section's names once
// and then only its values.
#pragma once

#include <string>
#include <vector>

#include "host/section_sink.hpp"

namespace nrw {

// Whether `fields` carry the names `names` holds, in order; when they do not, `names` takes
// theirs.
inline bool KeepFieldNames(std::vector<std::string>& names,
                           const std::vector<TPrintedField>& fields) {
  bool same = names.size() == fields.size();
  for (size_t i = 0; same && i < fields.size(); ++i) {
    same = names[i] == fields[i].name;
  }
  if (!same) {
    names.resize(fields.size());
    for (size_t i = 0; i < fields.size(); ++i) {
      names[i].assign(fields[i].name);
    }
  }
  return same;
}

}  // namespace nrw
