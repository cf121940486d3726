#ifndef VEXAMGR_DB_SQL_TEXT_H
#define VEXAMGR_DB_SQL_TEXT_H

#include <string>
#include <string_view>

// A fixed-form statement is formatted into a StatementBuffer with snprintf(3), limited to
// kStatementSize: at most 254 characters and their NUL.
using StatementBuffer = char[256];
constexpr int kStatementSize = 255;

// The text with every single quote doubled, as it must stand between single quotes in SQL.
std::string EscapeQuotes(std::string_view text);

#endif
