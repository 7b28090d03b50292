#include "cursor_output.h"

#include <algorithm>
#include <iostream>
#include <string>
#include <vector>

#include "output.h"

namespace {

using nlohmann::ordered_json;

constexpr char kGap[] = "  ";

// A value as the formats want it.
struct Cell {
    KqbString text;       // null for an absent value
    bool isBare = false;  // in JSON not a string
};

std::string jsonOf(KqbString const &text) {
    return toJson(text).dump(-1, ' ', false, ordered_json::error_handler_t::replace);
}

Cell cellOf(KqbStringCursor &cursor, int column) { return {cursor.getValue(column), false}; }

// Dates are written in one form, whatever the installation prefers. An infinity is a Real that is no
// number in JSON.
Cell cellOf(KqbDatavarCursor &cursor, int column) {
    KqbDatavar const value = cursor.getValue(column);
    bool const isDate = value.type() == KqbTypeDate;
    KqbString const text = isDate ? value.asDate().asString(true) : value.asString();
    bool const isNumber = value.type() == KqbTypeInteger || value.type() == KqbTypeReal;
    return {text,
            value.type() == KqbTypeBoolean || (isNumber && ordered_json::accept(toText(text)))};
}

// Calls action for every row, from the first on.
template <class Cursor, class Action>
void forEachRow(Cursor &cursor, Action const &action) {
    cursor.rewind();
    int state;
    while ((state = cursor.next()) == KqbCursorRow) action();
    if (state != KqbCursorEnd) throw Failure(kLibraryFailure, toText(cursor.getErrorMessage()));
}

template <class Cursor>
std::vector<std::string> namesOf(Cursor &cursor) {
    std::vector<std::string> names;
    for (int i = 0; i < cursor.getColumnCount(); ++i)
        names.push_back(toText(cursor.getColumnName(i)));
    return names;
}

// --- CSV --------------------------------------------------------------------------------------

std::string quoted(std::string const &text) {
    std::string result = "\"";
    for (char const c : text) result += c == '"' ? "\"\"" : std::string(1, c);
    return result + "\"";
}

std::string csvField(KqbString const &value) {
    std::string const text = toText(value);
    bool const isPlain = text.find_first_of("\",\r\n") == std::string::npos;
    return value.isNull() || (isPlain && !text.empty()) ? text : quoted(text);
}

template <class Cursor>
void writeCsv(std::ostream &out, Cursor &cursor) {
    int const columns = cursor.getColumnCount();
    auto const writeRecord = [&](auto const &fieldOf) {
        for (int i = 0; i < columns; ++i) out << (i > 0 ? "," : "") << csvField(fieldOf(i));
        out << "\r\n";
    };
    writeRecord([&](int i) { return cursor.getColumnName(i); });
    forEachRow(cursor, [&] { writeRecord([&](int i) { return cellOf(cursor, i).text; }); });
}

// --- JSON lines -------------------------------------------------------------------------------

template <class Cursor>
void writeJson(std::ostream &out, Cursor &cursor) {
    std::vector<std::string> names;
    for (int i = 0; i < cursor.getColumnCount(); ++i)
        names.push_back(jsonOf(cursor.getColumnName(i)));
    forEachRow(cursor, [&] {
        char const *separator = "{";
        for (std::size_t i = 0; i < names.size(); ++i) {
            Cell const cell = cellOf(cursor, static_cast<int>(i));
            out << separator << names[i] << ':'
                << (cell.isBare ? toText(cell.text) : jsonOf(cell.text));
            separator = ",";
        }
        out << (names.empty() ? "{}\n" : "}\n");
    });
}

// --- Table ------------------------------------------------------------------------------------

// On one line, whatever it holds: as in JSON, but without its quotes and those within.
std::string shown(std::string const &text) {
    bool const isPlain = std::none_of(text.begin(), text.end(),
                                      [](char c) { return static_cast<unsigned char>(c) < ' '; });
    if (isPlain) return text;
    std::string const json = jsonOf(KqbString(text.c_str()));
    return json.substr(1, json.size() - 2);
}

std::size_t widthOf(std::string const &text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char c) {
        return (static_cast<unsigned char>(c) & 0xC0) != 0x80;
    }));
}

using Texts = std::vector<std::string>;

template <class Cursor>
Texts shownRow(Cursor &cursor) {
    Texts texts;
    for (int i = 0; i < cursor.getColumnCount(); ++i)
        texts.push_back(shown(toText(cellOf(cursor, i).text)));
    return texts;
}

void widen(std::vector<std::size_t> &widths, Texts const &texts) {
    for (std::size_t i = 0; i < texts.size(); ++i)
        widths[i] = std::max(widths[i], widthOf(texts[i]));
}

void writeLine(std::ostream &out, Texts const &texts, std::vector<std::size_t> const &widths) {
    std::string line;
    for (std::size_t i = 0; i < texts.size(); ++i)
        line += texts[i] + std::string(widths[i] - widthOf(texts[i]), ' ') + kGap;
    out << line.erase(line.find_last_not_of(' ') + 1) << '\n';
}

// Rows are read twice: widths come first.
template <class Cursor>
void writeTable(std::ostream &out, Cursor &cursor) {
    Texts names = namesOf(cursor);
    for (std::string &name : names) name = shown(name);
    std::vector<std::size_t> widths(names.size());
    widen(widths, names);
    forEachRow(cursor, [&] { widen(widths, shownRow(cursor)); });
    writeLine(out, names, widths);
    forEachRow(cursor, [&] { writeLine(out, shownRow(cursor), widths); });
}

template <class Cursor>
void write(std::ostream &out, Cursor &cursor, CursorFormat format) {
    switch (format) {
        case CursorFormat::kTable:
            return writeTable(out, cursor);
        case CursorFormat::kCsv:
            return writeCsv(out, cursor);
        case CursorFormat::kJson:
            return writeJson(out, cursor);
    }
}

}  // namespace

void addFormatOptions(CLI::App &command, std::optional<CursorFormat> &format) {
    CLI::Option_group *const group = command.add_option_group("Format");
    auto const add = [&](char const *name, char const *help, CursorFormat value) {
        group->add_flag_callback(
            name, [&format, value] { format = value; }, help);
    };
    add("--table", "Print a table", CursorFormat::kTable);
    add("--csv", "Print CSV (RFC 4180)", CursorFormat::kCsv);
    add("--json", "Print JSON lines, an object for each row", CursorFormat::kJson);
    group->require_option(0, 1);
}

void writeCursor(std::ostream &out, KqbStringCursor &cursor, CursorFormat format) {
    write(out, cursor, format);
}

void writeCursor(std::ostream &out, KqbDatavarCursor &cursor, CursorFormat format) {
    write(out, cursor, format);
}

void printCursor(KqbStringCursor &cursor, CursorFormat format) {
    writeCursor(std::cout, cursor, format);
}
