#include "runtime/sql_placeholders.hpp"

#include <cctype>

namespace nrw {
namespace {

bool IsNameStart(char c) {
  return std::isalpha(static_cast<unsigned char>(c)) || c == '_';
}
bool IsNameChar(char c) {
  return std::isalnum(static_cast<unsigned char>(c)) || c == '_';
}

// Copies a quoted run (the quote doubled inside stays in the run); returns the index after it.
size_t CopyQuoted(const std::string& sql, size_t i, std::string& out) {
  const char quote = sql[i];
  out += sql[i++];
  while (i < sql.size()) {
    out += sql[i];
    if (sql[i++] == quote) {
      if (i < sql.size() && sql[i] == quote) {
        out += sql[i++];
        continue;
      }
      break;
    }
  }
  return i;
}

size_t CopyUntil(const std::string& sql, size_t i, const std::string& end, std::string& out) {
  const size_t stop = sql.find(end, i);
  const size_t next = stop == std::string::npos ? sql.size() : stop + end.size();
  out.append(sql, i, next - i);
  return next;
}

}  // namespace

SqlPlaceholders RewritePlaceholders(const std::string& sql, PlaceholderStyle style) {
  SqlPlaceholders result;
  std::string& out = result.text;
  out.reserve(sql.size());
  size_t i = 0;
  while (i < sql.size()) {
    const char c = sql[i];
    if (c == '\'' || c == '"') {
      i = CopyQuoted(sql, i, out);
    } else if (c == '-' && i + 1 < sql.size() && sql[i + 1] == '-') {
      i = CopyUntil(sql, i, "\n", out);
    } else if (c == '/' && i + 1 < sql.size() && sql[i + 1] == '*') {
      i = CopyUntil(sql, i, "*/", out);
    } else if (c == ':' && i + 1 < sql.size() && sql[i + 1] == ':') {
      out += "::";
      i += 2;
    } else if (c == ':' && i + 1 < sql.size() && IsNameStart(sql[i + 1])) {
      size_t end = i + 1;
      while (end < sql.size() && IsNameChar(sql[end])) {
        ++end;
      }
      result.names.push_back(sql.substr(i + 1, end - i - 1));
      out += style == PlaceholderStyle::Question ? '?' : '$';
      out += std::to_string(result.names.size());
      i = end;
    } else {
      out += sql[i++];
    }
  }
  return result;
}

}  // namespace nrw
