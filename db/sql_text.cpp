#include "db/sql_text.h"

std::string EscapeQuotes(std::string_view text) {
  std::string escaped(text);
  for (size_t at = escaped.find('\''); at != std::string::npos; at = escaped.find('\'', at + 2)) {
    escaped.insert(at, 1, '\'');
  }
  return escaped;
}
