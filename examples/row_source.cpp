// A row source of one's own: the lines of a text, in fields, behind a cursor.
#include <cstring>

#include "kqb/kqbstringkqwfcursor.h"
#include "running_library.h"

// Lines end in LF, fields are separated by commas, and the first line names the columns.
struct Lines {
    KqbRowSource base;  // first, so that the address of one is the address of the other
    char const *first;
    char const *line;  // the current one; null before the first row
    char field[64];    // the text handed out last
};

static Lines &linesOf(KqbRowSource *source) { return *reinterpret_cast<Lines *>(source); }

static char const *behind(char const *line) {
    char const *const end = std::strchr(line, '\n');
    return end != nullptr ? end + 1 : "";
}

static int fieldOf(Lines &lines, char const *line, int column, char const **text) {
    for (; column > 0; --column) {
        line += std::strcspn(line, ",\n");
        if (*line++ != ',') return 1;  // the line has no such field
    }
    std::size_t const size = std::strcspn(line, ",\n");
    if (size >= sizeof lines.field) return 1;
    std::memcpy(lines.field, line, size);
    lines.field[size] = '\0';
    *text = lines.field;
    return 0;
}

static int columnCount(KqbRowSource *source) {
    int count = 1;
    for (char const *c = linesOf(source).first; *c != '\0' && *c != '\n'; ++c) count += *c == ',';
    return count;
}

static int columnName(KqbRowSource *source, int column, char const **name) {
    return fieldOf(linesOf(source), linesOf(source).first, column, name);
}

static int value(KqbRowSource *source, int column, char const **text) {
    Lines &lines = linesOf(source);
    return lines.line == nullptr ? 1 : fieldOf(lines, lines.line, column, text);
}

static int next(KqbRowSource *source) {
    Lines &lines = linesOf(source);
    lines.line = behind(lines.line == nullptr ? lines.first : lines.line);
    return *lines.line == '\0' ? 1 : 0;
}

static int rewind(KqbRowSource *source) {
    linesOf(source).line = nullptr;
    return 0;
}

static int rowCount(KqbRowSource *) { return -1; }  // not known without reading
static char const *errorMessage(KqbRowSource *) { return "lines can only be read"; }
static void release(KqbRowSource *) { std::printf("released\n"); }

// What a source that can only be read has to say to those who write.
static int refuse(KqbRowSource *) { return 1; }
static int refuseName(KqbRowSource *, char const *, int) { return 1; }
static int refuseValue(KqbRowSource *, int, char const *, int) { return 1; }

static KqbRowSourceOperations const kLinesOperations = {
    refuseName, refuse, refuse, refuse, columnName, errorMessage, columnCount,
    rowCount,   value,  refuse, next,   release,    refuseValue,  rewind};

static void show(KqbStringCursor *cursor) {
    for (cursor->rewind(); cursor->next() == KqbCursorRow;) {
        for (int i = 0; i < cursor->getColumnCount(); ++i) {
            std::printf("%s %s%s", cursor->getColumnName(i).asCstr(), cursor->getValue(i).asCstr(),
                        i + 1 < cursor->getColumnCount() ? ", " : "\n");
        }
    }
}

int main(int, char **argv) {
    RunningLibrary const library(argv[0]);
    if (!library.isUp()) return 1;

    Lines lines = {{&kLinesOperations}, "city,river\nBonn,Rhine\nPassau,Danube\n", nullptr, ""};
    KqbStringKQWFCursor *const cursor = createStringKQWFCursor();
    KqbStringCursorCreater *const copy = createStringResidentCursor();
    if (cursor == nullptr || copy == nullptr) return 1;
    cursor->setRowSource(&lines.base);
    show(cursor);

    KqbString error;
    if (!copyCursor(cursor, copy, &error)) std::printf("%s\n", error.asCstr());
    cursor->release();  // and the source with it
    show(copy);         // which the copy does not need
    copy->release();
    return 0;
}
