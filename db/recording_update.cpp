#include <cstring>
#include <string>
#include <string_view>

#include "db/sql_text.h"
#include "db/vexa_dao.h"

namespace {

// The text of a fixed-size field: up to its NUL, or all of the field if it has none.
template <size_t size>
std::string EscapedField(const char (&field)[size]) {
  return EscapeQuotes(std::string_view(field, strnlen(field, size)));
}

}  // namespace

int VexaDAO::UpdateRecording(const RecordingUpdate& update) {
  std::string sql = "UPDATE Recording SET ";
  sql += "SourceId = '" + EscapedField(update.SourceId);
  sql += "', SourceName = '" + EscapedField(update.SourceName);
  sql += "', SourceLocation = '" + EscapedField(update.SourceLocation);
  sql += "', SourceDescription = '" + EscapedField(update.SourceDescription);
  sql += "', SourceAddress = '" + EscapedField(update.SourceAddress);
  sql += "', Content = '" + EscapedField(update.Content);
  sql += "', MaxRetentionTime = " + std::to_string(update.MaxRetentionTime);
  sql += " WHERE Id = " + std::to_string(update.Id);
  sql += ";";
  return ExecuteStatement(sql.c_str());
}
