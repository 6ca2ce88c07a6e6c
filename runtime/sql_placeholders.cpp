#include "runtime/sql_placeholders.hpp"

#include <cctype>

#include "host/exception.hpp"
#include "host/sysutils.hpp"

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

// Copies the SQL to `out`, handing each parameter to `parameter(name, out)`.
template <typename Parameter>
void Rewrite(const std::string& sql, std::string& out, Parameter parameter) {
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
      parameter(std::string_view(sql).substr(i + 1, end - i - 1), out);
      i = end;
    } else {
      out += sql[i++];
    }
  }
}

}  // namespace

SqlPlaceholders RewritePlaceholders(const std::string& sql, PlaceholderStyle style) {
  SqlPlaceholders result;
  Rewrite(sql, result.text, [&](std::string_view name, std::string& out) {
    result.names.emplace_back(name);
    out += style == PlaceholderStyle::Question ? '?' : '$';
    out += std::to_string(result.names.size());
  });
  return result;
}

std::string InlinePlaceholders(const std::string& sql, const std::vector<std::string>& texts) {
  std::string text;
  size_t count = 0;
  Rewrite(sql, text, [&](std::string_view name, std::string& out) {
    if (count == texts.size()) {
      throw Exception("SQL parameter :" + std::string(name) + " (number " +
                      std::to_string(count + 1) + ") has no value");
    }
    out += texts[count++];
  });
  return text;
}

bool FirstWordIs(std::string_view sql, std::string_view word) {
  const size_t first = sql.find_first_not_of(" \t\r\n(");
  const std::string_view head = sql.substr(first == std::string_view::npos ? sql.size() : first);
  return head.size() > word.size() && SameText(head.substr(0, word.size()), word) &&
         !std::isalnum(static_cast<unsigned char>(head[word.size()]));
}

}  // namespace nrw
