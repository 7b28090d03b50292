// Encodings of text files: numbers and byte-order marks.
#pragma once

#include <cstddef>

namespace kqbio {

// What callers pass to have the byte-order mark decide.
constexpr int kEncodingOfMark = -1;

// Bytes that tell every mark.
constexpr std::size_t kLongestMark = 4;

// The mark as text, and what stands for bytes that are no text.
constexpr char kMarkText[] = "\xEF\xBB\xBF";
constexpr char kReplacement[] = "\xEF\xBF\xBD";
constexpr std::size_t kMarkTextSize = sizeof kMarkText - 1;
constexpr std::size_t kReplacementSize = sizeof kReplacement - 1;

// The encoding that the mark at the start of a file tells, NP_ENC_UNKNOWN without a mark.
int encodingOfMark(char const *data, std::size_t size);

// Whether bytes of that encoding are text as they stand. 0 and text of unknown origin count.
bool isUtf8(int encoding);

}  // namespace kqbio
