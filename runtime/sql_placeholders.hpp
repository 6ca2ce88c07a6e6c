// Finds the ":name" parameters of an SQL text and rewrites them for a backend, skipping what is
// not a parameter: quoted literals ('...'), quoted identifiers ("..."), "::" casts, comments
// (-- to the end of the line, /* ... */) and a colon not followed by a name.
#pragma once

#include <string>
#include <vector>

#include "host/export.hpp"

namespace nrw {

struct NRW_API SqlPlaceholders {
  std::string text;                // the SQL with every parameter replaced by its marker
  std::vector<std::string> names;  // the parameters' names, in order of appearance
};

enum class PlaceholderStyle {
  Question,  // SQLite: ?1, ?2, ...
  Dollar,    // PostgreSQL: $1, $2, ...
};

NRW_API SqlPlaceholders RewritePlaceholders(const std::string& sql, PlaceholderStyle style);

}  // namespace nrw
