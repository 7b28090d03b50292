// Cursors as text: one formatter for all of them.
#pragma once

#include <CLI/CLI.hpp>
#include <iosfwd>
#include <optional>

#include "kqb/kqbdatavarcursor.h"
#include "kqb/kqbstringcursor.h"

enum class CursorFormat {
    kTable,  // names and values in columns, for people; control characters escaped as in JSON
    kCsv,    // RFC 4180, names first; a null is an empty field, an empty text a quoted one
    kJson,   // JSON lines, an object for each row; numbers and booleans of variants unquoted
};

// Adds --table, --csv and --json, of which one may be given; format must outlive the command.
void addFormatOptions(CLI::App &command, std::optional<CursorFormat> &format);

// Writes all rows. A Failure with the cursor's text when one cannot be read.
void writeCursor(std::ostream &out, KqbStringCursor &cursor, CursorFormat format);
void writeCursor(std::ostream &out, KqbDatavarCursor &cursor, CursorFormat format);

// The same to standard output.
void printCursor(KqbStringCursor &cursor, CursorFormat format);
