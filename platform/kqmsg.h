// Message catalogues: texts by catalogue name and number, in the user's language.
//
// General rules
// - A catalogue is a folder of bundles under the message location, named after the catalogue in
//   lower case with blanks as underscores ("Base Services": base_services). A bundle is a UTF-8
//   text file named after its locale ("de_AT.txt"); `root.txt` is English and complete, others may
//   be partial. A line is a number, a blank and the text; empty lines, lines that begin with "#"
//   and lines without a number say nothing, and of two lines with one number the last counts.
// - A text is looked for in the asked locale, then in its language, then in root; the process's
//   own locale never comes in between.
// - Texts name their arguments by position, {0} the first. A missing argument is empty text.
// - Nothing throws. Lengths are bytes without the terminating NUL. When the buffer is too small
//   the text is cut at a character boundary, and the length told is still that of the whole.
// - The environment says how to start: VANTOREX_ERROR_LOCATION (the message location),
//   VANTOREX_ERROR_LOCALE (empty: root), VANTOREX_ERROR_LEVEL (0 or empty: the bare text; 1: the
//   catalogue and number in front; 2: the reporting source as well). Other values fail the start.
// - Look-ups may come from any thread between kqmsgInitialize and kqmsgTerminate, and answer -1
//   outside that time.
#pragma once

// Reads the environment and brings the catalogues up; a second call reads the environment anew.
// Returns 0, or a positive number with the reason in buffer (size bytes). Catalogues are opened
// when first asked.
int kqmsgInitialize(char *buffer, int size);

// Changes the locale of later look-ups; null or empty means root. A locale that no catalogue has
// is accepted: look-ups fall through to its language and root. Returns 0, or 1 when `locale` is no
// locale name.
int kqmsgSetLocale(char const *locale);

// The full message: text with its arguments filled in, decorated as the level asks. source may be
// null. Returns the length, or -1 when no bundle has the number.
int kqmsgGetMessage(char const *catalog, int number, char const *source,
                    char const *const *arguments, int argumentCount, char *buffer, int size);

// The text as the catalogue has it, neither filled in nor decorated. Returns as above.
int kqmsgGetFragment(char const *catalog, int number, char *buffer, int size);

// Closes all catalogues.
void kqmsgTerminate();
