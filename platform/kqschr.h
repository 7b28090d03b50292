// Characters: lengths, positions, decoding, classification, order, case mapping, encodings.
//
// General rules
// - Text is UTF-8 by RFC 3629. A character is a lead byte with the continuation bytes behind it,
//   so lengths and positions are defined for ill-formed text too, and the length of two texts put
//   together is the sum of their lengths. Continuation bytes in front of the first lead byte are
//   counted as no character and travel with what stands before them.
// - Null text is empty text. Sizes and offsets are bytes, counts and positions are characters.
// - Functions ending in _n take a text by its size and do not look for a NUL.
// - Everything is independent of the locale and of the thread; nothing throws.
// - Order and case mapping cannot fail: without memory for their tables they answer the same, more
//   slowly.
#pragma once

#include <cstddef>
#include <cstdint>

// --- Lengths and positions --------------------------------------------------------------------

// Characters up to the NUL, or in size bytes.
unsigned np_uchar_length(char const *text);
unsigned np_uchar_length_n(char const *text, std::size_t size);

// The address behind the first count characters, or null when the text has fewer. A text of
// exactly count characters gives its end.
char const *np_uchar_seek(char const *text, unsigned count);
char const *np_uchar_seek_n(char const *text, std::size_t size, unsigned count);

// Characters between start and address.
unsigned np_uchar_tell(char const *start, char const *address);

// Copies at most count whole characters of source, as far as capacity bytes including the NUL
// allow, and terminates. target may be source. Returns the bytes copied without the NUL.
unsigned np_uchar_bufncopy(char *target, char const *source, unsigned capacity, unsigned count);

// The first place in size bytes where the needle's bytes stand; null when there is none or the
// needle is empty.
char const *np_uchar_find_n(char const *text, std::size_t size, char const *needle,
                            std::size_t needleSize);

// The offsets of the first places, at most limit, where the needle stands without overlapping the
// place before. Returns how many there are.
unsigned np_uchar_find_all_n(char const *text, std::size_t size, char const *needle,
                             std::size_t needleSize, std::size_t *offsets, unsigned limit);

// --- Decoding and classification --------------------------------------------------------------

// Decodes the character at text. Returns its bytes, 1 to 4, or 0 for an ill-formed, overlong or
// surrogate sequence, leaving *codePoint. A NUL decodes to 0 in one byte.
int np_uchar_toint(char const *text, int *codePoint);
int np_uchar_toint_n(char const *text, std::size_t size, int *codePoint);

// Bytes of the white-space character at text (Unicode White_Space), 0 when there is none.
int np_uchar_isspace(char const *text);
int np_uchar_isspace_n(char const *text, std::size_t size);

// Whether the character at text is ASCII.
inline bool np_uchar_isascii(char const *text) { return static_cast<unsigned char>(*text) < 0x80; }

// Whether size bytes are ASCII throughout; whether they are well-formed UTF-8.
bool np_uchar_isascii_n(char const *text, std::size_t size);
bool np_uchar_valid_n(char const *text, std::size_t size);

// --- Order without case -----------------------------------------------------------------------

// -1, 0 or 1 by code points after full case folding, so "ß" equals "SS". Bytes that are no
// character fold to themselves and come behind all characters.
int np_uchar_icomp(char const *a, char const *b);
int np_uchar_icomp_n(char const *a, std::size_t sizeA, char const *b, std::size_t sizeB);

// A hash that is equal for texts that np_uchar_icomp calls equal.
std::uint64_t np_uchar_ihash_n(char const *text, std::size_t size);

// --- Case mapping -----------------------------------------------------------------------------

// The lower-case or upper-case form by Unicode's full mapping, root locale. Writes at most limit
// bytes, the NUL included, when out is not null; the text is cut at a character boundary if it
// does not fit. Returns the bytes of the whole mapped text without the NUL. out null: measures
// only, and so does a limit of 0 or less. Ill-formed bytes are copied as they are. out must not
// overlap text.
std::size_t np_uchar_lower(char const *text, char *out, long limit);
std::size_t np_uchar_upper(char const *text, char *out, long limit);
std::size_t np_uchar_lower_n(char const *text, std::size_t size, char *out, long limit);
std::size_t np_uchar_upper_n(char const *text, std::size_t size, char *out, long limit);

// --- Encodings --------------------------------------------------------------------------------

// Numbers of encodings. Others are given out by np_uchar_getenc and stay valid in the process.
enum np_uchar_encoding {
    NP_ENC_UNKNOWN = 0,
    NP_ENC_UTF8 = 1,
    NP_ENC_UTF16LE = 2,
    NP_ENC_UTF16BE = 3,
    NP_ENC_UTF32LE = 4,
    NP_ENC_UTF32BE = 5,
    NP_ENC_WIDE = 8,     // the wide form: UTF-16 in this machine's byte order
    NP_ENC_NARROW = 24,  // narrow text of unknown origin: taken as UTF-8
};

// The number of an encoding by any of its names, letter case and punctuation ignored; ASCII is
// taken as UTF-8, which contains it. NP_ENC_UNKNOWN when no converter has that name.
int np_uchar_getenc(char const *name);

// Converts sizeIn bytes of an encoding to UTF-8. Writes at most sizeOut bytes including a NUL and
// returns the bytes of the whole result without the NUL, or -1 when the encoding is unknown or
// memory is missing. UTF-8 passes through with ill-formed bytes unchanged; in other encodings
// what cannot be decoded becomes U+FFFD.
long np_uchar_encode(int encoding, char const *in, std::size_t sizeIn, char *out,
                     std::size_t sizeOut);

// A streaming conversion between UTF-8 and another encoding.
struct np_uchar_converter;

enum np_uchar_step {
    NP_CONV_OK = 0,       // all input taken (some may be held back as the start of a character)
    NP_CONV_FULL = 1,     // out is full; call again with the rest
    NP_CONV_INVALID = 2,  // input that cannot be converted stands next; nothing of it was written
    NP_CONV_FAILED = 3,   // the converter cannot go on
};

// Null when the encoding is unknown or memory is missing.
np_uchar_converter *np_uchar_converter_open(int encoding);
void np_uchar_converter_close(np_uchar_converter *converter);

// Converts from the encoding to UTF-8, advancing *in and *out. last tells that no input follows:
// a character cut off at the end is then invalid. On NP_CONV_INVALID, *in stands at the offending
// bytes and *badSize says how many they are; the caller may skip them and go on. Bytes that an
// earlier call has held back are not among them, so that *badSize may be 0.
np_uchar_step np_uchar_decode(np_uchar_converter *converter, char const **in, char const *inEnd,
                              char **out, char *outEnd, bool last, std::size_t *badSize);

// The whole sequence that the last NP_CONV_INVALID was about, with what an earlier call had held
// back: *bytes is set to its bytes, valid until the next call. Returns how many they are. This is
// what a caller passes on that wants to lose nothing.
unsigned np_uchar_converter_invalid(np_uchar_converter const *converter, char const **bytes);

// Converts from UTF-8 to the encoding; the same rules.
np_uchar_step np_uchar_encode_stream(np_uchar_converter *converter, char const **in,
                                     char const *inEnd, char **out, char *outEnd, bool last,
                                     std::size_t *badSize);

// --- UTF-16 -----------------------------------------------------------------------------------

// UTF-8 to UTF-16 units. sizeIn -1: up to and including the NUL. out null or sizeOut 0: measures.
// Returns the units written or needed; 0 when the text is ill-formed or does not fit.
int np_uchar_utf8_to_utf16(char const *in, int sizeIn, std::uint16_t *out, int sizeOut);

// UTF-16 units to UTF-8 bytes; the same rules. A surrogate without its partner is ill-formed.
int np_uchar_utf16_to_utf8(std::uint16_t const *in, int sizeIn, char *out, int sizeOut);
