// Finds the ":name" parameters of an SQL text and rewrites them for a backend, skipping what is
// not a parameter: quoted literals ('...'), quoted identifiers ("..."), "::" casts, comments
// (-- to the end of the line, /* ... */) and a colon not followed by a name.
#pragma once

#include <string>
#include <string_view>
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

// The SQL with its i-th parameter (in order of appearance) replaced by `texts[i]`, for a
// statement that takes no parameters (PostgreSQL's COPY); the texts must be SQL literals made
// by the backend's quoting. Raises when a parameter has no text.
NRW_API std::string InlinePlaceholders(const std::string& sql,
                                       const std::vector<std::string>& texts);

// Whether the statement's first word, after blanks and opening parentheses, is `word` (any case).
NRW_API bool FirstWordIs(std::string_view sql, std::string_view word);

}  // namespace nrw
